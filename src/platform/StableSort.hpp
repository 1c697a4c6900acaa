#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace varnolex {

/// Merges two sorted runs that follow each other, by rotating what is out of place.
template <class Iterator, class Less>
void mergeInPlace(Iterator first, Iterator middle, Iterator last, Less less) {
    if (first == middle || middle == last || !less(*middle, *std::prev(middle))) return;
    if (last - first == 2) return std::iter_swap(first, middle);
    Iterator firstCut, secondCut;
    if (middle - first > last - middle) {
        firstCut = first + (middle - first) / 2;
        secondCut = std::lower_bound(middle, last, *firstCut, less);
    } else {
        secondCut = middle + (last - middle) / 2;
        firstCut = std::upper_bound(first, middle, *secondCut, less);
    }
    const Iterator seam = std::rotate(firstCut, middle, secondCut);
    mergeInPlace(first, firstCut, seam, less);
    mergeInPlace(seam, secondCut, last, less);
}

/// Sorts without asking for memory, which the library's own stable sort does. Next to linear for what is sorted already
/// or consists of a few sorted runs.
template <class Iterator, class Less>
void stableSortInPlace(Iterator first, Iterator last, Less less) {
    constexpr std::ptrdiff_t shortRun = 16;
    if (last - first <= shortRun) {
        for (Iterator next = first; next != last; ++next)
            std::rotate(std::upper_bound(first, next, *next, less), next, std::next(next));
        return;
    }
    const Iterator middle = first + (last - first) / 2;
    stableSortInPlace(first, middle, less);
    stableSortInPlace(middle, last, less);
    mergeInPlace(first, middle, last, less);
}

}  // namespace varnolex
