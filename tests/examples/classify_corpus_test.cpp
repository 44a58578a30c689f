#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "fold.h"
#include "tests/examples/small_corpus.h"

namespace classify {
namespace {

namespace fs = std::filesystem;
using ZaM::test::ProcessResult;

using ClassifyCorpus = SmallCorpus;

TEST_F(ClassifyCorpus, TellsPlainClassesApart) {
  WriteClasses(30);
  std::size_t tests = 0;
  for (int i = 0; i < 30; ++i) tests += FoldOf(std::to_string(i) + ".txt") == 0 ? 3 : 0;
  ProcessResult const run = Classify({Corpus(), "--results", Results()});
  ASSERT_EQ(run.exitCode, 0) << run.output;
  EXPECT_TRUE(Contains(run.output, "90 documents in 3 classes")) << run.output;
  EXPECT_FALSE(Contains(run.output, "\r")) << "a bar without a terminal";
  EXPECT_TRUE(Contains(run.output, "accuracy  100.0 %   " + std::to_string(tests) + " of ")) << run.output;
}

TEST_F(ClassifyCorpus, AddsTheFoldsUp) {
  WriteClasses(12);
  Put("fish/odd.txt", "violin chord flute");  // a mistake in some fold
  std::vector<std::string> load{"--load-results"};
  for (int fold = 0; fold < 5; ++fold) {
    load.push_back(Part(fold, ".xml"));
    ProcessResult const run = Classify({Corpus(), "--fold", std::to_string(fold), "--results", load.back()});
    ASSERT_EQ(run.exitCode, 0) << run.output;
  }
  ProcessResult const run = Classify({Corpus(), "--cross-validate"});
  ASSERT_EQ(run.exitCode, 0) << run.output;
  EXPECT_TRUE(Contains(run.output, "36 of 37 documents")) << run.output;
  EXPECT_TRUE(Contains(run.output, "fish taken for music")) << run.output;
  EXPECT_EQ(FiguresOf(Classify(load).output), FiguresOf(run.output));
}

TEST_F(ClassifyCorpus, RejectsWhatItDoesNotKnowAndWhatIsUnsure) {
  WriteClasses(12);
  Put("space/0.txt", "\xE0\xA4\x95\xE0\xA4\x96 zzzz");        // Devanagari, and a word that no other document has
  Put("fish/0.txt", "trout salmon gill violin chord flute");  // between two classes
  std::string const fold = std::to_string(FoldOf("0.txt"));
  struct {
    std::vector<std::string> arguments;
    char const* rejected;
  } const cases[] = {{{}, "   1 of "},
                     {{"--distance-threshold", "0.6"}, "   2 of "},
                     {{"--best-threshold", "0.8"}, "   2 of "},
                     {{"--max-results", "0"}, "   1 of "}};
  for (auto const& [arguments, rejected] : cases) {
    std::vector<std::string> all{Corpus(), "--fold", fold, "--results", Results()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    ProcessResult const run = Classify(all);
    EXPECT_TRUE(Contains(run.output.substr(run.output.rfind("rejected")), rejected)) << run.output;
    EXPECT_TRUE(Contains(Read(Results()), R"("space/0.txt" ClassId="3"><Result ClsCount="0">)")) << Read(Results());
    std::vector<std::string> load{"--load-results", Results()};
    if (arguments.empty() || arguments[0] != "--max-results")
      load.insert(load.end(), arguments.begin(), arguments.end());
    EXPECT_EQ(FiguresOf(Classify(load).output), FiguresOf(run.output));
  }
}

TEST_F(ClassifyCorpus, GoesOnWithoutWhatItCannotUseAndNamesIt) {
  WriteClasses(12);
  Put("music/not utf8.txt", "abc\xFF");
  Put("music/zero.txt", std::string("abc\0def", 7));
  Put("music/bad\xFF\nname/deep.txt", "violin deep \xF8");
  Put("space/great.txt", std::string((16U << 20) + 1, 'a'));
  Put("fish/nothing.txt", "");
  Put("fish/cut.page", "<page>river trout");
  std::string const manifold = "<!DOCTYPE page [<!ENTITY e '" + std::string(99'999, 'x') + "'>]><page>&e;&e;&e;&e;&e;";
  Put("fish/large.page", manifold + "</page>");
  Put("fish/too large.page", manifold + "&e;&e;&e;&e;&e;&e;</page>");
  Put("fish/whole.page", "<page><title>river</title><p>trout &amp; salmon</p></page>");
  Put("beside.txt", "stray");
  Put(".hidden/a.txt", "hidden");
  fs::create_directories(fs::path(Corpus()) / "hollow");
  fs::create_directory_symlink(Corpus(), fs::path(Corpus()) / "fish" / "loop");
  fs::create_symlink("nowhere", fs::path(Corpus()) / "fish" / "broken");
  fs::create_symlink("0.txt", fs::path(Corpus()) / "fish" / "linked.txt");
  ASSERT_EQ(mkfifo((fs::path(Corpus()) / "fish" / "pipe").c_str(), 0600), 0);

  ProcessResult const run = Classify({Corpus(), "--cross-validate"});
  EXPECT_EQ(run.exitCode, 0) << run.output;
  for (char const* note :
       {"not text in UTF-8, left out (3): music/bad\\xFF\\x0Aname/deep.txt, music/not utf8.txt, music/zero.txt",
        "larger than 16 MiB, left out (1): space/great.txt", "class without a document, left out (1): hollow",
        "beside the class folders, left out (1): beside.txt",
        "neither file nor folder, left out (3): ", "no word in a script that the filter knows (1): fish/nothing.txt",
        "40 documents in 3 classes", "beyond the limits of XML, left out (1): fish/too large.page",
        "not well-formed XML, left out (1): fish/cut.page"})
    EXPECT_TRUE(Contains(run.output, note)) << note << '\n' << run.output;
  std::string const quiet = Classify({Corpus(), "--quiet"}).output;
  EXPECT_TRUE(Contains(quiet, "not text in UTF-8, left out (3)\n")) << quiet;
}

TEST_F(ClassifyCorpus, TracksClassesThatAFoldLeavesWithoutTraining) {
  WriteClasses(12);
  Put("lonely/0.txt", "hermit cave");
  ProcessResult const run = Classify({Corpus(), "--fold", std::to_string(FoldOf("0.txt"))});
  EXPECT_EQ(run.exitCode, 0) << run.output;
  EXPECT_TRUE(Contains(run.output, "class with nothing to learn from when fold")) << run.output;
}

TEST_F(ClassifyCorpus, SaysWhyItCannotRun) {
  fs::path const corpora = folder.Path();
  fs::create_directories(corpora / "empty");
  fs::create_directories(corpora / "hollow/class");
  fs::create_directories(corpora / "a\\b");
  folder.Write("binary/class/a.txt", std::string(1, '\0'));
  folder.Write("one/class/a.txt", "text");
  std::string const fold = std::to_string(FoldOf("a.txt"));
  std::string const otherFold = std::to_string((FoldOf("a.txt") + 1) % foldCount);
  struct {
    std::vector<std::string> arguments;
    int exitCode;
    char const* message;
  } const cases[] = {
      {{corpora / "missing"}, 1, "missing: No such file or directory"},
      {{corpora / "empty"}, 1, "holds no class"},
      {{corpora / "hollow"}, 1, "class without a document, left out (1): class"},
      {{corpora / "binary"}, 1, "holds no document that is text"},
      {{corpora / "one", "--fold", fold}, 1, "there is nothing to learn from"},
      {{corpora / "one", "--cross-validate"}, 1, "there is nothing to learn from"},
      {{corpora / "one", "--fold", otherFold}, 1, "there is nothing to test"},
      {{corpora / "one", "--results", corpora / "a\\b/c"}, 1, "isn't UTF-8, or has a backslash"},
      {{"--load-results", corpora / "missing"}, 1, "missing: No such file or directory"},
      {{}, 2, "CORPUS is required"},
      {{"x", "--load-results", "y"}, 2, "CORPUS excludes --load-results"},
      {{"x", "--shard", "1/2"}, 2, "--shard requires --results"},
      {{"x", "--shard", "3/2", "--results", "y"}, 2, "isn't a share such as 2/3"},
      {{"x", "--fold", "5"}, 2, "--fold"},
      {{"x", "--classes", "y", "--cross-validate"}, 2, "--cross-validate excludes --classes"},
      {{corpora / "one", "--classes", corpora / "one/class/a.txt"}, 1, "a.txt: it isn't a file of classes"},
      {{"x", "--best-threshold", "nan"}, 2, "isn't a number from 0 to 1"},
      {{"x", "--min-word-length", "256"}, 2, "--min-word-length"},
      {{"x", "--max-results", "few"}, 2, "--max-results: "},
      {{"apply", "x", "--classes", "y", "--format", "yaml"}, 2, "--format: yaml not in {tsv,csv,json,xml}"},
      {{"x", "--model", "plane.pca"}, 2, "--model: is for the map of --map or --report"},
      {{"--help"}, 0, "Exit codes:"},
  };
  for (auto const& [arguments, exitCode, message] : cases) {
    ProcessResult const run = Classify(arguments);
    EXPECT_EQ(run.exitCode, exitCode) << message << '\n' << run.output;
    EXPECT_TRUE(Contains(run.output, message)) << message << '\n' << run.output;
  }
}

// Runs the program with a terminal as its standard error, and presses Ctrl-C there when the bar appears.
int CancelWhenTheBarAppears(std::vector<std::string> words, fs::path const& output) {
  int terminal = -1;
  pid_t const child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    int const file = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(file, STDOUT_FILENO);
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  std::string shown;
  bool isPressed = false;
  char block[256];
  for (ssize_t count; (count = read(terminal, block, sizeof block)) > 0;) {
    shown.append(block, static_cast<std::size_t>(count));
    if (!isPressed && Contains(shown, "reading")) isPressed = write(terminal, "\x03", 1) == 1;
  }
  int status = 0;
  waitpid(child, &status, 0);
  close(terminal);
  EXPECT_TRUE(isPressed) << shown;
  EXPECT_TRUE(Contains(shown, "[####") || Contains(shown, "[....")) << shown;
  EXPECT_TRUE(Contains(shown, "classify_corpus: ")) << shown;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(ClassifyCorpus, StopsAtControlCAndLeavesNothingBehind) {
  WriteClasses(1000);
  fs::path const output = folder.Path() / "output";
  EXPECT_EQ(CancelWhenTheBarAppears({CLASSIFY_CORPUS, Corpus(), "--cross-validate", "--results", Results()}, output),
            130);
  EXPECT_EQ(Read(output), "");
  std::set<std::string> left;
  for (auto const& entry : fs::directory_iterator(folder.Path())) left.insert(entry.path().filename().string());
  EXPECT_EQ(left, (std::set<std::string>{"corpus", "output"}));
}

}  // namespace
}  // namespace classify
