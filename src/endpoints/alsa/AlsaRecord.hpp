#pragma once

#include <memory>
#include <new>

namespace varnolex {

/// Memory of one of the library's records.
template <class Record>
using AlsaRecord = std::unique_ptr<Record, void (*)(Record*)>;

/// By the record's own pair of functions. Throws `std::bad_alloc`.
template <class Record>
AlsaRecord<Record> makeAlsaRecord(int (*allocate)(Record**), void (*release)(Record*)) {
    Record* made = nullptr;
    if (allocate(&made) < 0) throw std::bad_alloc();
    return {made, release};
}

}  // namespace varnolex
