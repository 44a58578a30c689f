#include "shard.h"

#include <gtest/gtest.h>

#include <future>

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

TEST_F(Shards, OfTwoProcessesGiveTheFiguresOfASingleRun) {
  WriteCorpus();
  for (std::vector<std::string> const& options :
       {std::vector<std::string>{"--cross-validate"}, {"--fold", "1", "--max-results", "0"}}) {
    auto const run = [&](std::vector<std::string> arguments) {
      arguments.insert(arguments.end(), options.begin(), options.end());
      return Classify(arguments);
    };
    auto const runPart = [&](int number) {
      return run({Corpus(), "--shard", std::to_string(number) + "/2", "--results", Part(number, ".xml.gz")});
    };
    auto first = std::async(std::launch::async, runPart, 1);
    EXPECT_EQ(runPart(2).exitCode, 0);
    EXPECT_EQ(first.get().exitCode, 0);
    ProcessResult const single = run({Corpus(), "--results", Results()});
    ProcessResult const merged =
        Classify({"--load-results", Part(2, ".xml.gz"), Part(1, ".xml.gz"), "--results", Part(0, ".xml")});
    EXPECT_EQ(merged.exitCode, 0) << merged.output;
    EXPECT_EQ(FiguresOf(merged.output), FiguresOf(single.output));
    EXPECT_EQ(Read(Part(0, ".xml")), Read(Results()));

    ProcessResult const half = Classify({"--load-results", Part(2, ".xml.gz")});
    EXPECT_TRUE(Contains(half.output, "fold of which documents are missing")) << half.output;
  }
}

TEST_F(Shards, AreSpreadByGnuParallel) {
  if (ZaM::test::RunProcess({"parallel", "--version"}).exitCode != 0) GTEST_SKIP() << "parallel isn't installed";
  WriteCorpus();
  std::string const parts = (folder.Path() / "part{}.xml").string();
  ProcessResult const spread = ZaM::test::RunProcess({"parallel", CLASSIFY_CORPUS, Corpus(), "--cross-validate",
                                                      "--shard", "{}/2", "--results", parts, ":::", "1", "2"});
  EXPECT_EQ(spread.exitCode, 0) << spread.output;
  EXPECT_EQ(FiguresOf(Classify({"--load-results", Part(1, ".xml"), "--load-results", Part(2, ".xml")}).output),
            FiguresOf(Classify({Corpus(), "--cross-validate"}).output));
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
