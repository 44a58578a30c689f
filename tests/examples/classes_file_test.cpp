#include "classes_file.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <vector>

#include "classes_form.h"
#include "document_classifier.h"
#include "run_error.h"
#include "tests/examples/small_corpus.h"

namespace classify {
namespace {

namespace fs = std::filesystem;
using classes_form::Word;

class ClassesFile : public SmallCorpus {
 protected:
  fs::path Place() const { return folder.Path() / "c"; }

  // Two classes over a word and a pair. A class without a model stands between them.
  std::string Example() const {
    LearnedClasses classes{Vocabulary({{TermKind::Word, 0x01020304}, {TermKind::Pair, 7}}, {1.5F, 0.5F})};
    classes.settings = {2, false, 3};
    classes.documents = 5;
    classes.names = {"-", "b\xC3\xA4r", "none", "\\x0A"};
    classes.Add(ClassModel::Create(1, {1, -1}, -0.25));
    classes.Add(ClassModel::Create(3, {-2, 0}, 0.5));
    return Written(classes);
  }

  std::string Written(LearnedClasses const& classes) const {
    PendingFile file(Place());
    classify::WriteClasses(classes, file);
    file.Commit();
    return Read(Place());
  }

  LearnedClasses Load(std::string const& bytes) const { return ReadClasses(folder.Write("c", bytes)); }

  // Why these bytes aren't taken; nothing if they are, and then they can be used and are the same when written again.
  std::string WhyNot(std::string const& bytes) const {
    try {
      LearnedClasses const classes = Load(bytes);
      DocumentClassifier(classes, 0).Classify({{0x01020304, 1, TermKind::Word}});
      EXPECT_EQ(Written(classes), bytes);
    } catch (RunError const& error) {
      EXPECT_TRUE(Contains(error.message, Place().string())) << error.message;
      return error.message;
    }
    return "";
  }

  // With the hash that belongs to the bytes.
  static std::string Hashed(std::string bytes) {
    std::vector<Word> words(bytes.size() / sizeof(Word) - 2);
    if (words.empty()) return bytes;
    std::memcpy(words.data(), bytes.data(), words.size() * sizeof(Word));
    classes_form::Hash hash;
    hash.Add(words);
    auto const sum = hash.Words();
    std::memcpy(bytes.data() + words.size() * sizeof(Word), sum.data(), sizeof sum);
    return bytes;
  }

  static std::string WithWord(std::string bytes, std::size_t place, Word word) {
    return bytes.replace(place * sizeof(Word), sizeof word, reinterpret_cast<char const*>(&word), sizeof word);
  }
};

TEST_F(ClassesFile, HasTheDocumentedBytes) {
  constexpr unsigned char documented[] = {
      0x5a, 0x61, 0x6d, 0x43, 0x6c, 0x61, 0x73, 0x73, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00,  //
      0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00,  //
      0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  //
      0x04, 0x00, 0x00, 0x00, 0x62, 0xc3, 0xa4, 0x72, 0x04, 0x00, 0x00, 0x00, 0x5c, 0x78, 0x30, 0x41,  //
      0x04, 0x03, 0x02, 0x01, 0x07, 0x00, 0x00, 0x00, 0x00, 0x00, 0xc0, 0x3f, 0x00, 0x00, 0x00, 0x3f,  //
      0x00, 0x00, 0x80, 0xbe, 0x00, 0x00, 0x80, 0x3f, 0x00, 0x00, 0x80, 0xbf,                          //
      0x00, 0x00, 0x00, 0x3f, 0x00, 0x00, 0x00, 0xc0, 0x00, 0x00, 0x00, 0x00,                          //
      0x8e, 0x0e, 0xff, 0x06, 0x67, 0x81, 0x74, 0xbf};
  std::string const bytes = Example();
  std::string const expected(reinterpret_cast<char const*>(documented), sizeof documented);
  EXPECT_EQ(bytes, expected);
  EXPECT_EQ(WhyNot(bytes), "");

  LearnedClasses const classes = Load(bytes);
  EXPECT_EQ(classes.names, (std::vector<std::string>{"-", "b\xC3\xA4r", "\\x0A"}));
  EXPECT_EQ(classes.settings.minWordLength, 2U);
  EXPECT_FALSE(classes.settings.useDigits);
  EXPECT_EQ(classes.documents, 5U);
  EXPECT_EQ(classes.models[1]->GetClassId(), 2U) << "numbered anew";
  EXPECT_EQ(classes.models[1]->Weights(), (std::vector<float>{-2, 0}));
}

TEST_F(ClassesFile, IsTakenWholeAndUndamagedAlone) {
  std::string const good = Example();
  for (std::size_t length = 0; length < good.size(); ++length) EXPECT_NE(WhyNot(good.substr(0, length)), "") << length;
  EXPECT_NE(WhyNot(good + '\0'), "");
  for (std::size_t bit = 0; bit < 8 * good.size(); ++bit) {
    std::string damaged = good;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);
    EXPECT_NE(WhyNot(damaged), "") << bit;
  }
}

TEST_F(ClassesFile, IsRefusedForWhatMakesNoSenseInIt) {
  struct {
    std::size_t word;
    Word value;
    char const* reason;  // nothing: it makes sense
  } const cases[] = {
      {0, 0, "isn't a file of classes"},
      {2, 0, "newer version"},
      {2, 2, "newer version"},
      {3, 0, "is damaged"},
      {3, 1, nullptr},
      {3, 255, nullptr},
      {3, 256, "is damaged"},
      {4, 1, nullptr},
      {4, 2, "is damaged"},
      {5, 0, "is damaged"},
      {5, 0xFFFFFFFF, "is damaged or cut"},
      {6, 0xFFFFFFFF, "is damaged or cut"},
      {7, 0xFFFFFFFF, "is damaged or cut"},
      {9, 0x7FFFFFFF, "is damaged or cut"},
      {10, 0xFFFFFFFF, nullptr},
      {12, 0, "names are damaged"},           // an empty name
      {12, 3, "names are damaged"},           // something else than zeros after it
      {12, 5, "names are damaged"},           // the next one's length becomes a part of it
      {12, 0xFFFFFFFF, "names are damaged"},  // far past the end
      {13, 0x72A4C31B, "names are damaged"},  // for the terminal
      {13, 0x72A4FFC3, "names are damaged"},  // no UTF-8
      {13, 0x4130785C, "names are damaged"},  // the same as the other
      {16, 0xFFFFFFFF, nullptr},
      {18, 0x7FC00000, nullptr},  // a weight that is no number
      {21, 0x7F800000, nullptr},  // an infinite one
  };
  std::string const good = Example();
  for (auto const& [word, value, reason] : cases) {
    std::string const why = WhyNot(Hashed(WithWord(good, word, value)));
    EXPECT_TRUE(reason ? Contains(why, reason) : why.empty()) << word << ' ' << value << ": " << why;
  }
  // Terms of one kind, in order and not.
  std::string const words = WithWord(WithWord(good, 7, 2), 8, 0);
  EXPECT_EQ(WhyNot(Hashed(WithWord(words, 17, 0x01020305))), "");
  EXPECT_TRUE(Contains(WhyNot(Hashed(WithWord(words, 17, 0x01020304))), "terms are damaged"));
  EXPECT_TRUE(Contains(WhyNot(Hashed(words)), "terms are damaged"));

  EXPECT_THROW(ReadClasses(folder.Path()), RunError);
  EXPECT_THROW(ReadClasses("/dev/zero"), RunError);
  EXPECT_THROW(ReadClasses(folder.Path() / "missing"), RunError);
}

}  // namespace
}  // namespace classify
