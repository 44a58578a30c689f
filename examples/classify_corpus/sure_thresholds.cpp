#include "sure_thresholds.h"

#include <algorithm>
#include <cmath>

namespace classify {

double Outcome::Bound(double side) const {
  constexpr double z = 1.959964;  // 95 % of a normal distribution lie within so many deviations
  if (accepted == 0) return side < 0 ? 0 : 1;
  auto const n = static_cast<double>(accepted);
  double const p = Share();
  double const middle = p + z * z / (2 * n);
  double const half = z * std::sqrt(p * (1 - p) / n + z * z / (4 * n * n));
  return std::clamp((middle + side * half) / (1 + z * z / n), 0.0, 1.0);
}

// A confidence counts for all thresholds that it reaches, compared as the library does: a float, widened.
void AssignedDocuments::Add(float confidence, bool isRight) {
  std::size_t place = byHundredths.size() - 1;
  while (place > 0 && double{confidence} < static_cast<double>(place) / 100) --place;
  ++byHundredths[place].accepted;
  byHundredths[place].right += isRight ? 1 : 0;
}

Outcome AssignedDocuments::From(unsigned int hundredths) const {
  Outcome sum;
  for (std::size_t i = hundredths; i < byHundredths.size(); ++i) {
    sum.accepted += byHundredths[i].accepted;
    sum.right += byHundredths[i].right;
  }
  return sum;
}

std::optional<SureThreshold> AssignedDocuments::ThresholdFor(double share) const {
  for (unsigned int i = 0; i < byHundredths.size(); ++i) {
    Outcome const outcome = From(i);
    if (outcome.accepted < fewestDocuments) break;
    if (outcome.Share() >= share) return SureThreshold{i, outcome};
  }
  return std::nullopt;
}

std::vector<AssignedDocuments> AssignedIn(Findings const& findings) {
  std::vector<AssignedDocuments> assigned(findings.ClassNames().size());
  for (TestedDocument const& document : findings.Tested()) {
    auto const& best = document.Result().GetBestResults(1);
    if (best.empty()) continue;
    bool const isRight = best[0].GetIndex() == document.classId;
    assigned[best[0].GetIndex()].Add(best[0].GetValue(), isRight);
    assigned[0].Add(best[0].GetValue(), isRight);
  }
  return assigned;
}

}  // namespace classify
