#include "tools/devices/MessageListTool.hpp"

#include <algorithm>
#include <array>

#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"

// Shows what passes. The messages wait for the main thread, which takes all at once and gives them their types; when it
// is far behind, the oldest ones are counted only.

namespace varnolex {
namespace {

using namespace parameters;

constexpr std::array table{
    integer<&MessageListSettings::maxCapture>("maxCapture"),
    integer<&MessageListSettings::numberFormat>("numberFormat"),
};

/// The longest list, whatever a document asks for.
constexpr std::int64_t longestList = 100'000;

}  // namespace

MessageListTool::MessageListTool() : ConfiguredTool(messageListDefinition) {}

void MessageListTool::process(const ChainMessage& message, ToolChain& chain) {
    if (!message.isEmptyCarrier()) pending.inWalk().add(message);
    chain.forward(message);
}

void MessageListTool::append(PassedMessages& arrived) {
    const auto kept = static_cast<std::size_t>(std::clamp<std::int64_t>(settings().maxCapture, 0, longestList));
    totalCaptured += arrived.total();
    arrived.takeNewest(kept, captured);
    if (captured.size() > kept) captured.erase(captured.begin(), captured.end() - static_cast<std::ptrdiff_t>(kept));
}

void MessageListTool::clear() {
    captured.clear();
    totalCaptured = 0;
}

const ToolDefinition messageListDefinition{
    PipeToolType::messageList, "MessageListConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<MessageListTool>(); }};

}  // namespace varnolex
