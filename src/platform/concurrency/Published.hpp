#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

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
        if (const Value* old = current.exchange(value.release(), std::memory_order_seq_cst)) retired.emplace_back(old);
        reclaim();
    }

    /// The publishing thread: frees what was replaced if no reader is seen inside. True when nothing is left to free.
    bool reclaim() {
        if (readers.load(std::memory_order_seq_cst) == 0) retired.clear();
        return retired.empty();
    }

    /// False as long as nothing was published: the cheap question before a `read`.
    bool isEmpty() const noexcept { return current.load(std::memory_order_relaxed) == nullptr; }

    /// Hands the object (or a null pointer) to `use`; it stays valid for the length of the call.
    template <class Use>
    decltype(auto) read(Use&& use) const {
        const Visit visit(readers);
        return std::forward<Use>(use)(current.load(std::memory_order_seq_cst));
    }

private:
    struct Visit {
        explicit Visit(std::atomic<std::uint32_t>& counter) : readers(counter) {
            readers.fetch_add(1, std::memory_order_seq_cst);
        }
        ~Visit() { readers.fetch_sub(1, std::memory_order_seq_cst); }
        std::atomic<std::uint32_t>& readers;
    };

    std::atomic<const Value*> current{nullptr};
    mutable std::atomic<std::uint32_t> readers{0};
    std::vector<std::unique_ptr<const Value>> retired;
};

}  // namespace varnolex
