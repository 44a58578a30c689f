// One class against the others, by dual coordinate descent.
//
// With y = 1 for the documents x of the class and -1 for the others, the plane w minimises
//
//     ½ Σ (w[t] / r[t])²  +  C Σ max(0, 1 - y · w·x)²
//
// The first sum is where naive Bayes comes in: r[t]² is the logarithm of how many times more often term t occurs on one
// side than on the other, so that a telling term gets its weight cheaply. The dual has one variable a >= 0 for each
// document, with w[t] = r[t]² · Σ a y x[t]. Solving for one a at a time, with the others fixed, is a division; the
// documents take turns in random order until none of them moves its a noticeably.
//
//   Hsieh, Chang, Lin, Keerthi, Sundararajan: A dual coordinate descent method for large-scale linear SVM. ICML 2008.
//   Wang, Manning: Baselines and bigrams: simple, good sentiment and topic classification. ACL 2012.
//
// Nearly all of the time goes into the weights of a document's terms, which are scattered over megabytes. So classes
// are learned up to twelve at a time, with their weights of a term side by side: one look serves all of them, and the
// processor's vectors do the sums. A class has no part in what becomes of its neighbours. That takes half the time of
// one class after the other; more at a time gain nothing, and leave threads less to share.
#include "trainer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <random>
#include <type_traits>
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

constexpr std::size_t cacheLine = 64;

using Vector = std::span<WeightedTerm const>;

// A vector of the compiler: left to themselves, GCC's loops go along the terms, and shuffle their numbers.
using Four [[gnu::vector_size(4 * sizeof(float))]] = float;

/// A number for each of the classes that are learned together: one, or a multiple of four.
template <std::size_t width>
struct Lanes {
  using Part = std::conditional_t<width == 1, float, Four>;

  static Lanes Of(float number) {
    Lanes lanes;
    lanes.parts.fill(Part{} + number);
    return lanes;
  }

  float operator[](std::size_t lane) const {
    if constexpr (width == 1)
      return parts[0];
    else
      return parts[lane / 4][lane % 4];
  }
  void Set(std::size_t lane, float number) {
    if constexpr (width == 1)
      parts[0] = number;
    else
      parts[lane / 4][lane % 4] = number;
  }

  /// Adds a multiple of others.
  void Add(float factor, Lanes const& others) {
    for (std::size_t i = 0; i < parts.size(); ++i) parts[i] += factor * others.parts[i];
  }

  std::array<Part, (width + 3) / 4> parts{};
};

/// Learns up to `width` classes.
template <std::size_t width>
class Learner {
 public:
  Learner(TrainingSet const& training, std::vector<float> const& totals, std::span<unsigned int const> classIds);

  /// Lets each document take its turn; returns whether all of them met the condition at the minimum in each class.
  bool Sweep();

  ClassModel* CreateModel(std::size_t lane) const;

 private:
  using Numbers = Lanes<width>;

  // On as few lines of the cache as it can; an alignment is a power of two.
  struct alignas(width == 12 ? 32 : 2 * sizeof(Numbers)) TermState {
    Numbers weights;    // w
    Numbers strengths;  // r²
  };

  void CompareWithOthers(std::vector<float> const& totals);
  Numbers SidesOf(std::size_t i) const;
  Numbers LengthsOf(Vector words) const;
  Numbers Scores(Vector words) const;
  void Fetch(Vector words) const;
  void Improve(std::size_t i);
  void Move(Vector words, Numbers const& steps);
  void Shuffle();

  TrainingSet const& documents;
  std::span<unsigned int const> const ids;
  std::vector<TermState> terms;  // by index
  Numbers biases;
  std::vector<Numbers> multipliers;  // a, by document
  std::vector<Numbers> lengths;      // by document: squared, with the terms' strengths, 1 for the bias included
  Numbers worst;                     // the most that a document of this sweep missed the condition by
  std::array<bool, width> isDone;    // whether the minimum was reached
  std::vector<std::uint32_t> order;  // in which the documents take turns
  std::mt19937 random{orderSeed};
};

template <std::size_t width>
Learner<width>::Learner(TrainingSet const& training, std::vector<float> const& totals,
                        std::span<unsigned int const> classIds)
    : documents(training),
      ids(classIds),
      terms(totals.size()),
      multipliers(training.Size()),
      lengths(training.Size()),
      order(training.Size()) {
  std::fill(std::fill_n(isDone.begin(), ids.size(), false), isDone.end(), true);
  std::iota(order.begin(), order.end(), 0U);
  CompareWithOthers(totals);
  for (std::size_t i = 0; i < documents.Size(); ++i) {
    StopIfInterrupted(CancelId::Training);
    lengths[i] = LengthsOf(documents.VectorOf(i));
  }
}

template <std::size_t width>
void Learner<width>::CompareWithOthers(std::vector<float> const& totals) {
  double const sum = std::accumulate(totals.begin(), totals.end(), 0.0);
  double const smoothed = 2.0 * smoothing * static_cast<double>(totals.size());
  for (std::size_t lane = 0; lane < ids.size(); ++lane) {
    StopIfInterrupted(CancelId::Training);
    std::vector<float> own(totals.size(), smoothing);
    for (std::size_t i = 0; i < documents.Size(); ++i) {
      if (documents.ClassOf(i) != ids[lane]) continue;
      for (auto const [index, weight] : documents.VectorOf(i)) own[index] += weight;
    }
    double const ownSum = std::accumulate(own.begin(), own.end(), 0.0);
    for (std::size_t t = 0; t < totals.size(); ++t) {
      // What rounding leaves of a term that the others don't have may be slightly negative.
      double const others = std::max(totals[t] + smoothing - own[t], 0.0F) + smoothing;
      double const othersSum = sum + smoothed - ownSum;
      double const logarithm = std::log(own[t] / ownSum / (others / othersSum));
      terms[t].strengths.Set(lane, static_cast<float>(std::abs(logarithm)));
    }
  }
}

template <std::size_t width>
Lanes<width> Learner<width>::SidesOf(std::size_t i) const {
  Numbers sides = Numbers::Of(-1);
  auto const own = std::find(ids.begin(), ids.end(), documents.ClassOf(i));
  if (own != ids.end()) sides.Set(static_cast<std::size_t>(own - ids.begin()), 1);
  return sides;
}

template <std::size_t width>
Lanes<width> Learner<width>::LengthsOf(Vector words) const {
  Numbers sums = Numbers::Of(1);
  for (auto const [index, weight] : words) sums.Add(weight * weight, terms[index].strengths);
  return sums;
}

template <std::size_t width>
bool Learner<width>::Sweep() {
  Shuffle();
  worst = {};
  for (std::size_t turn = 0; turn < order.size(); ++turn) {
    StopIfInterrupted(CancelId::Training);
    if (width > 1 && turn + 1 < order.size()) Fetch(documents.VectorOf(order[turn + 1]));
    Improve(order[turn]);
  }
  for (std::size_t lane = 0; lane < width; ++lane) isDone[lane] = isDone[lane] || worst[lane] < tolerance;
  return std::find(isDone.begin(), isDone.end(), false) == isDone.end();
}

// Asks for what the next document needs, while this one has its turn. A class alone would lose by that.
template <std::size_t width>
void Learner<width>::Fetch(Vector words) const {
  for (auto const [index, weight] : words)
    for (std::size_t place = 0; place < sizeof(TermState); place += cacheLine)
      __builtin_prefetch(reinterpret_cast<char const*>(&terms[index]) + place);
}

// A document with a = 0 that lies far enough on its side meets the condition.
template <std::size_t width>
void Learner<width>::Improve(std::size_t i) {
  Numbers const sides = SidesOf(i);
  Numbers const scores = Scores(documents.VectorOf(i));
  Numbers steps;
  bool isMoving = false;
  for (std::size_t lane = 0; lane < ids.size(); ++lane) {
    float const former = multipliers[i][lane];
    float const gradient = sides[lane] * scores[lane] - 1 + slope * former;
    if (isDone[lane] || (former == 0 && gradient >= 0)) continue;
    float const improved = std::max(former - gradient / (lengths[i][lane] + slope), 0.0F);
    worst.Set(lane, std::max(worst[lane], std::abs(gradient)));
    multipliers[i].Set(lane, improved);
    steps.Set(lane, (improved - former) * sides[lane]);
    isMoving = true;
  }
  if (isMoving) Move(documents.VectorOf(i), steps);
}

// Four sums for each class, so that an addition doesn't have to wait for the one before.
template <std::size_t width>
Lanes<width> Learner<width>::Scores(Vector words) const {
  std::array<Numbers, 4> sums{biases};
  std::size_t i = 0;
  for (; i + sums.size() <= words.size(); i += sums.size())
    for (std::size_t k = 0; k < sums.size(); ++k) sums[k].Add(words[i + k].weight, terms[words[i + k].index].weights);
  for (; i < words.size(); ++i) sums[0].Add(words[i].weight, terms[words[i].index].weights);
  for (std::size_t k = 1; k < sums.size(); ++k) sums[0].Add(1, sums[k]);
  return sums[0];
}

template <std::size_t width>
void Learner<width>::Move(Vector words, Numbers const& steps) {
  for (auto const [index, weight] : words) {
    TermState& term = terms[index];
    for (std::size_t i = 0; i < steps.parts.size(); ++i)
      term.weights.parts[i] += weight * steps.parts[i] * term.strengths.parts[i];
  }
  biases.Add(1, steps);
}

// Not std::shuffle, whose order differs from one standard library to the next.
template <std::size_t width>
void Learner<width>::Shuffle() {
  for (std::size_t i = order.size(); i > 1; --i) std::swap(order[i - 1], order[random() % i]);
}

template <std::size_t width>
ClassModel* Learner<width>::CreateModel(std::size_t lane) const {
  std::vector<float> own(terms.size());
  std::transform(terms.begin(), terms.end(), own.begin(), [lane](TermState const& term) { return term.weights[lane]; });
  return ClassModel::Create(ids[lane], std::move(own), biases[lane]);
}

template <std::size_t width>
std::vector<ZaM::Ref<ClassModel>> LearnGroup(TrainingSet const& documents, std::vector<float> const& totals,
                                             std::span<unsigned int const> classIds) {
  Learner<width> learner(documents, totals, classIds);
  bool isDone = false;
  for (int sweep = 0; sweep < mostSweeps && !isDone; ++sweep) isDone = learner.Sweep();
  std::vector<ZaM::Ref<ClassModel>> models;
  for (std::size_t lane = 0; lane < classIds.size(); ++lane) models.emplace_back(learner.CreateModel(lane));
  return models;
}

}  // namespace

Trainer::Trainer(TrainingSet given) : documents(std::move(given)), totals(documents.TermCount()) {
  for (std::size_t i = 0; i < documents.Size(); ++i) {
    StopIfInterrupted(CancelId::Training);
    for (auto const [index, weight] : documents.VectorOf(i)) totals[index] += weight;
  }
}

std::vector<ZaM::Ref<ClassModel>> Trainer::Learn(std::span<unsigned int const> classIds) const {
  if (classIds.size() <= 1) return LearnGroup<1>(documents, totals, classIds);
  if (classIds.size() <= 4) return LearnGroup<4>(documents, totals, classIds);
  if (classIds.size() <= 8) return LearnGroup<8>(documents, totals, classIds);
  return LearnGroup<mostAtOnce>(documents, totals, classIds);
}

}  // namespace classify
