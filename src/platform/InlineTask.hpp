#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace varnolex {

/// A move-only `void()` callable that lives in its own storage, so that making, moving and running one never
/// allocates. A capture that doesn't fit is refused at compile time: box it, off the processing road.
template <std::size_t Capacity>
class BasicInlineTask {
public:
    BasicInlineTask() = default;

    template <class Callable>
    requires(!std::is_same_v<std::remove_cvref_t<Callable>, BasicInlineTask> &&
             std::is_invocable_v<std::remove_cvref_t<Callable>&>) BasicInlineTask(Callable&& callable) {
        using Held = std::remove_cvref_t<Callable>;
        static_assert(sizeof(Held) <= Capacity, "the capture is too large for a task: box it");
        static_assert(alignof(Held) <= alignof(std::max_align_t));
        static_assert(std::is_nothrow_move_constructible_v<Held>);
        new (storage) Held(std::forward<Callable>(callable));
        operations = &operationsOf<Held>;
    }

    BasicInlineTask(BasicInlineTask&& other) noexcept { takeFrom(other); }

    BasicInlineTask& operator=(BasicInlineTask&& other) noexcept {
        if (this != &other) {
            reset();
            takeFrom(other);
        }
        return *this;
    }

    BasicInlineTask(const BasicInlineTask&) = delete;
    BasicInlineTask& operator=(const BasicInlineTask&) = delete;

    ~BasicInlineTask() { reset(); }

    explicit operator bool() const { return operations != nullptr; }

    /// Runs the callable. The task must hold one.
    void operator()() { operations->run(storage); }

    void reset() {
        if (operations) {
            operations->destroy(storage);
            operations = nullptr;
        }
    }

private:
    struct Operations {
        void (*run)(void*);
        void (*destroy)(void*);
        void (*moveTo)(void* from, void* to);
    };

    template <class Held>
    static constexpr Operations operationsOf{
        [](void* held) { (*static_cast<Held*>(held))(); },
        [](void* held) { static_cast<Held*>(held)->~Held(); },
        [](void* from, void* to) {
            new (to) Held(std::move(*static_cast<Held*>(from)));
            static_cast<Held*>(from)->~Held();
        },
    };

    void takeFrom(BasicInlineTask& other) {
        operations = std::exchange(other.operations, nullptr);
        if (operations) operations->moveTo(other.storage, storage);
    }

    alignas(std::max_align_t) std::byte storage[Capacity];
    const Operations* operations = nullptr;
};

/// What queues run and the real-time mailbox carries.
using Task = BasicInlineTask<96>;

}  // namespace varnolex
