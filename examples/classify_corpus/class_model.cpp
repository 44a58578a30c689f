#include "class_model.h"

#include <limits>
#include <utility>

#include "tags.h"
#include "word_vector.h"

namespace classify {

ClassModel* ClassModel::Create(unsigned int classId, std::vector<float> termWeights, double bias) {
  return ZaM::CreateCounted([&] { return new ClassModel(classId, std::move(termWeights), bias); });
}

ClassModel::ClassModel(unsigned int id, std::vector<float> termWeights, double startingScore)
    : DocumentNode(id, nullptr), Representation(ClassTag()), weights(std::move(termWeights)), bias(startingScore) {}

double ClassModel::dot(Representation const& document) const {
  auto const* const words = dynamic_cast<WordVector const*>(&document);
  if (!words) return std::numeric_limits<double>::quiet_NaN();
  double score = bias;
  for (auto const [index, weight] : words->Terms()) score += static_cast<double>(weights[index]) * weight;
  return score;
}

}  // namespace classify
