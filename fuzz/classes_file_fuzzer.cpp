// Files of learned classes from hostile hands: the example's reader takes them or says why not, what it takes is as
// large as the file, and can be used and written again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "classes_file.h"
#include "classes_form.h"
#include "document_classifier.h"
#include "fuzz/scratch_file.h"
#include "run_error.h"

namespace {

using namespace classify;

void Read(std::string const& bytes) {
  ScratchFile const file(bytes);
  std::u16string const wide = file.Path();
  std::filesystem::path const path(std::string(wide.begin(), wide.end()));
  try {
    LearnedClasses const classes = ReadClasses(path);
    if (classes.vocabulary.Size() * classes.models.size() > bytes.size()) std::abort();
    Terms terms;
    for (TermKey const& key : classes.vocabulary.Keys()) terms.push_back({key.hash, 1, key.kind});
    DocumentClassifier(classes, 0).Classify(terms);
    PendingFile again(path);
    WriteClasses(classes, again);
    again.Commit();
    if (std::filesystem::file_size(path) != bytes.size()) std::abort();
  } catch (RunError const&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  using classes_form::Word;
  std::string bytes(reinterpret_cast<char const*>(data), size);
  Read(bytes);

  // With the right hash, which no mutation finds, the rest of the reader has its turn too.
  std::vector<Word> words(size / sizeof(Word));
  if (words.size() < 2) return 0;
  std::memcpy(words.data(), data, words.size() * sizeof(Word));
  classes_form::Hash hash;
  hash.Add(std::span(words).first(words.size() - 2));
  auto const sum = hash.Words();
  std::memcpy(bytes.data() + (words.size() - 2) * sizeof(Word), sum.data(), sizeof sum);
  bytes.resize(words.size() * sizeof(Word));
  Read(bytes);
  return 0;
}
