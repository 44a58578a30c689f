// The program on a small corpus of a test's own.
#ifndef TESTS_EXAMPLES_SMALL_CORPUS_H
#define TESTS_EXAMPLES_SMALL_CORPUS_H

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/temporary_folder.h"

namespace classify {

inline ZaM::test::ProcessResult Classify(std::vector<std::string> const& arguments) {
  std::vector<std::string> words{CLASSIFY_CORPUS};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return ZaM::test::RunProcess(words);
}

inline std::string Read(std::filesystem::path const& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

inline bool Contains(std::string const& text, std::string const& part) {
  return text.find(part) != std::string::npos;
}

inline std::vector<std::string> Lines(std::string const& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// What doesn't change from run to run: all lines of a report but the times and the notes.
inline std::vector<std::string> FiguresOf(std::string const& report) {
  std::vector<std::string> lines = Lines(report);
  std::erase_if(lines, [](std::string const& line) {
    for (char const* stage :
         {"load ", "read ", "filter ", "train ", "classify ", "map ", "evaluate ", "classify_corpus: "})
      if (line.starts_with(stage)) return true;
    return false;
  });
  return lines;
}

// Three classes of documents that say little but what they are about.
class SmallCorpus : public testing::Test {
 protected:
  void WriteClasses(int documentsPerClass) const {
    struct {
      char const* name;
      char const* words;
    } const classes[] = {{"fish", "river trout salmon gill fin"},
                         {"music", "violin chord flute tempo"},
                         {"space", "planet orbit rocket comet"}};
    for (auto const& [name, words] : classes)
      for (int i = 0; i < documentsPerClass; ++i) {
        std::string const number = std::to_string(i);
        Put(std::string(name) + "/" + number + ".txt", std::string(words) + " the and of number" + number);
      }
  }
  void Put(std::string const& name, std::string const& text) const { folder.Write("corpus/" + name, text); }
  std::string Corpus() const { return (folder.Path() / "corpus").string(); }
  std::string Results() const { return (folder.Path() / "results.xml").string(); }
  std::string Part(int number, std::string const& ending) const {
    return (folder.Path() / ("part" + std::to_string(number) + ending)).string();
  }

  ZaM::test::TemporaryFolder folder;
};

}  // namespace classify

#endif
