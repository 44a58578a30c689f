// Examples, documents and the calls that the tests of the principal components share.
#ifndef TESTS_ALGORITHMS_PCA_FIXTURE_H
#define TESTS_ALGORITHMS_PCA_FIXTURE_H

#include <gtest/gtest.h>

#include <numeric>
#include <sstream>

#include "tests/support/number_vector.h"
#include "tests/support/pca_model.h"

namespace ZaM::test {

using Vector = std::vector<double>;

inline double Product(Vector const& x, Vector const& y) {
  return std::inner_product(x.begin(), x.end(), y.begin(), 0.0);
}

/// A vector whose `dot` is the inner product.
class Point : public NumberVector {
 public:
  static Point* Create(Vector numbers) {
    return CreateCounted([&] { return new Point(std::move(numbers)); });
  }

  double dot(Representation const& other) const override {
    auto const& right = dynamic_cast<Point const&>(other);
    return onDot ? onDot(*this, right) : Product(numbers, right.numbers);
  }

  static inline std::function<double(Point const& left, Point const& right)> onDot;  // instead of the product, if set

 protected:
  using NumberVector::NumberVector;
};

using Step = void (PcaControl::*)(bool);
inline constexpr Step examplesStep = &PcaControl::SetDoExamples;
inline constexpr Step learnStep = &PcaControl::SetDoLearn;
inline constexpr Step insertStep = &PcaControl::SetDoInsert;
inline constexpr Step removeStep = &PcaControl::SetDoRemove;
inline constexpr Step projectStep = &PcaControl::SetDoProject;

class PcaFixture : public ::testing::Test {
 protected:
  static inline RepTag const coordinates = SetRepTag("Pcax");
  static inline std::vector<Vector> const fourPoints = {{2, 0}, {-2, 0}, {0, 1}, {0, -1}};

  PcaFixture() {
    control.SetEnableRelearn(true);
    control.SetResultTag(coordinates);
  }
  ~PcaFixture() override { Point::onDot = nullptr; }

  /// Places from `points.size()` on get null pointers.
  void SetPoints(std::vector<Vector> const& points) {
    examples.clear();
    for (Vector const& point : points) examples.emplace_back(Point::Create(point));
  }

  /// Hands the examples over with these activities, and runs the steps in the same call.
  void Run(std::vector<std::int8_t> const& activities, std::vector<Step> const& steps = {}) {
    std::vector<Representation*> pointers(activities.size());
    for (std::size_t i = 0; i < std::min(pointers.size(), examples.size()); ++i) pointers[i] = examples[i].Get();
    control.SetExampleVector(pointers);
    control.SetActivityVector(activities);
    std::vector<Step> all = steps;
    all.push_back(examplesStep);
    RunSteps(all);
  }

  void RunSteps(std::vector<Step> const& steps) {
    SetSteps(steps);
    analyzer.DoAlgorithm(&control);
  }
  void SetSteps(std::vector<Step> const& steps) {
    for (Step const step : {examplesStep, learnStep, insertStep, removeStep, projectStep}) (control.*step)(false);
    for (Step const step : steps) (control.*step)(true);
  }

  void Learn(std::vector<Vector> const& points) {
    SetPoints(points);
    Run(std::vector<std::int8_t>(points.size(), 1), {learnStep});
  }

  /// The model's stored form; empty if it can't be saved.
  std::string Saved() {
    std::ostringstream stream;
    return analyzer.Save(&stream) ? stream.str() : std::string();
  }
  StoredModel Model() { return ToModel(Saved()); }

  bool Load(std::string const& bytes) {
    std::istringstream stream(bytes);
    return analyzer.Load(&stream);
  }

  static Ref<DocumentNode> Document(Vector const& numbers) {
    Ref<DocumentNode> document(DocumentNode::Create());
    document->AddRepresentation(Point::Create(numbers));
    return document;
  }

  /// The coordinates on a document; {-99} if it has none.
  static Vector Coordinates(DocumentNode& document) {
    auto const* const result = dynamic_cast<FullResult const*>(document.GetRepresentation(coordinates));
    if (!result) return {-99};
    Vector values;
    for (FullResultItem const& item : result->GetResults()) values.push_back(item.GetValue());
    return values;
  }

  /// The coordinates that a document with this content gets.
  Vector Project(Vector const& numbers) {
    Ref const document = Document(numbers);
    PcaControl projection;
    projection.SetDoProject(true);
    projection.SetResultTag(coordinates);
    projection.SetSourceNode(document.Get());
    analyzer.DoAlgorithm(&projection);
    return Coordinates(*document);
  }

  std::vector<Ref<Point>> examples;
  PcaControl control;
  PcaAnalyzer analyzer;
};

}  // namespace ZaM::test

#endif
