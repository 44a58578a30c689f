#include "word_vector.h"

#include <utility>

#include "interrupt.h"
#include "tags.h"

namespace classify {

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

void WordVector::DotAll(ZaM::Representation const* const* others, std::size_t count, double* products) const {
  std::vector<double> weights(terms.empty() ? 0 : terms.back().index + std::size_t{1});
  for (auto const& [index, weight] : terms) weights[index] = weight;
  StopIfInterrupted(CancelId::Training);
  for (std::size_t i = 0; i < count; ++i) {
    products[i] = 0.0;
    if (!others[i]) continue;
    for (auto const& [index, weight] : static_cast<WordVector const&>(*others[i]).terms) {
      if (index >= weights.size()) break;
      products[i] += weights[index] * static_cast<double>(weight);
    }
  }
}

}  // namespace classify
