// Examples, documents, stored models and the calls that the tests of the principal components share.
#ifndef TESTS_ALGORITHMS_PCA_FIXTURE_H
#define TESTS_ALGORITHMS_PCA_FIXTURE_H

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <string>

#include "tests/support/number_vector.h"

namespace ZaM::test {

using Vector = std::vector<double>;
using Matrix = std::vector<Vector>;
using Activities = std::vector<std::int8_t>;

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

/// Computes rows of products by itself.
class BulkPoint : public Point, public BulkDot {
 public:
  static BulkPoint* Create(Vector numbers) {
    return CreateCounted([&] { return new BulkPoint(std::move(numbers)); });
  }
  double dot(Representation const& other) const override {
    ADD_FAILURE() << "asked for one product";
    return Point::dot(other);
  }
  void DotAll(Representation const* const* others, std::size_t count, double* products) const override {
    for (std::size_t i = 0; i < count; ++i) products[i] = others[i] ? Point::dot(*others[i]) : 0.0;
  }

 protected:
  using Point::Point;
};

/// The numbers of a stored model, as docs/formats.md lists them.
struct StoredModel {
  std::uint32_t dimension, maxIterations, maxExamples, exampleCount;
  std::int32_t hasGram;
  double gramTotal, epsilon;
  Vector gramRowSums, eigenValues;
  Matrix eigenVectors, gram;
};

inline constexpr std::size_t headerSize = 36;

/// Calls `each` with every number in the order of the file, and `makeRoom` between the header and the rest.
template <class Model, class Each, class MakeRoom>
void ForEachNumber(Model& model, Each each, MakeRoom makeRoom) {
  for (auto* const field : {&model.dimension, &model.maxIterations, &model.maxExamples, &model.exampleCount}) {
    each(*field);
  }
  each(model.hasGram);
  each(model.gramTotal);
  each(model.epsilon);
  makeRoom();
  for (auto* const row : {&model.gramRowSums, &model.eigenValues}) std::for_each(row->begin(), row->end(), each);
  for (auto* const rows : {&model.eigenVectors, &model.gram}) {
    for (auto& row : *rows) std::for_each(row.begin(), row.end(), each);
  }
}

inline void SetSizes(StoredModel& model) {
  model.gramRowSums.resize(model.maxExamples);
  model.eigenValues.resize(model.dimension + 1);
  model.eigenVectors.assign(model.dimension + 1, Vector(model.maxExamples));
  for (std::size_t i = 0; model.hasGram == 1 && i < model.exampleCount; ++i) model.gram.emplace_back(i + 1);
}

static_assert(std::endian::native == std::endian::little, "as the numbers in the file");

inline std::string ToBytes(StoredModel const& model) {
  std::string bytes;
  auto const put = [&](auto const& number) { bytes.append(reinterpret_cast<char const*>(&number), sizeof number); };
  ForEachNumber(model, put, [] {});
  return bytes;
}

/// Throws std::out_of_range if `bytes` are too few.
inline StoredModel ToModel(std::string const& bytes) {
  StoredModel model;
  std::size_t at = 0;
  auto const take = [&](auto& number) {
    if (bytes.copy(reinterpret_cast<char*>(&number), sizeof number, at) != sizeof number) throw std::out_of_range("at");
    at += sizeof number;
  };
  ForEachNumber(model, take, [&] { SetSizes(model); });
  return model;
}

using Step = void (PcaControl::*)(bool);
inline constexpr Step examplesStep = &PcaControl::SetDoExamples;
inline constexpr Step learnStep = &PcaControl::SetDoLearn;
inline constexpr Step insertStep = &PcaControl::SetDoInsert;
inline constexpr Step removeStep = &PcaControl::SetDoRemove;
inline constexpr Step projectStep = &PcaControl::SetDoProject;
inline constexpr Step allSteps[] = {examplesStep, learnStep, insertStep, removeStep, projectStep};

class PcaFixture : public ::testing::Test {
 protected:
  static inline RepTag const coordinates = SetRepTag("Pcax");
  static inline Vector const none = {-99};
  static inline Matrix const fourPoints = {{2, 0}, {-2, 0}, {0, 1}, {0, -1}};

  PcaFixture() {
    control.SetEnableRelearn(true);
    control.SetResultTag(coordinates);
  }
  ~PcaFixture() override { Point::onDot = nullptr; }

  void SetPoints(Matrix const& points) {
    examples.clear();
    for (Vector const& point : points) {
      bool const isInBulk = examples.size() % 2 == 1;
      examples.emplace_back(isInBulk ? BulkPoint::Create(point) : Point::Create(point));
    }
  }
  void Learn(Matrix const& points) {
    SetPoints(points);
    Run(Activities(points.size(), 1), {learnStep});
  }

  /// Hands the examples over, as many as there are activities, and runs the steps in the same call.
  void Run(Activities const& activities, std::vector<Step> steps = {}) {
    Offer(activities);
    steps.push_back(examplesStep);
    RunSteps(steps);
  }
  /// Puts the examples into the block. Places after the last one get null pointers.
  void Offer(Activities const& activities) {
    std::vector<Representation*> pointers(activities.size());
    for (std::size_t i = 0; i < std::min(pointers.size(), examples.size()); ++i) pointers[i] = examples[i].Get();
    control.SetExampleVector(pointers);
    control.SetActivityVector(activities);
  }
  void RunSteps(std::vector<Step> const& steps) {
    SetSteps(steps);
    analyzer.DoAlgorithm(&control);
  }
  void SetSteps(std::vector<Step> const& steps) {
    for (Step const step : allSteps) (control.*step)(false);
    for (Step const step : steps) (control.*step)(true);
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

  static DocumentNode* Document(Vector const& numbers) { return Document(Point::Create(numbers)); }
  static DocumentNode* Document(Point* point) {
    auto* const document = DocumentNode::Create();
    document->AddRepresentation(point);
    return document;
  }

  /// The coordinates on a document; `none` if there are none.
  static Vector Coordinates(DocumentNode& document) {
    auto const* const result = dynamic_cast<FullResult const*>(document.GetRepresentation(coordinates));
    if (!result) return none;
    Vector values;
    for (FullResultItem const& item : result->GetResults()) values.push_back(item.GetValue());
    return values;
  }

  /// The coordinates that a document with this content gets.
  Vector Project(Vector const& numbers) {
    Vector const coordinatesAlone = Project(Point::Create(numbers));
    EXPECT_EQ(coordinatesAlone, Project(BulkPoint::Create(numbers)));
    return coordinatesAlone;
  }
  Vector Project(Point* point) {
    Ref const document(Document(point));
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
