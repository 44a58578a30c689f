#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/examples/small_corpus.h"

namespace classify {
namespace {

namespace fs = std::filesystem;
using ZaM::test::ProcessResult;

// Four processes that work on one run, whatever the number of processors, without a network.
class Ranks : public SmallCorpus {
 protected:
  void SetUp() override {
    WriteClasses(12);
    Put("fish/odd.txt", "violin chord flute");
    Put("music/between.txt", "violin trout");
    Put("music/not utf8.txt", "abc\xFF");
    Put("space/unknown.txt", "\xE0\xA4\x95");
    fs::create_directories(Place("1"));
    fs::create_directories(Place("4"));
  }
  std::string Place(std::string const& name) const { return (folder.Path() / name).string(); }

  // In a shell, where `$R` is what starts four processes, `$C` the program and `$O` the folder of its outputs.
  ProcessResult Shell(std::string const& command, bool isAlone) const {
    std::string const start = std::string(CLASSIFY_CORPUS_MPIRUN) +
                              " --oversubscribe --allow-run-as-root --mca btl self,vader --mca "
                              "orte_base_help_aggregate 0 -n 4";
    // Open MPI leaves blocks behind, which the leak check would count.
    return ZaM::test::RunProcess({"env", isAlone ? "A=" : "ASAN_OPTIONS=detect_leaks=0", isAlone ? "R=" : "R=" + start,
                                  std::string("C=") + CLASSIFY_CORPUS, isAlone ? "O=../1" : "O=../4", "sh", "-c",
                                  "cd '" + Corpus() + "'; " + command});
  }
  // What stands in the folder of the four, hidden names included.
  std::string Left() const { return ZaM::test::RunProcess({"ls", "-A", Place("4")}).output; }
};

TEST_F(Ranks, GiveWhatASingleProcessGives) {
  for (char const* command :
       {"$R $C learn . --classes $O/classes", "$R $C learn . --classes $O/most --fold 1 --jobs 2",
        "$R $C . --results $O/results.xml --map $O/map.svg --model $O/plane.pca",
        "$R $C . --cross-validate --max-results 0 --results $O/all.xml", "$R $C . --classes $O/most --fold 1",
        "$R $C --load-results $O/all.xml", "$R $C apply --classes ../1/classes . /nowhere fish/0.txt",
        "ls */* | $R $C apply --classes ../1/classes --format xml --output $O/records.xml",
        "$R $C apply --classes ../1/classes </dev/null"}) {
    ProcessResult const single = Shell(command + std::string(" 2>/dev/null"), true);
    ProcessResult const four = Shell(command + std::string(" 2>/dev/null"), false);
    EXPECT_EQ(four.exitCode, single.exitCode) << command << four.output;
    std::vector<std::string> lines = FiguresOf(four.output);
    for (std::string& line : lines)
      if (line.starts_with("../4/")) line[3] = '1';
    EXPECT_EQ(lines, FiguresOf(single.output)) << command;
  }
  int files = 0;
  for (auto const& entry : fs::directory_iterator(Place("1"))) {
    EXPECT_EQ(Read(fs::path(Place("4")) / entry.path().filename()), Read(entry.path())) << entry.path();
    ++files;
  }
  EXPECT_EQ(files, 7);
  EXPECT_TRUE(Contains(Shell("$R $C . 2>&1 >/dev/null", false).output,
                       "not text in UTF-8, left out (1): music/not utf8.txt\n"));
}

// Each of the failures strikes one rank, while the others work or wait.
TEST_F(Ranks, EndTogetherWhenOneFails) {
  ASSERT_EQ(Shell("$R $C learn . --classes $O/classes", true).exitCode, 0);
  struct {
    char const* command;
    int exitCode;
    char const* message;
  } const cases[] = {
      {"$R $C learn . --classes $O/x/y", 1, "classify_corpus, rank 0: can't write ../4/x/y"},
      {"$R $C apply . --classes fish/0.txt --output $O/out", 1, "it isn't a file of classes"},
      {"$R $C . --no-such-option", 2, "--no-such-option"},
      {"$R $C . --shard 1/2 --results $O/out", 2, "--shard: mpirun divides the documents already"},
      {R"(mkfifo ../silent; $R sh -c 'if [ $OMPI_COMM_WORLD_RANK = 2 ]; then (sleep 0.5; kill -9 $$) & fi
                         exec "$0" apply --classes ../1/classes --output "$1"' $C $O/out <>../silent)",
       137, "signal 9"},
      {R"($R sh -c '[ $OMPI_COMM_WORLD_RANK != 2 ] || cd ..; exec "$0" learn . --classes "$1"' $C $O/out)", 1,
       ".txt isn't there: every rank needs the corpus in the same place"},
      {"ln -s /proc/self/mem space/x; $R $C learn . --classes $O/out", 1,
       "rank 3: can't read ./space/x: Input/output error"},
      {"$R $C . --results $O/out", 1, "rank 3: can't read ./space/x: Input/output error"}};
  for (auto const& [command, exitCode, message] : cases) {
    ProcessResult const run = Shell(command, false);
    EXPECT_EQ(run.exitCode, exitCode) << command << '\n' << run.output;
    EXPECT_TRUE(Contains(run.output, message)) << command << '\n' << run.output;
    EXPECT_EQ(Left(), "") << command;
  }
}

}  // namespace
}  // namespace classify
