// One class against the others, by dual coordinate descent.
//
// With y = 1 for the documents x of the class and -1 for the others, the plane w minimises
//
//     ½ Σ (w[t] / r[t])²  +  C Σ max(0, 1 - y · w·x)²
//
// The first sum is where naive Bayes comes in: r[t]² is the logarithm of how many times more often term t occurs on one
// side than on the other, so that a telling term gets its weight cheaply. The dual has one variable a >= 0 for each
// document, with w[t] = r[t]² · Σ a y x[t]. Solving for one a at a time, with the others fixed, is a division; the
// documents take turns in random order until none of them moves its a noticeably. Most documents of the others soon lie
// far on their side, with a = 0: these are passed over until the rest has settled, and then have their turn once more.
//
//   Hsieh, Chang, Lin, Keerthi, Sundararajan: A dual coordinate descent method for large-scale linear SVM. ICML 2008.
//   Wang, Manning: Baselines and bigrams: simple, good sentiment and topic classification. ACL 2012.
#include "trainer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <span>
#include <utility>

#include "interrupt.h"

namespace classify {

namespace {

constexpr float missCost = 1.0F;  // C; from 0.3 to 3 the results hardly differ
constexpr float slope = 1 / (2 * missCost);
constexpr float smoothing = 0.05F;     // added to the sums of weights, which are a tenth or so for a term's occurrence
constexpr float tolerance = 0.1F;      // of the condition at the minimum; a tenth of it finds no more documents
constexpr int mostSweeps = 100;        // about ten are needed
constexpr unsigned int orderSeed = 1;  // of the random order: any will do, but always the same

using Vector = std::span<WeightedTerm const>;

struct TermState {
  float weight = 0;    // w
  float strength = 1;  // r²
};

class Learner {
 public:
  Learner(TrainingSet const& training, std::vector<float> const& totals, unsigned int classId);

  /// Lets each document take its turn; returns whether all of them met the condition at the minimum.
  bool Sweep();

  ClassModel* CreateModel() const;

 private:
  bool IsOwn(std::size_t i) const { return documents.ClassOf(i) == ownClass; }
  float SideOf(std::size_t i) const { return IsOwn(i) ? 1.0F : -1.0F; }
  void ActivateAll();
  float GradientOf(std::size_t i) const;
  void CompareWithOthers(std::vector<float> const& totals);
  float LengthOf(Vector words) const;
  float Improve(std::size_t i, float gradient);
  float Score(Vector words) const;
  void Move(Vector words, float step);
  void Shuffle();

  TrainingSet const& documents;
  unsigned int const ownClass;
  std::vector<TermState> terms;
  float bias = 0;
  std::vector<float> multipliers;  // a, by document
  std::vector<float> lengths;      // by document: its squared length with the terms' strengths, 1 for the bias included
  std::vector<std::uint32_t> active;                     // the documents that take turns
  float bound = std::numeric_limits<float>::infinity();  // what the worst one missed the condition by the time before
  std::mt19937 random{orderSeed};
};

Learner::Learner(TrainingSet const& training, std::vector<float> const& totals, unsigned int classId)
    : documents(training),
      ownClass(classId),
      terms(totals.size()),
      multipliers(training.Size()),
      lengths(training.Size()) {
  ActivateAll();
  CompareWithOthers(totals);
}

void Learner::CompareWithOthers(std::vector<float> const& totals) {
  std::vector<float> own(totals.size(), smoothing);
  for (std::size_t i = 0; i < documents.Size(); ++i) {
    if (!IsOwn(i)) continue;
    for (auto const [index, weight] : documents.VectorOf(i)) own[index] += weight;
  }
  double const ownSum = std::accumulate(own.begin(), own.end(), 0.0);
  double const sum = std::accumulate(totals.begin(), totals.end(), 0.0);
  double const smoothed = 2.0 * smoothing * static_cast<double>(totals.size());
  for (std::size_t t = 0; t < terms.size(); ++t) {
    // What rounding leaves of a term that the others don't have may be slightly negative.
    double const others = std::max(totals[t] + smoothing - own[t], 0.0F) + smoothing;
    double const othersSum = sum + smoothed - ownSum;
    terms[t].strength = static_cast<float>(std::abs(std::log(own[t] / ownSum / (others / othersSum))));
  }
}

float Learner::LengthOf(Vector words) const {
  float length = 1;
  for (auto const [index, weight] : words) length += weight * weight * terms[index].strength;
  return length;
}

void Learner::ActivateAll() {
  active.resize(documents.Size());
  std::iota(active.begin(), active.end(), 0U);
  bound = std::numeric_limits<float>::infinity();
}

bool Learner::Sweep() {
  Shuffle();
  float worst = 0;
  std::size_t kept = 0;
  for (std::uint32_t const i : active) {
    StopIfInterrupted(CancelId::Training);
    float const gradient = GradientOf(i);
    bool const isIdle = multipliers[i] == 0 && gradient >= 0;
    if (!isIdle) worst = std::max(worst, Improve(i, gradient));
    if (!isIdle || gradient <= bound) active[kept++] = i;
  }
  bool const wereAll = kept == documents.Size() || active.size() == documents.Size();
  active.resize(kept);
  bound = worst;
  if (worst >= tolerance) return false;
  if (!wereAll) ActivateAll();
  return wereAll;
}

float Learner::GradientOf(std::size_t i) const {
  return SideOf(i) * Score(documents.VectorOf(i)) - 1 + slope * multipliers[i];
}

// Returns by how much the document missed the condition at the minimum.
float Learner::Improve(std::size_t i, float gradient) {
  Vector const words = documents.VectorOf(i);
  if (lengths[i] == 0) lengths[i] = LengthOf(words);
  float const improved = std::max(multipliers[i] - gradient / (lengths[i] + slope), 0.0F);
  Move(words, (improved - multipliers[i]) * SideOf(i));
  multipliers[i] = improved;
  return std::abs(gradient);
}

// Four sums, so that no addition has to wait for the one before.
float Learner::Score(Vector words) const {
  std::array<float, 4> sums{bias};
  std::size_t i = 0;
  for (; i + sums.size() <= words.size(); i += sums.size())
    for (std::size_t k = 0; k < sums.size(); ++k) sums[k] += words[i + k].weight * terms[words[i + k].index].weight;
  for (; i < words.size(); ++i) sums[0] += words[i].weight * terms[words[i].index].weight;
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

void Learner::Move(Vector words, float step) {
  for (auto const [index, weight] : words) terms[index].weight += step * weight * terms[index].strength;
  bias += step;
}

// Not std::shuffle, whose order differs from one standard library to the next.
void Learner::Shuffle() {
  for (std::size_t i = active.size(); i > 1; --i) std::swap(active[i - 1], active[random() % i]);
}

ClassModel* Learner::CreateModel() const {
  std::vector<float> weights(terms.size());
  std::transform(terms.begin(), terms.end(), weights.begin(), [](TermState const& term) { return term.weight; });
  return ClassModel::Create(ownClass, std::move(weights), bias);
}

}  // namespace

Trainer::Trainer(TrainingSet given) : documents(std::move(given)), totals(documents.TermCount()) {
  for (std::size_t i = 0; i < documents.Size(); ++i) {
    StopIfInterrupted(CancelId::Training);
    for (auto const [index, weight] : documents.VectorOf(i)) totals[index] += weight;
  }
}

ClassModel* Trainer::Learn(unsigned int classId) const {
  Learner learner(documents, totals, classId);
  bool isDone = false;
  for (int sweep = 0; sweep < mostSweeps && !isDone; ++sweep) isDone = learner.Sweep();
  return learner.CreateModel();
}

}  // namespace classify
