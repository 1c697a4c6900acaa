#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "platform/concurrency/ReadSection.hpp"

namespace varnolex {

/// An immutable object of any size, replaced as a whole by one thread at a time and read by any. A reader neither
/// locks nor allocates nor frees; replaced objects are freed by a later `publish` or `reclaim` that finds no reader
/// inside.
template <class Value>
class Published {
public:
    Published() = default;
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;
    ~Published() { delete current.load(std::memory_order_relaxed); }

    /// One thread at a time. `value` may be empty.
    void publish(std::unique_ptr<const Value> value) {
        if (const Value* old = current.exchange(value.release(), std::memory_order_seq_cst))
            retired.push_back({ReadSection::nextGeneration(), std::unique_ptr<const Value>(old)});
        reclaim();
    }

    /// The publishing thread: frees what was replaced if no reader can be inside it. True when nothing is left to free.
    bool reclaim() {
        std::erase_if(retired, [](const Retired& old) { return ReadSection::haveAllLeft(old.generation); });
        return retired.empty();
    }

    /// False as long as nothing was published: the cheap question before a `read`.
    bool isEmpty() const noexcept { return current.load(std::memory_order_relaxed) == nullptr; }

    /// Hands the object (or a null pointer) to `use`; it stays valid for the length of the call.
    template <class Use>
    decltype(auto) read(Use&& use) const {
        const ReadSection section;
        return std::forward<Use>(use)(current.load(std::memory_order_seq_cst));
    }

private:
    struct Retired {
        std::uint64_t generation;
        std::unique_ptr<const Value> value;
    };

    std::atomic<const Value*> current{nullptr};
    std::vector<Retired> retired;
};

}  // namespace varnolex
