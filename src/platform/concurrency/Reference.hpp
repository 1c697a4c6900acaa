#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace varnolex {

/// The count of an object's references, kept inside the object. Any thread.
class ReferenceCount {
public:
    void retain() noexcept { count.fetch_add(1, std::memory_order_relaxed); }

    /// True when the last reference went: the caller ends the object.
    bool release() noexcept {
        // The only holder can't be joined by another one, so the dear locked step isn't needed.
        if (count.load(std::memory_order_acquire) == 1) return true;
        return count.fetch_sub(1, std::memory_order_acq_rel) == 1;
    }

private:
    std::atomic<std::uint32_t> count{1};
};

/// A shared hold of an object that counts its own references: it has `retain()` and `release()`, the latter ending
/// the object with its last hold. As long as a hold exists the object does; holds may be copied and dropped on any
/// thread.
template <class Object>
class Reference {
public:
    Reference() = default;
    Reference(std::nullptr_t) {}
    Reference(const Reference& other) noexcept : object(other.object) { retain(); }
    Reference(Reference&& other) noexcept : object(std::exchange(other.object, nullptr)) {}

    template <class Other>
    requires(std::is_convertible_v<Other*, Object*>) Reference(const Reference<Other>& other)
    noexcept : object(other.get()) { retain(); }

    template <class Other>
    requires(std::is_convertible_v<Other*, Object*>) Reference(Reference<Other>&& other)
    noexcept : object(other.detach()) {}

    ~Reference() {
        if (object) object->release();
    }

    Reference& operator=(Reference other) noexcept {
        std::swap(object, other.object);
        return *this;
    }

    /// Takes over the hold that a new object is born with.
    static Reference adopt(Object* newborn) noexcept {
        Reference reference;
        reference.object = newborn;
        return reference;
    }

    /// A further hold of an object that somebody holds.
    static Reference to(Object& held) noexcept {
        held.retain();
        return adopt(&held);
    }

    Object* get() const noexcept { return object; }
    Object& operator*() const noexcept { return *object; }
    Object* operator->() const noexcept { return object; }
    explicit operator bool() const noexcept { return object != nullptr; }
    bool operator==(const Reference&) const = default;

    /// Gives the hold away to the caller.
    Object* detach() noexcept { return std::exchange(object, nullptr); }

private:
    void retain() noexcept {
        if (object) object->retain();
    }

    Object* object = nullptr;
};

}  // namespace varnolex
