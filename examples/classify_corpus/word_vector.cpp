#include "word_vector.h"

#include <utility>

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

}  // namespace classify
