#define VARNOLEX_ALLOCATION_TRAP
#include "support/AllocationTrap.hpp"
