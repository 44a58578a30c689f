#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "classes_file.h"
#include "classes_form.h"

namespace classify {

namespace {

using namespace classes_form;

/// Gathers words into blocks, and hashes them.
class WordWriter {
 public:
  explicit WordWriter(PendingFile& given) : file(given) {}

  void Put(Word word) {
    block.push_back(word);
    if (block.size() == blockWords) Flush();
  }
  void Put(float number) { Put(std::bit_cast<Word>(number)); }
  void Put(auto const& numbers) {
    for (auto const number : numbers) Put(number);
  }

  void End() {
    Flush();
    Put(hash.Words());
    Flush();
  }

 private:
  void Flush() {
    hash.Add(block);
    Swap(block);
    file.Write({reinterpret_cast<char const*>(block.data()), block.size() * sizeof(Word)});
    block.clear();
  }

  static constexpr std::size_t blockWords = 16384;
  PendingFile& file;
  Hash hash;
  std::vector<Word> block;
};

// Each with its length in front, and filled up with zeros to a word.
std::vector<Word> NameBlock(LearnedClasses const& classes) {
  std::vector<Word> block;
  for (ClassModel const* model : classes.models) {
    std::string const& name = classes.names[model->GetClassId()];
    std::vector<Word> words((name.size() + sizeof(Word) - 1) / sizeof(Word));
    std::memcpy(words.data(), name.data(), name.size());
    Swap(words);  // bytes stay in their order, whatever the machine's is
    block.push_back(static_cast<Word>(name.size()));
    block.insert(block.end(), words.begin(), words.end());
  }
  return block;
}

Header HeaderOf(LearnedClasses const& classes, std::vector<Word> const& names) {
  Header header{magic,
                version,
                classes.settings.minWordLength,
                classes.settings.useDigits ? 1U : 0U,
                static_cast<Word>(classes.models.size()),
                static_cast<Word>(names.size()),
                {},
                {static_cast<Word>(classes.documents), static_cast<Word>(classes.documents >> 32)}};
  for (TermKey const& key : classes.vocabulary.Keys()) ++header.terms[static_cast<std::size_t>(key.kind)];
  return header;
}

}  // namespace

void WriteClasses(LearnedClasses const& classes, PendingFile& file) {
  if (classes.models.empty()) file.Fail("there is no class");
  std::vector<Word> const names = NameBlock(classes);
  if (std::max(classes.vocabulary.Size(), names.size()) > std::numeric_limits<Word>::max())
    file.Fail("there are too many terms");
  WordWriter writer(file);
  writer.Put(std::bit_cast<std::array<Word, headerWords>>(HeaderOf(classes, names)));
  writer.Put(names);
  for (TermKey const& key : classes.vocabulary.Keys()) writer.Put(key.hash);
  writer.Put(classes.vocabulary.Weights());
  for (ClassModel const* model : classes.models) {
    writer.Put(static_cast<float>(model->Bias()));
    writer.Put(model->Weights());
  }
  writer.End();
}

}  // namespace classify
