// Sorts numbers faster than by comparing them.
#ifndef CLASSIFY_CORPUS_NUMBER_SORT_H
#define CLASSIFY_CORPUS_NUMBER_SORT_H

#include <cstdint>
#include <vector>

namespace classify {

/// Puts the numbers in ascending order. `scratch` may hold anything; keep it to save its allocation.
void SortNumbers(std::vector<std::uint32_t>& numbers, std::vector<std::uint32_t>& scratch);

/// Calls `use(number, count)` for each different number of a sorted list, in its order.
template <class Use>
void ForEachRun(std::vector<std::uint32_t> const& sorted, Use use) {
  for (std::size_t begin = 0, end = 0; begin < sorted.size(); begin = end) {
    while (end < sorted.size() && sorted[end] == sorted[begin]) ++end;
    use(sorted[begin], end - begin);
  }
}

}  // namespace classify

#endif
