#define VARNOLEX_ALLOCATION_TRAP
#include <thread>

#include "support/AllocationTrap.hpp"

namespace varnolex {

TEST(AllocationTrap, countsEveryFormOfNewOnItsOwnThreadOnly) {
    struct alignas(128) Wide {
        char bytes[128];
    };
    std::thread other;
    const AllocationTrap trap;
    EXPECT_EQ(trap.count(), 0u);
    ::operator delete(::operator new(8));
    EXPECT_EQ(trap.count(), 1u);
    ::operator delete[](::operator new[](8));
    EXPECT_EQ(trap.count(), 2u);
    ::operator delete (::operator new (sizeof(Wide), std::align_val_t{128}), std::align_val_t{128});
    EXPECT_EQ(trap.count(), 3u);

    other = std::thread([] { ::operator delete(::operator new(8)); });
    const std::size_t withThread = trap.count();
    other.join();
    EXPECT_EQ(trap.count(), withThread);
}

}  // namespace varnolex
