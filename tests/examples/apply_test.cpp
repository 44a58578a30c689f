#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "fold.h"
#include "tests/examples/small_corpus.h"
#include "utf8.h"

namespace classify {
namespace {

namespace fs = std::filesystem;
using ZaM::test::ProcessResult;

// In a shell, where `$C` is the program.
ProcessResult Shell(std::string const& command) {
  return ZaM::test::RunProcess({"env", std::string("C=") + CLASSIFY_CORPUS, "sh", "-c", command});
}

class Apply : public SmallCorpus {
 protected:
  void SetUp() override {
    WriteClasses(12);
    Put("fish/odd.txt", "violin chord flute");
    Put("space/unknown.txt", "\xE0\xA4\x95");
    Put("music/between.txt", "violin trout");
  }
  std::string Classes() const { return (folder.Path() / "classes").string(); }
  std::string In(std::string const& command) const { return "cd '" + folder.Path().string() + "'; " + command; }
  // With all that the options say, the records alone.
  std::string Records(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"apply", "--classes", Classes()});
    ProcessResult const run = Classify(arguments);
    EXPECT_EQ(run.exitCode, 0) << run.output;
    return run.output;
  }
};

TEST_F(Apply, SaysOfEachDocumentWhatAnEvaluationSays) {
  for (std::string const fold : {"0", "1", "2", "3", "4"}) {
    ASSERT_EQ(Classify({"learn", Corpus(), "--classes", Classes(), "--fold", fold, "-q"}).exitCode, 0);
    std::vector<std::string> const thresholds{"--best-threshold", "0.5", "--distance-threshold", "0.2"};
    std::vector<std::string> evaluate{"evaluate", Corpus(), "--fold", fold, "--results", Results()};
    evaluate.insert(evaluate.end(), thresholds.begin(), thresholds.end());
    std::string const report = Classify(evaluate).output;
    std::string const results = Read(Results());

    std::vector<std::string> apply{Corpus(), "--format", "xml"};
    apply.insert(apply.end(), thresholds.begin(), thresholds.end());
    std::string const records = Records(apply);
    std::regex const document(R"re(<Document Path="([^"]*)" ClassId="[0-9]+">(<Result.*?</Result>))re");
    std::size_t rejected = 0;
    int tested = 0;
    for (std::sregex_iterator i(results.begin(), results.end(), document), end; i != end; ++i, ++tested) {
      std::size_t const place = records.find('/' + (*i)[1].str() + '"');
      ASSERT_NE(place, std::string::npos) << (*i)[1];
      std::string const record = records.substr(place, records.find('\n', place) - place);
      EXPECT_TRUE(Contains(record, (*i)[2].str() + "</Document>")) << record << (*i)[2];
      rejected += Contains(record, "Rejected=\"1\"") ? 1 : 0;
    }
    EXPECT_GT(tested, 0);
    std::size_t const line = report.rfind("rejected");
    EXPECT_TRUE(Contains(report.substr(line), "   " + std::to_string(rejected) + " of ")) << rejected << report;
  }
}

TEST_F(Apply, GivesTheSameForAnyNumberOfJobsAndShards) {
  std::string classes;
  for (char const* jobs : {"1", "2", "7"}) {
    ASSERT_EQ(Classify({"learn", Corpus(), "--classes", Classes(), "--jobs", jobs}).exitCode, 0);
    EXPECT_TRUE(classes.empty() || Read(Classes()) == classes) << jobs;
    classes = Read(Classes());
    EXPECT_EQ(FiguresOf(Classify({Corpus(), "--cross-validate", "--jobs", jobs}).output),
              FiguresOf(Classify({Corpus(), "--cross-validate", "--jobs", "1"}).output));
  }
  std::string const all = Records({Corpus(), "--jobs", "1"});
  EXPECT_EQ(Lines(all).size(), 39U);
  EXPECT_EQ(Records({Corpus(), "--jobs", "7"}), all);
  std::vector<std::string> const first = Lines(Records({Corpus(), "--shard", "1/2"}));
  std::vector<std::string> const second = Lines(Records({Corpus(), "--shard", "2/2"}));
  std::string merged;
  for (std::size_t i = 0; i < 39; ++i) merged += (i % 2 == 0 ? first : second)[i / 2] + '\n';
  EXPECT_EQ(merged, all);
}

TEST_F(Apply, TakesPathsFromWhereverTheyCome) {
  ASSERT_EQ(Classify({"learn", Corpus(), "--classes", Classes()}).exitCode, 0);
  Put("music/a \"b\",\tc\n.txt", "violin chord flute tempo");
  struct {
    char const* command;
    int exitCode;
    char const* output;
  } const cases[] = {
      {"$C apply --classes classes corpus/fish/0.txt | cut -f 1,2,6", 0, "corpus/fish/0.txt\tfish\t0\n"},
      {"cd corpus; $C apply --classes ../classes fish/0.txt music/1.txt | cut -f 1,2", 0,
       "fish/0.txt\tfish\nmusic/1.txt\tmusic\n"},
      {"printf 'corpus/space/1.txt\\ncorpus/fish/2.txt' | $C apply --classes classes | cut -f 2", 0, "space\nfish\n"},
      {"printf 'corpus/space\\0corpus/fish/2.txt\\0' | $C apply --null --classes classes | wc -l", 0, "14\n"},
      {"cat /dev/null | $C apply --classes classes", 0, ""},
      {"head -c 70000 /dev/zero | $C apply --classes classes", 1, "a line is too long"},
      {"$C apply --classes classes corpus/space/unknown.txt", 0, "corpus/space/unknown.txt\t\t\t\t\t1\n"},
      {"$C evaluate --classes classes corpus -q 2>&1 | grep learned", 0, "that have learned tested documents too"},
      {"$C apply --classes classes nowhere", 3, "can't be read, left out: nowhere\nnowhere\t\t\t\t\t1\n"},
      {"$C apply --classes classes /dev/zero", 3, "no file, left out: /dev/zero\n/dev/zero\t\t\t\t\t1\n"},
      {"$C apply --classes classes corpus/music/a* | cut -f 1", 0, "corpus/music/a \"b\",\\x09c\\x0A.txt\n"},
      {"$C apply --classes classes corpus/music/a* --format csv --header", 0,
       "path,class,confidence,second,second_confidence,rejected\n\"corpus/music/a \"\"b\"\",\\x09c\\x0A.txt\",music,"},
      {"$C apply --classes classes corpus/music/a* --format json", 0,
       "{\"path\":\"corpus/music/a \\\"b\\\",\\\\x09c\\\\x0A.txt\",\"class\":\"music\",\"confidence\":"},
      {"$C apply --classes classes nowhere --format JSON", 3,
       "\"class\":null,\"confidence\":null,\"second\":null,\"second_confidence\":null,\"rejected\":true}\n"},
      {"$C apply --classes classes corpus --format xml --output all.xml && tail -n 1 all.xml", 0,
       "</ClassifiedDocuments>\n"},
      {"$C apply --classes classes corpus --output /dev/full", 1, "it is there, and no file"},
      {"$C apply --classes classes corpus >/dev/full", 1, "can't write the records: No space left on device"},
      {"$C apply --classes corpus/fish/0.txt corpus", 1, "it isn't a file of classes"},
      {"$C apply --classes classes --max-results 1 --distance-threshold 0.1 corpus", 2, "needs a second class"},
      {"$C apply --classes classes --max-results 2 --distance-threshold 0.1 corpus | wc -l", 0, "40\n"},
      {"$C apply corpus", 2, "--classes is required"},
      {"$C learn corpus", 2, "--classes is required"},
      {"$C learn corpus/fish --classes none", 1, "holds no class"},
      {"ls none", 2, ""},
      {"echo fish/0.txt >list; echo music/99.txt >>list; $C learn corpus --classes few --list list", 0,
       "class with nothing to learn from, left out (2): music, space"},
      {"$C learn corpus --classes few --list list", 0, "few: 1 classes, learned from 1 documents"},
      {"$C learn corpus --classes few --list list", 0, "a single class: it has nothing to be told from (1): fish"},
      {"$C learn corpus --classes few --list list", 0, "but no document to learn from, left out (1): music/99.txt"},
  };
  for (auto const& [command, exitCode, output] : cases) {
    ProcessResult const run = Shell(In(command));
    EXPECT_EQ(run.exitCode, exitCode) << command << '\n' << run.output;
    EXPECT_TRUE(Contains(run.output, output)) << command << '\n' << run.output;
  }
}

// Who sends a path and waits for its record gets it before the next one is sent.
TEST_F(Apply, AnswersAsItIsAsked) {
  ASSERT_EQ(Classify({"learn", Corpus(), "--classes", Classes()}).exitCode, 0);
  ProcessResult const run = Shell(In(R"(mkfifo ask answer; timeout 60 "$C" apply --classes classes <ask >answer &
      exec 3>ask 4<answer
      for name in fish/0 music/1 space/2; do echo corpus/$name.txt >&3; read -r path class rest <&4; echo $class; done
      exec 3>&-; wait $!; echo $?)"));
  EXPECT_EQ(run.output, "fish\nmusic\nspace\n0\n");
}

TEST_F(Apply, HasExamplesThatWork) {
  fs::create_directories(folder.Path() / "corpora");
  fs::create_symlink(Corpus(), folder.Path() / "corpora/topics");
  fs::create_symlink(Corpus(), folder.Path() / "mail");
  fs::create_symlink(Corpus() + "/fish", folder.Path() / "inbox");
  folder.Write("letter.txt", "river trout");
  folder.Write("few", "fish/1.txt\nmusic/1.txt\n");
  EXPECT_TRUE(Classify({"--version"}).output.starts_with("classify_corpus 0."));
  int run = 0;
  for (char const* command : {"learn", "apply", "evaluate"}) {
    std::string const help = Classify({command, "--help"}).output;
    for (std::string const& line : Lines(help)) EXPECT_LE(Width(line), 120U) << line;
    std::string const examples = help.substr(help.find("Examples:"));
    for (std::string line : Lines(examples.substr(0, examples.find("\n\n")))) {
      if (!line.starts_with("  ")) continue;
      line = line.substr(2);
      line = line.substr(0, line.find("  "));  // the rest says what it does
      ProcessResult const done = Shell(In("PATH=$(dirname \"$C\"):$PATH; " + line));
      EXPECT_EQ(done.exitCode, 0) << line << '\n' << done.output;
      ++run;
    }
  }
  EXPECT_EQ(run, 19);
}

}  // namespace
}  // namespace classify
