#include "number_sort.h"

#include <algorithm>
#include <array>
#include <utility>

#include "interrupt.h"

namespace classify {

// By radix: three passes, from the lowest digit of 11 bits to the highest, each of which keeps the order of the one
// before among equal digits. Below some hundred numbers the counters cost more than comparisons.
void SortNumbers(std::vector<std::uint32_t>& numbers, std::vector<std::uint32_t>& scratch) {
  constexpr std::size_t fewNumbers = 1000;
  constexpr unsigned int bits = 11;
  constexpr std::uint32_t mask = (1U << bits) - 1;
  if (numbers.size() < fewNumbers) {
    std::sort(numbers.begin(), numbers.end());
    return;
  }

  std::array<std::array<std::size_t, mask + 1>, 3> places{};
  for (std::uint32_t const number : numbers)
    for (unsigned int pass = 0; pass < places.size(); ++pass) ++places[pass][number >> pass * bits & mask];
  scratch.resize(numbers.size());
  for (unsigned int pass = 0; pass < places.size(); ++pass) {
    StopIfInterrupted(CancelId::Training);
    std::size_t place = 0;
    for (std::size_t& count : places[pass]) place += std::exchange(count, place);
    for (std::uint32_t const number : numbers) scratch[places[pass][number >> pass * bits & mask]++] = number;
    numbers.swap(scratch);
  }
}

}  // namespace classify
