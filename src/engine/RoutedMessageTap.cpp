#include "engine/RoutedMessageTap.hpp"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "platform/Runtime.hpp"

namespace varnolex {

void RoutedMessageTap::setHandler(Handler handler) {
    listener = std::move(handler);
    isListening.set(static_cast<bool>(listener));
}

void RoutedMessageTap::offer(const ChainMessage& message, const std::shared_ptr<const std::string>& pipeName) noexcept {
    if (!isListening.get()) return;

    struct Copy {
        std::array<std::uint8_t, 3> bytes{};
        std::uint8_t length = 0;
        bool isLastInBatch = false;
        HostTime timeStamp = 0;
        std::unique_ptr<std::vector<std::uint8_t>> longBytes;
    };
    Copy copy;
    copy.isLastInBatch = message.isLastInBatch;
    copy.timeStamp = message.timeStamp;
    if (message.length <= copy.bytes.size()) {
        copy.length = static_cast<std::uint8_t>(message.length);
        std::copy_n(message.bytes, message.length, copy.bytes.begin());
    } else {
        copy.longBytes = std::make_unique<std::vector<std::uint8_t>>(message.bytes, message.bytes + message.length);
    }

    Runtime::current().postToMain([tap = weak_from_this(), held = std::move(copy), pipeName] {
        const auto self = tap.lock();
        if (!self || !self->listener) return;
        const std::span<const std::uint8_t> bytes = held.longBytes
                                                        ? std::span<const std::uint8_t>(*held.longBytes)
                                                        : std::span<const std::uint8_t>(held.bytes.data(), held.length);
        self->listener({bytes.data(), bytes.size(), held.timeStamp, held.isLastInBatch}, *pipeName);
    });
}

TerminalExit::TerminalExit(std::shared_ptr<RoutedMessageTap> tap, std::shared_ptr<const std::string> name)
    : listeners(std::move(tap)), pipeName(std::move(name)) {}

void TerminalExit::deliver(const ChainMessage& message) noexcept { listeners->offer(message, pipeName); }

}  // namespace varnolex
