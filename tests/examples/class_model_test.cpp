#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "trainer.h"

namespace classify {
namespace {

using ZaM::Ref;

Ref<WordVector> Words(std::vector<WeightedTerm> terms) {
  return Ref(WordVector::Create(std::move(terms)));
}

// Two classes that share term 0 and differ in terms 1 and 2; one document knows nothing.
TrainingSet TwoClasses() {
  TrainingSet documents(3);
  for (int i = 0; i < 5; ++i)
    for (unsigned int const id : {1U, 2U}) documents.Add(std::vector<WeightedTerm>{{0, 0.6F}, {id, 0.8F}}, id);
  documents.Add({}, 2);
  return documents;
}

TEST(WordVector, GivesTheSameProductsOneByOneAndByIndex) {
  Ref<WordVector> const vectors[] = {Words({{1, 0.1F}, {4, 0.7F}}), Words({}), Words({{0, 0.3F}, {1, 0.2F}, {7, 0.9F}}),
                                     Words({{4, 0.3F}, {7, 0.2F}}), Words({{9, 0.5F}})};
  std::vector<WordVector*> indexed;
  std::vector<ZaM::Representation const*> others;
  for (auto const& vector : vectors) others.push_back(vector.Get());
  for (std::size_t i = 0; i < 4; ++i) indexed.push_back(vectors[i].Get());
  WordVector::ShareIndex(indexed);
  for (auto const& vector : vectors) {
    for (std::size_t const count : {2U, 4U, 5U}) {  // the last isn't in the index
      std::vector<double> products(count + 1, -1), expected;
      vector->DotAll(others.data(), count, products.data());
      for (std::size_t i = 0; i < count; ++i) expected.push_back(vector->dot(*others[i]));
      expected.push_back(-1);
      EXPECT_EQ(products, expected);
    }
  }
}

TEST(ClassModel, ScoresByItsWeights) {
  Ref<ClassModel> const model(ClassModel::Create(7, {0.5F, -2.0F, 4.0F}, 0.25));
  EXPECT_EQ(model->GetClassId(), 7U);
  EXPECT_DOUBLE_EQ(model->dot(*Words({{0, 0.5F}, {2, 1.0F}})), 0.25 + 0.25 + 4.0);
  EXPECT_DOUBLE_EQ(model->dot(*Words({})), 0.25);
  EXPECT_TRUE(std::isnan(model->dot(*model))) << "what isn't a document has no score";
}

TEST(Trainer, GivesEachSideTheScoreItAimsAt) {
  Trainer const trainer(TwoClasses());
  for (unsigned int const id : {1U, 2U}) {
    Ref<ClassModel> const model = trainer.Learn(std::array{id}).front();
    double const own = model->dot(*Words({{0, 0.6F}, {id, 0.8F}}));
    double const other = model->dot(*Words({{0, 0.6F}, {3 - id, 0.8F}}));
    EXPECT_NEAR(own, 1, 0.2) << id;
    EXPECT_NEAR(other, -1, 0.2) << id;
    EXPECT_NEAR(model->dot(*Words({{0, 1.0F}})), 0, 0.6) << "a term of both classes says little";

    // Once more, with others beside it.
    for (std::size_t const count : {3U, 6U, 11U}) {
      std::vector<unsigned int> ids(count, 3 - id);
      ids.push_back(id);
      auto const together = trainer.Learn(ids);
      ASSERT_EQ(together.size(), ids.size());
      EXPECT_EQ(together.back()->Weights(), model->Weights()) << count;
      EXPECT_EQ(together.back()->Bias(), model->Bias()) << count;
    }
  }
}

TEST(Trainer, LearnsAClassThatHasNoOthers) {
  TrainingSet documents(1);
  documents.Add(std::vector<WeightedTerm>{{0, 1.0F}}, 1);
  Ref<ClassModel> const model = Trainer(std::move(documents)).Learn(std::array{1U}).front();
  EXPECT_GT(model->dot(*Words({{0, 1.0F}})), 0.5);
}

}  // namespace
}  // namespace classify
