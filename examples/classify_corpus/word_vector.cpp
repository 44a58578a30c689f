#include "word_vector.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "interrupt.h"
#include "tags.h"

namespace classify {

TermIndex::TermIndex(std::span<WordVector const* const> vectors) {
  for (WordVector const* vector : vectors)
    if (vector->IsValid()) starts.resize(std::max(starts.size(), vector->Terms().back().index + std::size_t{2}));
  for (WordVector const* vector : vectors)
    for (auto const& [index, weight] : vector->Terms()) ++starts[index + 1];
  std::partial_sum(starts.begin(), starts.end(), starts.begin());
  occurrences.resize(starts.empty() ? 0 : starts.back());
  std::vector<std::size_t> next = starts;
  for (std::size_t i = 0; i < vectors.size(); ++i)
    for (auto const& [index, weight] : vectors[i]->Terms())
      occurrences[next[index]++] = {static_cast<std::uint32_t>(i), weight};
}

void TermIndex::Multiply(std::span<WeightedTerm const> terms, std::size_t count, double* products) const {
  std::fill_n(products, count, 0.0);
  for (auto const& [index, weight] : terms) {
    if (index + std::size_t{1} >= starts.size()) break;
    for (std::size_t i = starts[index]; i < starts[index + 1] && occurrences[i].vector < count; ++i)
      products[occurrences[i].vector] += static_cast<double>(weight) * static_cast<double>(occurrences[i].weight);
  }
}

WordVector* WordVector::Create(std::vector<WeightedTerm> terms) {
  return ZaM::CreateCounted([&] { return new WordVector(std::move(terms)); });
}

WordVector::WordVector(std::vector<WeightedTerm> given) : Representation(DocumentTag()), terms(std::move(given)) {}

double WordVector::dot(ZaM::Representation const& other) const {
  std::vector<WeightedTerm> const& others = static_cast<WordVector const&>(other).terms;
  double sum = 0.0;
  auto theirs = others.begin();
  for (auto mine = terms.begin(); mine != terms.end() && theirs != others.end();) {
    if (mine->index == theirs->index) sum += static_cast<double>(mine->weight) * static_cast<double>(theirs->weight);
    bool const behind = mine->index <= theirs->index;
    bool const ahead = mine->index >= theirs->index;
    mine += behind;
    theirs += ahead;
  }
  return sum;
}

void WordVector::ShareIndex(std::span<WordVector* const> vectors) {
  auto const index = std::make_shared<TermIndex>(vectors);
  for (std::size_t i = 0; i < vectors.size(); ++i) {
    vectors[i]->sharedIndex = index;
    vectors[i]->place = i;
  }
}

TermIndex const* WordVector::IndexOf(ZaM::Representation const* const* vectors, std::size_t count) {
  TermIndex const* common = nullptr;
  for (std::size_t i = 0; i < count; ++i) {
    auto const* const vector = static_cast<WordVector const*>(vectors[i]);
    if (!vector || !vector->sharedIndex || vector->place != i) return nullptr;
    if (common && vector->sharedIndex.get() != common) return nullptr;
    common = vector->sharedIndex.get();
  }
  return common;
}

void WordVector::DotAll(ZaM::Representation const* const* others, std::size_t count, double* products) const {
  StopIfInterrupted(CancelId::Training);
  if (TermIndex const* const index = IndexOf(others, count)) return index->Multiply(terms, count, products);
  for (std::size_t i = 0; i < count; ++i) products[i] = others[i] ? dot(*others[i]) : 0.0;
}

}  // namespace classify
