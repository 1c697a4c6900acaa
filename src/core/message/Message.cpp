#include "core/message/Message.hpp"

namespace varnolex {

void Message::end() const noexcept {
    const BlockPool::SizeClass ownClass = sizeClass;
    auto* const block = const_cast<Message*>(this);
    block->~Message();
    BlockPool::release(block, ownClass);
}

}  // namespace varnolex
