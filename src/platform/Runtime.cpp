#include "platform/Runtime.hpp"

#include <cassert>
#include <cstdio>
#include <cstdlib>

namespace varnolex {

namespace {

__extension__ using WideProduct = unsigned __int128;

}  // namespace

void WorkItem::cancel() {
    if (const std::shared_ptr<Queue> living = queue.lock()) living->cancel(ticket);
}

RepeatingTimer& RepeatingTimer::operator=(RepeatingTimer&& other) noexcept {
    if (this != &other) {
        reset();
        item = std::move(other.item);
        active = std::exchange(other.active, false);
    }
    return *this;
}

void RepeatingTimer::reset() {
    if (!std::exchange(active, false)) return;
    // The item is taken out first: calling it off may destroy the task, and with it the owner of this timer.
    WorkItem stopped = std::exchange(item, WorkItem());
    stopped.cancel();
}

WorkItem Queue::after(Nanoseconds delay, Task task) {
    const auto ticks = static_cast<HostTime>(std::max<Nanoseconds::rep>(delay.count(), 0));
    return at(Runtime::current().hostTime() + ticks, std::move(task));
}

void Runtime::endWithoutRuntime() {
    std::fputs("varnolex: no runtime is installed\n", stderr);
    std::abort();
}

std::int64_t Runtime::randomInteger(std::int64_t low, std::int64_t high) {
    if (high <= low) return low;
    const std::uint64_t count = static_cast<std::uint64_t>(high) - static_cast<std::uint64_t>(low) + 1;
    if (count == 0) return static_cast<std::int64_t>(randomBits());
    // The upper half of bits * count is uniform but for a few low products, which are drawn again.
    WideProduct product = static_cast<WideProduct>(randomBits()) * count;
    if (static_cast<std::uint64_t>(product) < count) {
        const std::uint64_t unfair = (0 - count) % count;
        while (static_cast<std::uint64_t>(product) < unfair) product = static_cast<WideProduct>(randomBits()) * count;
    }
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(low) + static_cast<std::uint64_t>(product >> 64));
}

double Runtime::randomUnit() { return static_cast<double>(randomBits() >> 11) * 0x1.0p-53; }

RuntimeScope::RuntimeScope(Runtime& runtime)
    : former(Runtime::installed.exchange(&runtime, std::memory_order_acq_rel)) {}

RuntimeScope::~RuntimeScope() { Runtime::installed.store(former, std::memory_order_release); }

void assertMainThread() { assert(!Runtime::isInstalled() || Runtime::current().isMainThread()); }

}  // namespace varnolex
