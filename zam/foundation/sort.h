// Sorting and searching arrays of pointers, under a comparison with a context of its own.
//
// Which sort? `q3sort` where many elements are equal, unless they come sorted already; `q3sortb` otherwise; `insort`
// for a few elements, and where equal ones have to keep their order.
//
// Elements are moved and handed to the comparison, never dereferenced: they may be null, or numbers in disguise.
// Which elements are compared, in which order, depends on the results of the comparisons alone, so every build of the
// library leaves equal elements in the same order.
//
// Threads: any, at any time, on different arrays.
// Errors:  nothing is allocated, and nothing is thrown but what the comparison throws, which passes through. A search
//          that finds nothing gives a negative number.
#ifndef ZAM_FOUNDATION_SORT_H
#define ZAM_FOUNDATION_SORT_H

#include <cstdint>

#include "zam/foundation/export.h"

namespace ZaM {

/// Negative if `left` sorts before `right`, 0 if they are equal, positive if `left` sorts after `right`; only the sign
/// counts. `context` is what the caller gave to the sort or search, such as a table that elements are looked up in:
///
///     int ByLength(void const* left, void const* right, void const* context) {
///       auto const& lengths = *static_cast<Lengths const*>(context);
///       return lengths.Of(left) - lengths.Of(right);
///     }
///     q3sort(documents, count, &lengths, ByLength);
///
/// The same two elements have to compare the same way each time, and the comparison must not change the array. A
/// comparison that throws or contradicts itself leaves all elements in the array, in some order.
using Comparison = int (*)(void const* left, void const* right, void const* context);

/// Insertion sort of `count` elements; none for 0 and below. Stable. O(n²), O(n) for what is nearly sorted.
ZAM_EXPORT void insort(void const** array, std::int32_t count, void const* context, Comparison compare);

/// Sorts `count` elements; nothing for 0 and below. Quick for many equal keys: O(n · distinct keys). O(n²) for sorted
/// and reversed arrays. Not stable above 16 elements.
ZAM_EXPORT void q3sort(void const** array, std::int32_t count, void const* context, Comparison compare);

/// Sorts `count` elements; nothing for 0 and below. O(n log n) as a rule, sorted and reversed arrays included; O(n²)
/// for arrays that rise up to their middle and fall after it, and for others made to be hard. Not stable above 16
/// elements.
ZAM_EXPORT void q3sortb(void const** array, std::int32_t count, void const* context, Comparison compare);

/// The first steps of `q3sort` and `q3sortb`: bring the elements from `first` to `last`, both included, near their
/// places. Every element ends up less than 16 places away, inside a run of at most 16 in unknown order that stands at
/// the run's right place. `Q3sort` splits a range in three around its last element, `Q3sortb` in two around its middle
/// one. Ranges of 16 elements and less stay as they are.
///
/// Uses less than 100 bytes of stack for every 16 elements at the very worst; as good as nothing for sorted arrays.
ZAM_EXPORT void Q3sort(void const** array, std::int32_t first, std::int32_t last, void const* context,
                       Comparison compare);
ZAM_EXPORT void Q3sortb(void const** array, std::int32_t first, std::int32_t last, void const* context,
                        Comparison compare);

/// Find the lowest (`binsearchL`) or highest (`binsearchU`) element that equals `key`, among those from `first` to
/// `last`, both included, which have to be sorted. O(log n) comparisons. They give its index, or
///
///     -2        for an invalid range: `first` is negative, or above `last`
///     -3        if `key` sorts before all elements
///     -4        if `key` sorts after all elements
///     -5 - x    if `key` lies between two elements: x is the upper one for `binsearchL`, the place to insert at, and
///               the lower one for `binsearchU`
///
/// `key` need not be of the elements' kind, if `compare` can tell them apart: the ends are compared as (`key`,
/// element), all other elements as (element, `key`).
ZAM_EXPORT std::int32_t binsearchL(void const** array, std::int32_t first, std::int32_t last, void const* key,
                                   void const* context, Comparison compare);
ZAM_EXPORT std::int32_t binsearchU(void const** array, std::int32_t first, std::int32_t last, void const* key,
                                   void const* context, Comparison compare);

}  // namespace ZaM

#endif
