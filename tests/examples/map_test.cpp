#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/examples/small_corpus.h"

namespace classify {
namespace {

class DocumentMapFile : public SmallCorpus {
 protected:
  std::string Picture() const { return Part(1, ".svg"); }
  std::string Model() const { return Part(1, ".pca"); }
};

TEST_F(DocumentMapFile, ShowsEachClassAndComesOutOfTheModelUnchanged) {
  WriteClasses(30);
  ZaM::test::ProcessResult const run = Classify({Corpus(), "--map", Picture(), "--model", Model()});
  ASSERT_EQ(run.exitCode, 0) << run.output;
  std::string const picture = Read(Picture());
  EXPECT_TRUE(Contains(picture, "</svg>"));
  for (char const* name : {"fish (", "music (", "space ("}) EXPECT_TRUE(Contains(picture, name)) << name;

  ASSERT_EQ(Classify({Corpus(), "--map", Part(2, ".svg"), "--model", Model()}).exitCode, 0);
  EXPECT_EQ(Read(Part(2, ".svg")), picture);
}

TEST_F(DocumentMapFile, RefusesAModelOfOtherDocumentsAndOneThatIsDamaged) {
  WriteClasses(30);
  ASSERT_EQ(Classify({Corpus(), "--map", Picture(), "--model", Model()}).exitCode, 0);
  std::string const model = Read(Model());
  Put("fish/0.txt", "shark");
  ZaM::test::ProcessResult const other = Classify({Corpus(), "--fold", "1", "--map", Picture(), "--model", Model()});
  EXPECT_EQ(other.exitCode, 1);
  EXPECT_TRUE(Contains(other.output, Model() + ": it was learned from other documents")) << other.output;

  std::ofstream(Model(), std::ios::binary) << model.substr(0, model.size() - 1);
  ZaM::test::ProcessResult const cut = Classify({Corpus(), "--map", Picture(), "--model", Model()});
  EXPECT_EQ(cut.exitCode, 1);
  EXPECT_TRUE(Contains(cut.output, Model() + ": it isn't a whole model")) << cut.output;
}

}  // namespace
}  // namespace classify
