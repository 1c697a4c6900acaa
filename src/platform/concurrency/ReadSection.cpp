#include "platform/concurrency/ReadSection.hpp"

namespace varnolex {

constinit ReadSection::Place ReadSection::places[placeCount];
constinit std::atomic<std::uint32_t> ReadSection::usedPlaces{0};
constinit std::atomic<std::uint32_t> ReadSection::visitorsWithoutPlace{0};

ReadSection::Departure::~Departure() {
    if (visitor.place) visitor.place->isTaken.store(false, std::memory_order_release);
    visitor.place = nullptr;
    visitor.isWithoutPlace = true;
}

ReadSection::Place* ReadSection::takePlace() noexcept {
    for (std::uint32_t index = 0; index < placeCount; ++index) {
        if (places[index].isTaken.exchange(true, std::memory_order_acq_rel)) continue;
        std::uint32_t used = usedPlaces.load(std::memory_order_seq_cst);
        while (used < index + 1 && !usedPlaces.compare_exchange_weak(used, index + 1, std::memory_order_seq_cst)) {
        }
        return &places[index];
    }
    return nullptr;
}

void ReadSection::enterWithoutPlace() noexcept {
    if (!visitor.isWithoutPlace) {
        static thread_local Departure departure;
        visitor.place = takePlace();
        visitor.isWithoutPlace = !visitor.place;
        if (visitor.place) return enter();
    }
    visitorsWithoutPlace.fetch_add(1, std::memory_order_seq_cst);
}

void ReadSection::leaveWithoutPlace() noexcept { visitorsWithoutPlace.fetch_sub(1, std::memory_order_seq_cst); }

bool ReadSection::haveAllLeft(std::uint64_t replaced) noexcept {
    if (visitorsWithoutPlace.load(std::memory_order_seq_cst) != 0) return false;
    const std::uint32_t used = usedPlaces.load(std::memory_order_seq_cst);
    for (std::uint32_t index = 0; index < used; ++index) {
        const std::uint64_t entered = places[index].entered.load(std::memory_order_seq_cst);
        if (entered != 0 && entered < replaced) return false;
    }
    return true;
}

}  // namespace varnolex
