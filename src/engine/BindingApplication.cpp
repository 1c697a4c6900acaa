#include "engine/BindingApplication.hpp"

#include "engine/BypassToggleState.hpp"
#include "engine/CCBinding.hpp"
#include "engine/LiveValueTracker.hpp"
#include "engine/NotificationCenter.hpp"
#include "engine/PipeTool.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {
namespace {

void rideParameter(PipeTool& tool, const CCBinding& binding, std::uint8_t value) {
    const std::string_view key = tool.liveKey(binding.portID);
    if (key.empty()) return;
    const double mapped = binding.rangeLow + (binding.rangeHigh - binding.rangeLow) * value / 127.0;
    postLiveValue(tool, key, mapped);
}

void switchTool(PipeTool& tool, BypassToggleState::Result result) {
    if (result == BypassToggleState::Result::noChange) return;
    Runtime::current().postToMain([weakTool = tool.weak_from_this(), result] {
        const auto target = weakTool.lock();
        if (!target) return;
        const bool wanted = result == BypassToggleState::Result::toggle ? !target->isEnabled()
                                                                        : result == BypassToggleState::Result::on;
        if (wanted == target->isEnabled()) return;
        target->setEnabled(wanted);
        NotificationCenter::shared().post(toolEnabledDidChangeViaCC, target->id());
    });
}

}  // namespace

void applyCCBindings(PipeTool& tool, std::uint8_t ccNumber, std::uint8_t value) noexcept {
    CCBindingStore::shared().forEach(tool.id(), ccNumber, [&](const CCBinding& binding) {
        if (binding.portID == CCBinding::bypassPort)
            switchTool(tool, BypassToggleState::shared().evaluate(tool.id(), value));
        else
            rideParameter(tool, binding, value);
    });
}

}  // namespace varnolex
