#include "shard.h"

#include <gtest/gtest.h>

#include "tests/examples/small_corpus.h"

namespace classify {
namespace {

using ZaM::test::ProcessResult;

TEST(Shard, IsReadAsAWholeOrNotAtAll) {
  EXPECT_EQ(ParseShard("2/3")->number, 2U);
  EXPECT_EQ(ParseShard("12/12")->count, 12U);
  for (char const* text :
       {"", "/", "1", "1/", "/2", "0/2", "3/2", "-1/2", "1/2/3", "1 /2", "1/2x", "1/99999999999999999999"})
    EXPECT_FALSE(ParseShard(text)) << text;
}

class Shards : public SmallCorpus {
 protected:
  // With a mistake, a rejected document, and shares that differ in size.
  void WriteCorpus() const {
    WriteClasses(12);
    Put("fish/odd.txt", "violin chord flute");
    Put("space/unknown.txt", "\xE0\xA4\x95");
    Put("music/between.txt", "violin trout");
  }
};

TEST_F(Shards, SpreadByGnuParallelGiveTheFiguresOfASingleRun) {
  WriteCorpus();
  ASSERT_EQ(Classify({"learn", Corpus(), "--classes", Part(9, ".classes"), "--fold", "1"}).exitCode, 0);
  struct {
    std::vector<std::string> single;
    std::vector<std::string> shares;
  } const cases[] = {{{"--cross-validate"}, {"--cross-validate"}},
                     {{"--fold", "1", "--max-results", "0"}, {"--fold", "1", "--max-results", "0"}},
                     {{"--fold", "1"}, {"--fold", "1", "--classes", Part(9, ".classes")}}};
  for (auto const& [alone, spread] : cases) {
    std::vector<std::string> words{"parallel", CLASSIFY_CORPUS, Corpus()};
    words.insert(words.end(), spread.begin(), spread.end());
    std::string const parts = (folder.Path() / "part{}.xml.gz").string();
    words.insert(words.end(), {"--shard", "{}/2", "--results", parts, ":::", "1", "2"});
    EXPECT_EQ(ZaM::test::RunProcess(words).exitCode, 0);
    words = {Corpus(), "--results", Results()};
    words.insert(words.end(), alone.begin(), alone.end());
    ProcessResult const single = Classify(words);
    ProcessResult const merged =
        Classify({"--load-results", Part(2, ".xml.gz"), Part(1, ".xml.gz"), "--results", Part(0, ".xml")});
    EXPECT_EQ(FiguresOf(merged.output), FiguresOf(single.output));
    EXPECT_EQ(Read(Part(0, ".xml")), Read(Results()));

    ProcessResult const half = Classify({"--load-results", Part(2, ".xml.gz")});
    EXPECT_TRUE(Contains(half.output, "fold of which documents are missing")) << half.output;
  }
}

TEST_F(Shards, MayBeEmpty) {
  WriteClasses(5);
  ProcessResult const run = Classify({Corpus(), "--cross-validate", "--shard", "99/99", "--results", Results()});
  EXPECT_EQ(run.exitCode, 0) << run.output;
  EXPECT_TRUE(Contains(run.output, "0 of 15 documents")) << run.output;
  EXPECT_EQ(Classify({"--load-results", Results()}).exitCode, 0);
}

}  // namespace
}  // namespace classify
