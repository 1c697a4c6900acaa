#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace varnolex {

/// Counts what the calling thread takes from the heap with `operator new` while the trap lives. One source file of each
/// test executable that sets traps defines VARNOLEX_ALLOCATION_TRAP before it includes this header, which puts
/// the counting operators there; without them a trap ends the program instead of counting nothing.
class AllocationTrap {
public:
    AllocationTrap() : before(allocations) {
        ::operator delete(::operator new(1));
        if (allocations == before) {
            std::fputs("no source file of this executable defines VARNOLEX_ALLOCATION_TRAP\n", stderr);
            std::abort();
        }
        before = allocations;
    }
    AllocationTrap(const AllocationTrap&) = delete;
    AllocationTrap& operator=(const AllocationTrap&) = delete;

    /// How often this thread has allocated since the trap was set.
    std::size_t count() const { return allocations - before; }

    static void* allocate(std::size_t size, std::size_t alignment) {
        void* memory = tryToAllocate(size, alignment);
        if (!memory) throw std::bad_alloc();
        return memory;
    }

    static void* tryToAllocate(std::size_t size, std::size_t alignment) noexcept {
        ++allocations;
        if (alignment <= alignof(std::max_align_t)) return std::malloc(size == 0 ? 1 : size);
        return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    }

private:
    static inline thread_local constinit std::size_t allocations = 0;

    std::size_t before;
};

}  // namespace varnolex

#ifdef VARNOLEX_ALLOCATION_TRAP

// Every form is here, since a sanitizer brings its own for those that are missing.
void* operator new(std::size_t size) { return varnolex::AllocationTrap::allocate(size, 1); }
void* operator new[](std::size_t size) { return varnolex::AllocationTrap::allocate(size, 1); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    return varnolex::AllocationTrap::allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return varnolex::AllocationTrap::allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return varnolex::AllocationTrap::tryToAllocate(size, 1);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return varnolex::AllocationTrap::tryToAllocate(size, 1);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return varnolex::AllocationTrap::tryToAllocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return varnolex::AllocationTrap::tryToAllocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept { std::free(memory); }

#endif
