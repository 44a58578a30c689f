#include "zam/foundation/sort.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace ZaM {

namespace {

// The tests hold the sequence of comparisons against the steps written down plainly. So what is done here for speed or
// for the stack must not add, drop or reorder comparisons.

/// Wider than the indices of the interface, so that none of the sums and differences below can overflow.
using Index = std::int64_t;

struct Range {
  Index first;
  Index last;

  /// Whether it is left to the insertion sort.
  bool IsShort() const { return last - first <= 15; }
};

struct Parts {
  Range left;
  Range right;
};

/// How many elements ahead of a scan the processor is told what the scan will come to. Comparisons follow the
/// pointers as a rule, in no order that the processor could guess (sort_benchmark).
constexpr Index lead = 12;

/// The caller's array with the caller's order. Copied for each scan: a comparison can't change the copy, which lets the
/// compiler keep it in registers.
struct Elements {
  void const** array;
  void const* context;
  Comparison compare;

  int Compare(void const* left, void const* right) const { return compare(left, right, context); }

  /// A mere hint to the processor: no harm is done whatever the element is.
  void Announce(Index i) const { __builtin_prefetch(array[i]); }

  /// For a scan that goes up to `last`.
  bool IsBelow(Index i, void const* pivot, Index last) const {
    Announce(std::min(i + lead, last));
    return Compare(array[i], pivot) < 0;
  }

  /// For a scan that goes down to `first`.
  bool IsAbove(Index i, void const* pivot, Index first) const {
    Announce(std::max(i - lead, first));
    return Compare(pivot, array[i]) < 0;
  }

  void Swap(Index a, Index b) const { std::swap(array[a], array[b]); }
};

/// Brings the elements that equal the pivot from the ends of the range, where they were parked, to the pivot's place
/// `middle`. They are those below `p` and above `q`: the last one parked on each side stays out there, in a
/// neighbouring part, which does no harm.
Parts GatherParked(Elements elements, Range range, Index middle, Index p, Index q) {
  Index below = middle - 1;
  Index above = middle + 1;
  for (Index k = range.first; k < p; ++k, --below) elements.Swap(k, below);
  for (Index k = range.last - 1; k > q; --k, ++above) elements.Swap(above, k);
  return {{range.first, below}, {above, range.last}};
}

/// Splits around the last element into what is lower, what is equal and what is higher, after Bentley and McIlroy,
/// "Engineering a Sort Function" (1993): equal elements that a scan meets are parked at the end it came from.
[[gnu::noinline]] Parts SplitByLast(Elements const& all, Range range) {
  Elements const elements = all;
  auto const [l, r] = range;
  void const** const array = elements.array;
  void const* const pivot = array[r];
  Index i = l - 1;
  Index j = r;
  Index p = l - 1;
  Index q = r;
  for (;;) {
    ++i;
    while (i < r && elements.IsBelow(i, pivot, r)) ++i;
    --j;
    while (elements.IsAbove(j, pivot, l) && --j > l) {
    }
    if (i >= j) break;
    elements.Swap(i, j);
    if (elements.Compare(array[i], pivot) == 0) elements.Swap(++p, i);
    if (elements.Compare(array[j], pivot) == 0) elements.Swap(--q, j);
  }
  // From `q` on all equal the pivot: no scan goes on from there unless comparisons contradict each other.
  i = std::min(i, q);
  elements.Swap(i, r);
  return GatherParked(elements, range, i, p, q);
}

/// Splits around the middle element. Its final place belongs to the left part.
[[gnu::noinline]] Parts SplitByMiddle(Elements const& all, Range range) {
  Elements const elements = all;
  auto const [l, r] = range;
  void const** const array = elements.array;
  elements.Swap(l, (l + r) >> 1);
  void const* const pivot = array[l];
  Index i = l;
  Index j = r + 1;
  for (;;) {
    do ++i;
    while (i < r && elements.IsBelow(i, pivot, r));
    do --j;
    while (j != l && elements.IsAbove(j, pivot, l));
    if (i >= j) break;
    elements.Swap(i, j);
  }
  elements.Swap(l, j);
  return {{l, j}, {i, r}};
}

/// Splits until all ranges are short, the left part always before the right one. Only where both parts are worth a
/// split does it nest, so that sorted arrays, which `SplitByLast` peels one by one, take no stack. The attributes and
/// the reference keep what nests small: 80 bytes, where inlining would make it some hundreds.
template <Parts (*split)(Elements const&, Range)>
[[gnu::noinline]] void SortCoarsely(Elements const& elements, Range range) {
  while (!range.IsShort()) {
    auto const [left, right] = split(elements, range);
    if (right.IsShort()) {
      range = left;
    } else {
      SortCoarsely<split>(elements, left);
      range = right;
    }
  }
}

/// An element that was taken out of the array, and goes back to its place in the end, also if a comparison throws.
struct Taken {
  void const** array;
  Index place;
  void const* element;

  ~Taken() { array[place] = element; }
};

template <class AtOrAbove>
Index Bisect(Index below, Index above, AtOrAbove isAtOrAbove) {
  while (below + 1 != above) {
    Index const middle = (below + above) / 2;
    (isAtOrAbove(middle) ? above : below) = middle;
  }
  return above;
}

constexpr std::int32_t invalidRange = -2;
constexpr std::int32_t beforeAll = -3;
constexpr std::int32_t afterAll = -4;

std::int32_t FoundOrNeighbour(bool found, Index index) {
  return static_cast<std::int32_t>(found ? index : -5 - index);
}

}  // namespace

void insort(void const** array, std::int32_t count, void const* context, Comparison compare) {
  Elements const elements{array, context, compare};
  for (Index i = 1; i < count; ++i) {
    elements.Announce(std::min(i + lead, Index{count} - 1));
    Taken taken{array, i, array[i]};
    for (; taken.place > 0 && elements.Compare(array[taken.place - 1], taken.element) > 0; --taken.place) {
      array[taken.place] = array[taken.place - 1];
    }
  }
}

void Q3sort(void const** array, std::int32_t first, std::int32_t last, void const* context, Comparison compare) {
  SortCoarsely<SplitByLast>({array, context, compare}, {first, last});
}

void Q3sortb(void const** array, std::int32_t first, std::int32_t last, void const* context, Comparison compare) {
  SortCoarsely<SplitByMiddle>({array, context, compare}, {first, last});
}

void q3sort(void const** array, std::int32_t count, void const* context, Comparison compare) {
  SortCoarsely<SplitByLast>({array, context, compare}, {0, Index{count} - 1});
  insort(array, count, context, compare);
}

void q3sortb(void const** array, std::int32_t count, void const* context, Comparison compare) {
  SortCoarsely<SplitByMiddle>({array, context, compare}, {0, Index{count} - 1});
  insort(array, count, context, compare);
}

std::int32_t binsearchL(void const** array, std::int32_t first, std::int32_t last, void const* key, void const* context,
                        Comparison compare) {
  if (first > last || first < 0) return invalidRange;
  int const atFirst = compare(key, array[first], context);
  if (atFirst < 0) return beforeAll;
  if (atFirst == 0) return first;
  if (compare(key, array[last], context) > 0) return afterAll;
  Index const index =
      Bisect(Index{first} - 1, last, [&](Index middle) { return compare(array[middle], key, context) >= 0; });
  return FoundOrNeighbour(compare(array[index], key, context) == 0, index);
}

std::int32_t binsearchU(void const** array, std::int32_t first, std::int32_t last, void const* key, void const* context,
                        Comparison compare) {
  if (first > last || first < 0) return invalidRange;
  int const atLast = compare(key, array[last], context);
  if (atLast > 0) return afterAll;
  if (atLast == 0) return last;
  if (compare(key, array[first], context) < 0) return beforeAll;
  Index const index =
      Bisect(first, Index{last} + 1, [&](Index middle) { return compare(array[middle], key, context) > 0; }) - 1;
  return FoundOrNeighbour(compare(array[index], key, context) == 0, index);
}

}  // namespace ZaM
