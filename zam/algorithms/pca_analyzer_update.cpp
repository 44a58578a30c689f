// Insertion and removal of examples.
#include <algorithm>
#include <cmath>
#include <utility>

#include "zam/algorithms/pca_analyzer.h"
#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/model/bulk_dot.h"

namespace ZaM {

namespace {

constexpr std::int8_t toRemove = -1;

}  // namespace

// The sums of a model, to go back to when nothing can be learned from changed ones.
struct PcaAnalyzer::Sums {
  std::vector<std::int8_t> activity;
  std::vector<double> gramRowSums;
  double gramTotal;
  unsigned int exampleCount;
};

PcaAnalyzer::Sums PcaAnalyzer::CopySums() const {
  return ReportOutOfMemory([this] { return Sums{activity, gramRowSums, gramTotal, exampleCount}; });
}

void PcaAnalyzer::RestoreSums(Sums& former) {
  activity.swap(former.activity);
  gramRowSums.swap(former.gramRowSums);
  gramTotal = former.gramTotal;
  exampleCount = former.exampleCount;
}

void PcaAnalyzer::Insert() {
  CheckChange(false);
  bool const hadModel = HasModel();
  bool const hadActive = std::any_of(activity.begin(), activity.end(), [](int value) { return value > 0; });
  Sums former = CopySums();
  try {
    if (!prepareInsert()) return;
    CheckSums();
    if (!hadModel) eigenVectors = StartVectors();
    if (hadActive) {
      learn(eigenVectors);
    } else {
      learn(StartVectors());  // the former vectors have nothing at new examples
    }
  } catch (...) {
    RestoreSums(former);
    if (!hadModel) deallocate();
    for (std::size_t i = 0; i < gram.size() && i < examples.size(); ++i) {
      if (IsNew(i)) ForgetGram(i);
    }
    throw;
  }
}

void PcaAnalyzer::Remove() {
  CheckChange(true);
  Sums former = CopySums();
  try {
    allocate();
    if (prepareRemove()) learn(eigenVectors);
  } catch (...) {
    RestoreSums(former);
    throw;
  }
}

// Refuses a change for which the model has no room or lacks rows of its Gram matrix. A run without a marked example
// has nothing to change.
void PcaAnalyzer::CheckChange(bool removing) const {
  bool marked = false;
  bool complete = true;
  for (std::size_t i = 0; i < examples.size(); ++i) {
    bool const leaves = removing && activity[i] == toRemove;
    marked = marked || leaves || (!removing && IsNew(i));
    complete = complete && (HasGramRow(i) || !(activity[i] > 0 || leaves));
  }
  if (!marked) return;
  CheckCapacity(maxExamples);
  if (!complete)
    ReportOutOfMemory([] { throw BaseException(ErrorId::IncompleteSettings, u"Gram matrix of the examples"); });
}

bool PcaAnalyzer::prepareInsert() {
  allocate();
  // From the last to the first: the row of a later one has to have its size before an earlier one writes into it.
  bool marked = false;
  for (std::size_t i = examples.size(); i-- > 0;) {
    if (!IsNew(i)) continue;
    MakeNewGram(i);
    marked = true;
  }
  if (marked) ForgetFormerSums();

  exampleCount = 0;
  for (std::size_t i = 0; i < examples.size(); ++i) {
    if (activity[i] >= 0) ++exampleCount;
    if (!IsNew(i)) continue;
    InsertIntoSums(i);
    ForgetEntries(i);
  }
  return marked;
}

// Pairs of two new examples are computed twice. An example that keeps its place free has no row. A pair with an example
// that isn't in the model, or leaves in this run, counts as 0: there may be a number of an earlier user of the place.
void PcaAnalyzer::MakeNewGram(std::size_t index) {
  auto [partners, products] = ReportOutOfMemory([&] {
    if (!HasGramRow(index)) gram[index].resize(index + 1);
    return std::pair(std::vector<Representation const*>(examples.size()), std::vector<double>(examples.size()));
  });
  for (std::size_t j = 0; j < examples.size(); ++j) {
    if (activity[j] >= 0 && (j <= index || HasGramRow(j))) partners[j] = examples[j];
  }
  DotAll(*examples[index], partners.data(), partners.size(), products.data());
  for (std::size_t j = 0; j < examples.size(); ++j) {
    CheckNumber(products[j]);
    if (j <= index) gram[index][j] = products[j];
    if (j > index && HasGramRow(j)) gram[j][index] = products[j];
  }
}

// One number that is none would be in all sums for ever.
void PcaAnalyzer::CheckNumber(double number) {
  if (!std::isfinite(number))
    ReportOutOfMemory(
        [] { throw BaseException(ErrorId::InvalidArgument, u"dot of the examples is no finite number"); });
}

void PcaAnalyzer::CheckSums() const {
  CheckNumber(gramTotal);
  for (std::size_t i = 0; i < examples.size(); ++i) {
    if (activity[i] > 0) CheckNumber(gramRowSums[i]);
  }
}

// The sums are those of examples that are all gone if none is in the model, nor about to leave it.
void PcaAnalyzer::ForgetFormerSums() {
  if (std::any_of(activity.begin(), activity.end(), [](int value) { return value > 0 || value == toRemove; })) return;
  std::fill(gramRowSums.begin(), gramRowSums.end(), 0.0);
  gramTotal = 0.0;
}

// A removal would take entries of an example that didn't come in for a part of the model.
void PcaAnalyzer::ForgetGram(std::size_t index) {
  std::fill(gram[index].begin(), gram[index].end(), 0.0);
  for (std::size_t j = index + 1; j < examples.size(); ++j) {
    if (HasGramRow(j)) gram[j][index] = 0.0;
  }
}

void PcaAnalyzer::InsertIntoSums(std::size_t index) {
  double sum = 0.0;
  for (std::size_t j = 0; j < index; ++j) {
    if (activity[j] <= 0) continue;
    sum += gram[index][j];
    gramRowSums[j] += gram[index][j];
  }
  sum += gram[index][index];
  for (std::size_t j = index + 1; j < examples.size(); ++j) {
    if (activity[j] <= 0) continue;
    sum += gram[j][index];
    gramRowSums[j] += gram[j][index];
  }
  gramRowSums[index] = sum;
  gramTotal += 2.0 * sum - gram[index][index];
  activity[index] = 1;  // so that a later new example finds this one in the model
}

// What an earlier user of the place left in the vectors has grown with every learning since, and might outweigh all
// other entries by now.
void PcaAnalyzer::ForgetEntries(std::size_t index) {
  for (std::vector<double>& vector : eigenVectors) {
    if (index < vector.size()) vector[index] = 0.0;
  }
}

bool PcaAnalyzer::prepareRemove() {
  unsigned int removed = 0;
  exampleCount = 0;
  for (std::size_t i = 0; i < examples.size(); ++i) {
    if (activity[i] >= 0) ++exampleCount;
    if (activity[i] != toRemove) continue;
    RemoveFromSums(i);
    ++removed;
  }
  return removed != 0;
}

// A pair of two examples that leave together goes with the earlier one: the later one is still a partner of it, while
// the earlier one isn't of the later any more. Other examples that aren't active have no pairs in the sums.
void PcaAnalyzer::RemoveFromSums(std::size_t index) {
  double sum = 0.0;
  for (std::size_t j = 0; j < index; ++j) {
    if (activity[j] <= 0) continue;
    gramRowSums[j] -= gram[index][j];
    sum += gram[index][j];
  }
  for (std::size_t j = index + 1; j < examples.size(); ++j) {
    if (activity[j] <= 0 && activity[j] != toRemove) continue;
    gramRowSums[j] -= gram[j][index];
    sum += gram[j][index];
  }
  gramTotal -= 2.0 * sum + gram[index][index];
  gramRowSums[index] = 0.0;
}

}  // namespace ZaM
