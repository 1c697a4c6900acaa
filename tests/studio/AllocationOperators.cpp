// In a file of its own, so that no inlined use of the operators is compiled against the standard ones.
#define VARNOLEX_ALLOCATION_TRAP
#include "support/AllocationTrap.hpp"
