// Chooses the best classes out of many; internal.
#ifndef ZAM_RESULTS_BEST_RESULTS_H
#define ZAM_RESULTS_BEST_RESULTS_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "zam/results/result_item.h"

namespace ZaM::detail {

/// Whether `a` comes before `b`: the greater value first, of equal values the lower class id, and values that are not
/// numbers last. A strict weak order whatever the values are, as the standard algorithms need it. An object instead of
/// a function, so that they inline it.
inline constexpr auto comesBefore = [](IndexedResult const& a, IndexedResult const& b) {
  if (a.GetValue() > b.GetValue()) return true;
  if (a.GetValue() < b.GetValue()) return false;
  bool const aIsNumber = !std::isnan(a.GetValue());
  bool const bIsNumber = !std::isnan(b.GetValue());
  return aIsNumber == bIsNumber ? a.GetIndex() < b.GetIndex() : aIsNumber;
};

/// Takes `candidate` into `best`, a heap with its last entry in front, or leaves it out if `limit` (at least 1) better
/// ones are there. Offer all candidates to an empty vector, then call `SortBest`; it never grows beyond `limit`.
inline void OfferToBest(std::vector<IndexedResult>& best, std::size_t limit, IndexedResult const& candidate) {
  if (best.size() < limit) {
    best.push_back(candidate);
  } else if (comesBefore(candidate, best.front())) {
    std::pop_heap(best.begin(), best.end(), comesBefore);
    best.back() = candidate;
  } else {
    return;
  }
  std::push_heap(best.begin(), best.end(), comesBefore);
}

/// Puts what was offered into its order, best first. Where nothing was offered a default entry stands in.
inline void SortBest(std::vector<IndexedResult>& best) {
  std::sort_heap(best.begin(), best.end(), comesBefore);
  if (best.empty()) best.emplace_back();
}

}  // namespace ZaM::detail

#endif
