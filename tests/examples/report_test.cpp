#include <gtest/gtest.h>

#include "report.h"
#include "sure_thresholds.h"

namespace classify {
namespace {

using ZaM::ErrorMatrix;
using ZaM::Ref;

// Rows: 3 cats of which 1 is taken for a dog, 2 dogs of which 1 is rejected; no bird, and none is found.
Ref<ErrorMatrix> Pets() {
  Ref<ErrorMatrix> matrix(ErrorMatrix::Create(4));
  matrix->Increase(1, 1);
  matrix->Increase(1, 1);
  matrix->Increase(1, 2);
  matrix->Increase(2, 2);
  matrix->Increase(2, 0);
  return matrix;
}
std::vector<std::string> const petNames{"-", "cat", "dog", "b\xC3\xA4rd"};

TEST(Report, ShowsTheMatrixInBlocksThatFit) {
  EXPECT_EQ(MatrixTable(*Pets(), petNames, 0),
            "        1 2 3 -\n"
            "1 cat   2 1 . .\n"
            "2 dog   . 1 . 1\n"
            "3 b\xC3\xA4rd  . . . .\n");
  EXPECT_EQ(MatrixTable(*Pets(), petNames, 13),
            "        1 2 3\n"
            "1 cat   2 1 .\n"
            "2 dog   . 1 .\n"
            "3 b\xC3\xA4rd  . . .\n"
            "\n"
            "        -\n"
            "1 cat   .\n"
            "2 dog   1\n"
            "3 b\xC3\xA4rd  .\n");
  EXPECT_EQ(MatrixTable(*Pets(), petNames, 1).substr(0, 10), "        1\n") << "a column a block, however narrow";
  Ref<ErrorMatrix> const great(ErrorMatrix::Create(102));
  EXPECT_EQ(MatrixTable(*great, std::vector<std::string>(102, "x"), 0), "(left out: more than 100 classes)\n");
}

TEST(Report, CountsByClassAndInAll) {
  EXPECT_EQ(ClassTable(*Pets(), petNames),
            "class  documents  precision     recall         F1\n"
            "cat            3    100.0 %     66.7 %     80.0 %\n"
            "dog            2     50.0 %     50.0 %     50.0 %\n"
            "b\xC3\xA4rd           0          -          -          -\n");
  EXPECT_EQ(WorstConfusions(*Pets(), petNames), "      1  cat taken for dog  (33.3 % of cat)\n");
  EXPECT_EQ(Summary(*Pets(), 3),
            "accuracy   60.0 %   3 of 5 documents\n"
            "rejected   20.0 %   1 of 5 documents\n"
            "right      75.0 %   3 of 4 accepted documents\n"
            "macro F1   65.0 %\n");
}

// Of 40 documents that are taken for cats the ten least certain ones are dogs; of dogs nobody is sure.
TEST(Report, TrustsWhatWasAssignedAndTellsHowMuchThatRestsOn) {
  Findings findings;
  for (char const* name : {"cat", "dog"}) findings.AddClass(name);
  auto const add = [&](unsigned int trueClass, unsigned int assigned, float confidence) {
    Ref<ZaM::SparseResult> const result(ZaM::SparseResult::Create());
    result->SetResultItem(assigned, confidence, ZaM::ResultTypeScored);
    findings.Add("x", trueClass, 0, result.Get());
  };
  for (int i = 0; i < 30; ++i) add(1, 1, 0.7F);
  for (int i = 0; i < 10; ++i) add(2, 1, 0.5F);
  for (int i = 0; i < 29; ++i) add(2, 2, 1.2F);
  findings.Add("x", 2, 0, nullptr);
  std::vector<AssignedDocuments> assigned = AssignedIn(findings);
  EXPECT_EQ(assigned[0].All().accepted, 69U);
  EXPECT_EQ(assigned[1].ThresholdFor(0.75)->hundredths, 0U);
  EXPECT_EQ(assigned[1].ThresholdFor(0.76)->hundredths, 51U);
  EXPECT_EQ(assigned[1].ThresholdFor(0.76)->outcome.accepted, 30U);
  EXPECT_FALSE(assigned[2].ThresholdFor(0.76)) << "29 documents are too few, though all of them are right";
  EXPECT_NEAR(assigned[2].All().Low(), 0.883, 0.001);
  EXPECT_EQ(assigned[2].All().High(), 1);
  assigned[2].Add(0.7F, false);
  EXPECT_EQ(assigned[2].ThresholdFor(0.76)->outcome.right, 29U) << "the nearest that suffices";
  EXPECT_NEAR(assigned[1].All().Low(), 0.598, 0.001);
  EXPECT_NEAR(assigned[1].All().High(), 0.858, 0.001);
}

TEST(Report, HasSomethingToSayOfNothing) {
  Ref<ErrorMatrix> const empty(ErrorMatrix::Create(4));
  EXPECT_EQ(WorstConfusions(*empty, petNames), "none\n");
  EXPECT_NE(Summary(*empty, 3).find("accuracy        -"), std::string::npos);
}

}  // namespace
}  // namespace classify
