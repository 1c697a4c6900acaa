#include "core/message/Message.hpp"

namespace varnolex {

void Message::end() const noexcept {
    auto* const block = const_cast<Message*>(this);
    if (holdsOthers) [[unlikely]]
        return block->endWithHolds();
    BlockPool::release(block, sizeClass);
}

void Message::endWithHolds() noexcept {
    endHolds();
    BlockPool::release(this, sizeClass);
}

}  // namespace varnolex
