#include "class_figures.h"

#include <algorithm>

namespace classify {

ClassFigures::ClassFigures(ZaM::ErrorMatrix const& matrix, unsigned int id)
    : documents(matrix.GetClassCount(id)), found(matrix.GetResult(id, id)), wronglyIn(matrix.GetClassImported(id)) {}

double MacroF1(ZaM::ErrorMatrix const& matrix, std::size_t classes) {
  double sum = 0;
  double counted = 0;
  for (unsigned int id = 1; id <= classes; ++id) {
    ClassFigures const figures(matrix, id);
    if (figures.Involved() == 0) continue;
    sum += 2 * figures.found / figures.Involved();
    ++counted;
  }
  return counted > 0 ? sum / counted : 0;
}

std::vector<Confusion> WorstOf(ZaM::ErrorMatrix const& matrix, std::size_t classes, std::size_t limit) {
  std::vector<Confusion> confusions;
  for (unsigned int actual = 1; actual <= classes; ++actual) {
    for (unsigned int assigned = 1; assigned <= classes; ++assigned) {
      unsigned int const count = actual == assigned ? 0 : matrix.GetResult(actual, assigned);
      if (count > 0) confusions.push_back({count, actual, assigned});
    }
  }
  std::stable_sort(confusions.begin(), confusions.end(),
                   [](Confusion const& a, Confusion const& b) { return a.count > b.count; });
  confusions.resize(std::min(confusions.size(), limit), Confusion{});
  return confusions;
}

}  // namespace classify
