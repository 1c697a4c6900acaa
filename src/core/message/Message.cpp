#include "core/message/Message.hpp"

#include "platform/Runtime.hpp"

namespace varnolex {

Message::Message(HostTime time, std::uint8_t status, SharedName endpoint)
    : id(Runtime::current().makeUUID()),
      timeStamp(time != 0 ? time : Runtime::current().hostTime()),
      originatingEndpointName(endpoint),
      statusByte(status),
      timeStampWasZeroWhenReceived(time == 0),
      sizeClass(0) {}

void Message::end() const noexcept {
    const BlockPool::SizeClass ownClass = sizeClass;
    auto* const block = const_cast<Message*>(this);
    block->~Message();
    BlockPool::release(block, ownClass);
}

}  // namespace varnolex
