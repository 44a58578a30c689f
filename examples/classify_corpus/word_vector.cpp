#include "word_vector.h"

#include <utility>

#include "tags.h"

namespace classify {

WordVector* WordVector::Create(std::vector<WeightedTerm> terms) {
  return ZaM::CreateCounted([&] { return new WordVector(std::move(terms)); });
}

WordVector::WordVector(std::vector<WeightedTerm> given) : Representation(DocumentTag()), terms(std::move(given)) {}

}  // namespace classify
