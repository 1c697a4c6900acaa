#include "endpoints/tap/TapForwarder.hpp"

namespace varnolex {

namespace {

constexpr std::size_t lettersAtStart = 64;
constexpr std::size_t letterSizeAtStart = packetListCapacity;
constexpr std::size_t lettersKept = 512;
constexpr std::size_t letterSizeKept = 64 * 1024;

}  // namespace

TapForwarder::TapForwarder(std::function<void(interceptorprotocol::ClientNumber)> onDeath)
    : reportDeath(std::move(onDeath)), queue(Runtime::current().makeQueue("com.varnolex.tap", QueuePriority::normal)) {
    spareLetters.with([](auto& spare) {
        spare.reserve(lettersKept);
        for (std::size_t index = 0; index < lettersAtStart; ++index) {
            spare.push_back(std::make_unique<Letter>());
            spare.back()->bytes.reserve(letterSizeAtStart);
        }
    });
}

void TapForwarder::start() {
    timer = queue->repeating(0, lookPeriod, [weakSelf = weak_from_this()] {
        if (const auto self = weakSelf.lock()) self->look();
    });
}

void TapForwarder::forward(std::int32_t uniqueID, const PacketListView& list) {
    const bool isWanted = routes.read([&](const Routes* now) { return now && now->wanting.contains(uniqueID); });
    if (!isWanted) return;
    if (underWay.add(1) > listsUnderWayLimit) {
        underWay.add(static_cast<std::size_t>(-1));
        lost.add(1);
        return;
    }
    std::unique_ptr<Letter> letter = takeLetter();
    letter->uniqueID = uniqueID;
    interceptorprotocol::writeCopy(uniqueID, list, letter->bytes);
    queue->async([weakSelf = weak_from_this(), letter = std::move(letter)]() mutable {
        if (const auto self = weakSelf.lock()) self->deliver(std::move(letter));
    });
}

std::unique_ptr<TapForwarder::Letter> TapForwarder::takeLetter() {
    std::unique_ptr<Letter> letter = spareLetters.with([](auto& spare) {
        if (spare.empty()) return std::unique_ptr<Letter>();
        std::unique_ptr<Letter> taken = std::move(spare.back());
        spare.pop_back();
        return taken;
    });
    return letter ? std::move(letter) : std::make_unique<Letter>();
}

void TapForwarder::deliver(std::unique_ptr<Letter> letter) {
    routes.read([&](const Routes* now) {
        const auto wanting = now->wanting.find(letter->uniqueID);
        if (wanting == now->wanting.end()) return;
        for (const auto& link : wanting->second) {
            if (link->isDead) continue;
            const PortOutcome outcome = link->remote->send(0, letter->bytes, Nanoseconds(0));
            if (outcome != PortOutcome::success) lost.add(1);
            if (outcome == PortOutcome::gone) bury(*link);
        }
    });
    underWay.add(static_cast<std::size_t>(-1));
    if (letter->bytes.capacity() > letterSizeKept) return;
    spareLetters.with([&](auto& spare) {
        if (spare.size() < lettersKept) spare.push_back(std::move(letter));
    });
}

void TapForwarder::look() {
    routes.read([&](const Routes* now) {
        if (!now) return;
        for (const auto& link : now->links) {
            if (link->isDead) continue;
            link->remote->flush();
            if (!link->remote->isAlive()) bury(*link);
        }
    });
}

void TapForwarder::bury(TapLink& link) {
    link.isDead = true;
    reportDeath(link.client);
}

}  // namespace varnolex
