#include "zam/results/error_matrix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <utility>

#include "tests/support/failing_allocation.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/result_items.h"
#include "zam/results/error_matrix_visitor.h"

namespace ZaM::test {
namespace {

TEST(ErrorMatrixTest, AgreesWithTotalsTakenFromTheListOfDocuments) {
  constexpr unsigned int classes = 6;
  Ref const matrix(ErrorMatrix::Create(classes));
  std::mt19937 random(1);
  std::vector<std::pair<unsigned int, unsigned int>> documents;
  for (int i = 0; i < 500; ++i) documents.emplace_back(random() % (classes + 2), random() % (classes + 2));
  for (auto const& [t, a] : documents) matrix->Increase(t, a);

  auto const count = [&](auto condition) {
    unsigned int sum = 0;
    for (auto const& [t, a] : documents) sum += t < classes && a < classes && condition(t, a) ? 1 : 0;
    return sum;
  };
  EXPECT_EQ(matrix->GetDocCount(), count([](auto t, auto) { return t != 0; }));
  EXPECT_EQ(matrix->GetCorrect(), count([](auto t, auto a) { return t != 0 && a == t; }));
  EXPECT_EQ(matrix->GetRejected(), count([](auto t, auto a) { return t != 0 && a == 0; }));
  EXPECT_EQ(matrix->GetIncorrect(), count([](auto t, auto a) { return t != 0 && a != 0 && a != t; }));
  for (unsigned int id = 0; id < classes; ++id) {
    auto const isWrong = [](auto t, auto a) { return t != 0 && a != 0 && a != t; };
    EXPECT_EQ(matrix->GetClassCount(id), count([&](auto t, auto) { return t == id && t != 0; }));
    EXPECT_EQ(matrix->GetClassExported(id), count([&](auto t, auto a) { return isWrong(t, a) && t == id; }));
    EXPECT_EQ(matrix->GetClassImported(id), count([&](auto t, auto a) { return isWrong(t, a) && a == id; }));
    for (unsigned int other = 0; other < classes + 2; ++other) {
      EXPECT_EQ(matrix->GetResult(id, other), count([&](auto t, auto a) { return t == id && a == other; }));
    }
  }
}

TEST(ErrorMatrixTest, KeepsCellsApartWhoseKeysWouldMeetIn32Bits) {
  Ref const matrix(ErrorMatrix::Create(70'000));
  matrix->Increase(1, 61'357);  // 70,000 * 61,357 + 1 is 2^32 + 22,705
  EXPECT_EQ(matrix->GetResult(22'705, 0), 0U);
  EXPECT_EQ(matrix->GetResult(1, 61'357), 1U);
  EXPECT_EQ(matrix->GetResult(70'001, 61'356), 0U);  // nor may an id beyond the range meet a cell
}

/// The index and the bound that `operation` is refused with.
template <class Operation>
std::pair<std::int32_t, std::int32_t> refusal(Operation operation) {
  try {
    operation();
  } catch (OutOfBoundsException const& failure) {
    return {failure.GetCurrentIndex(), failure.GetMaxIndex()};
  }
  return {};
}

TEST(ErrorMatrixTest, RefusesSingleTotalsOfClassesThatItHasNot) {
  Ref const matrix(ErrorMatrix::Create(3));
  std::pair<void (ErrorMatrix::*)(unsigned int), unsigned int (ErrorMatrix::*)(unsigned int) const> const totals[] = {
      {&ErrorMatrix::IncreaseClassCount, &ErrorMatrix::GetClassCount},
      {&ErrorMatrix::IncreaseClassImported, &ErrorMatrix::GetClassImported},
      {&ErrorMatrix::IncreaseClassExported, &ErrorMatrix::GetClassExported}};
  for (auto const& [increase, get] : totals) {
    (matrix.Get()->*increase)(2);
    EXPECT_EQ((matrix.Get()->*get)(2), 1U);
    for (unsigned int const id : {3U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
      std::pair const expected(static_cast<std::int32_t>(std::min(id, 0x7FFFFFFFU)), 3);  // never negative
      EXPECT_EQ(refusal([&, change = increase] { (matrix.Get()->*change)(id); }), expected);
      EXPECT_EQ(refusal([&, total = get] { (matrix.Get()->*total)(id); }), expected);
    }
  }
  EXPECT_EQ(FailureId([] { ErrorMatrix::Create(ErrorMatrix::MaxClasses + 1); }), 4001);
}

/// Puts a document of class 1 with this result through a visitor; gives the class under which it was counted, or 10.
unsigned int Assign(Result* result, double best, double distance, bool useFinalFlag = false) {
  Ref const document(DocumentNode::Create(1, nullptr));
  result->SetTagName("Sres");
  document->AddRepresentation(result);
  Ref const matrix(ErrorMatrix::Create(10));
  ErrorMatrixVisitor visitor(matrix.Get(), best, distance);
  visitor.SetUseFinalFlag(useFinalFlag);
  document->Visit(&visitor);
  unsigned int assigned = 0;
  while (assigned < 10 && matrix->GetResult(1, assigned) == 0) ++assigned;
  return assigned;
}

TEST(ErrorMatrixVisitorTest, AssignsOrRejects) {
  constexpr double no = std::numeric_limits<double>::quiet_NaN();
  struct {
    Items items;
    double best;
    double distance;
    unsigned int assigned;
  } const cases[] = {
      {{Item(3, 0.75F), Item(4, 0.5F)}, 0.75, 0.25, 3},
      {{Item(3, 0.75F), Item(4, 0.5F)}, 0.76, 0.0, 0},
      {{Item(3, 0.75F), Item(4, 0.5F)}, 0.0, 0.26, 0},
      {{Item(3, 0.75F)}, 0.0, 0.75, 3},  // alone, it is ahead of 0.0
      {{Item(3, 0.7F)}, 0.7, 0.0, 0},    // the float is below the double
      {{Item(3, 0.5F), Item(4, 0.75F)}, 0.0, 0.0, 0},
      {{Item(3, 0.5F), Item(4, 0.75F)}, 0.0, -0.25, 3},
      {{Item(3, notANumber)}, 0.0, 0.0, 0},
      {{Item(3, 0.5F), Item(4, notANumber)}, 0.0, 0.0, 0},
      {{Item(3, infinite), Item(4, infinite)}, 0.0, 0.0, 0},
      {{Item(3, 0.5F)}, 0.0, no, 0},
  };
  for (auto const& [items, best, distance, assigned] : cases) {
    EXPECT_EQ(Assign(ProbeResult::Create(items), best, distance), assigned);
    EXPECT_EQ(Assign(ProbeResult::Create(items, false), best, distance), 0U);
  }
  // A full result gives no more of its classes than it is asked for.
  auto* const full = FullResult::Create();
  full->SetResults(std::vector<float>{0.0F, 0.0F, 0.0F, 0.75F, 0.5F});
  EXPECT_EQ(Assign(full, 0.0, 0.26), 0U);
  // With the final flag neither thresholds nor validity count.
  EXPECT_EQ(Assign(ProbeResult::Create({Item(3, 0.5F), Item(4, -1.0F, 3), Item(5, 0.4F, 1)}, false), 1.0, 1.0, true),
            4U);
  EXPECT_EQ(Assign(ProbeResult::Create({Item(3, 0.5F)}), 0.0, 0.0, true), 0U);
}

TEST(ErrorMatrixVisitorTest, CountsTheDocumentsOfATreeThatHaveAnyFeature) {
  auto const add = [](DocumentNode& parent, unsigned int id, Node* attached) {
    auto* const document = DocumentNode::Create(id, nullptr);
    document->AddFeature(attached);
    parent.AddChild(document);
    return document;
  };
  auto* const result = FullResult::Create();
  result->SetResults(std::vector<float>{0.0F, 0.0F, 0.0F, 0.9F, 0.5F});
  Ref const root(DocumentNode::Create(1, nullptr));  // without a feature: not counted
  add(*root, 1, ProbeNode::Create("feature"));
  root->AddChild(ProbeNode::Create("no document"));
  add(*add(*root, 2, TaggedNode::Create("Fres")), 3, result);

  Ref const matrix(ErrorMatrix::Create(5));
  ErrorMatrixVisitor visitor(matrix.Get(), 0.0, 0.0);
  visitor.SetResultTag(FullResult::GetDefaultTag());
  root->Visit(&visitor);
  EXPECT_EQ(matrix->GetDocCount(), 3U);
  EXPECT_EQ(matrix->GetResult(1, 0), 1U);
  EXPECT_EQ(matrix->GetResult(2, 0), 1U);
  EXPECT_EQ(matrix->GetResult(3, 3), 1U);
}

}  // namespace
}  // namespace ZaM::test
