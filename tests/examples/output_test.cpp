#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "corpus.h"
#include "pending_file.h"
#include "run_error.h"
#include "tests/examples/small_corpus.h"
#include "text_file.h"

namespace classify {
namespace {

namespace fs = std::filesystem;
using ZaM::test::ProcessResult;

class Output : public SmallCorpus {
 protected:
  // What stands in the folder of the outputs.
  std::set<std::string> Left() const {
    std::set<std::string> files;
    for (auto const& entry : fs::recursive_directory_iterator(Place("")))
      files.insert(entry.path().lexically_relative(Place("")).string());
    return files;
  }
  std::string Place(std::string const& name) const { return (folder.Path() / "out" / name).string(); }

  // The options of one output of each kind, in places that are free.
  std::vector<std::vector<std::string>> OptionsOfOutputs() const {
    return {{"--results", Place("r.xml")},
            {"--results", Place("r.xml.gz")},
            {"--map", Place("map.svg")},
            {"--report", Place("new/report")},
            {"--map", Place("map.svg"), "--model", Place("plane.pca")}};
  }
};

TEST_F(Output, IsWholeOrLeavesNothing) {
  WriteClasses(30);
  fs::create_directories(Place(""));
  for (std::vector<std::string> const& options : OptionsOfOutputs()) {
    bool isRefused = false;
    // Files of more than so many blocks can't be written. With the last limit all of them can.
    for (char const* limit : {"0", "1", "3", "8", "unlimited"}) {
      std::string const limits = "trap '' XFSZ; ulimit -f " + std::string(limit) + R"(; exec "$@")";
      std::vector<std::string> words{"sh", "-c", limits, "sh", CLASSIFY_CORPUS, Corpus()};
      words.insert(words.end(), options.begin(), options.end());
      ProcessResult const run = ZaM::test::RunProcess(words);
      std::set<std::string> const left = Left();
      if (run.exitCode == 0) {
        EXPECT_GE(left.size(), 1U);
      } else {
        EXPECT_EQ(run.exitCode, 1) << run.output;
        EXPECT_EQ(left.size(), 0U) << options[0] << ' ' << limit << ' ' << *left.begin();
        EXPECT_TRUE(Contains(run.output, "classify_corpus: can't ")) << run.output;
        isRefused = true;
      }
      EXPECT_TRUE(limit != std::string("unlimited") || run.exitCode == 0) << run.output;
      fs::remove_all(Place(""));
      fs::create_directories(Place(""));
    }
    EXPECT_TRUE(isRefused) << options[0];
  }
}

TEST_F(Output, GoesWhereAFileIsAndNowhereElse) {
  WriteClasses(30);
  fs::create_directories(Place("folder"));
  fs::create_symlink("/dev/full", Place("device"));
  fs::create_symlink("loop", Place("loop"));
  folder.Write("out/file", "former");
  fs::permissions(Place("file"), fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink("file", Place("link"));
  std::string const longName(256, 'x');
  struct {
    std::string name;
    char const* reason;
  } const cases[] = {{"device", "it is there, and no file"},
                     {"folder", "it is there, and no file"},
                     {"loop", "Too many levels of symbolic links"},
                     {longName, "File name too long"},
                     {"file/below", "Not a directory"},
                     {"missing/file", "its folder can't be written to: No such file or directory"}};
  for (char const* option : {"--results", "--map", "--report", "--model"}) {
    for (auto const& [name, reason] : cases) {
      bool const isFolder = option == std::string("--report");
      if (isFolder && (name == "folder" || name == "missing/file")) continue;  // these are as good as any
      if (option == std::string("--model") && (name == "device" || name == "folder")) continue;  // read, and no plane
      std::vector<std::string> arguments{Corpus(), option, Place(name)};
      if (option == std::string("--model")) arguments.insert(arguments.end(), {"--map", Place("map.svg")});
      ProcessResult const run = Classify(arguments);
      EXPECT_EQ(run.exitCode, 1) << option << ' ' << run.output;
      EXPECT_TRUE(isFolder || Contains(run.output, reason)) << option << ' ' << run.output;
      EXPECT_TRUE(fs::is_character_file(Place("device")));
      EXPECT_EQ(Left().size(), 5U) << option << ' ' << name;
    }
  }
  EXPECT_EQ(Classify({Corpus(), "--results", Place("link")}).exitCode, 0);
  EXPECT_TRUE(fs::is_symlink(Place("link")));
  EXPECT_TRUE(Contains(Read(Place("file")), "ClassificationResults"));
  EXPECT_EQ(fs::status(Place("file")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(Output, OfTwoRunsIsThatOfTheLastOne) {
  fs::create_directories(Place(""));
  PendingFile first(Place("r"));
  PendingFile second(Place("r"));
  { PendingFile const third(Place("r")); }
  first.Write("first");
  second.Write("second");
  EXPECT_FALSE(fs::exists(Place("r")));
  second.Commit();
  EXPECT_EQ(Read(Place("r")), "second");
  first.Commit();
  EXPECT_EQ(Read(Place("r")), "first");
  EXPECT_EQ(Left().size(), 1U);
}

TEST_F(Output, IsMissedWhereTheTerminalTakesNone) {
  WriteClasses(12);
  ProcessResult const run =
      ZaM::test::RunProcess({"sh", "-c", R"(exec "$0" "$1" >/dev/full)", CLASSIFY_CORPUS, Corpus()});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_TRUE(Contains(run.output, "can't write the report")) << run.output;
}

// A damaged disk, as far as a test can have one.
TEST_F(Output, IsNotMadeOfTheFilesThatHappenedToBeRead) {
  WriteClasses(12);
  fs::create_symlink("nowhere", fs::path(Corpus()) / "fish/missing.txt");
  EXPECT_EQ(Classify({Corpus()}).exitCode, 0);
  fs::create_symlink("/proc/self/mem", fs::path(Corpus()) / "fish/damaged.txt");
  ProcessResult const run = Classify({Corpus()});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_TRUE(Contains(run.output, "can't read " + Corpus() + "/fish/damaged.txt: Input/output error")) << run.output;

#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "UndefinedBehaviorSanitizer needs descriptors itself, and takes all objects for broken without them";
#endif
  rlimit limit;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  rlimit const none{0, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  EXPECT_THROW(ReadText(fs::path(Corpus()) / "fish/0.txt"), RunError);
  Notes notes;
  EXPECT_THROW(ListCorpus(Corpus(), notes), RunError);
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_NO_THROW(ReadText(fs::path(Corpus()) / "fish/0.txt"));
  EXPECT_THROW(ReadText(fs::path(Corpus()) / "fish/missing.txt"), UnusableFile);
}

}  // namespace
}  // namespace classify
