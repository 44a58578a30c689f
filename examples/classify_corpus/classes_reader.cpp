#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "classes_file.h"
#include "classes_form.h"
#include "run_error.h"
#include "utf8.h"

namespace classify {

namespace {

using namespace classes_form;

class WordReader {
 public:
  explicit WordReader(std::filesystem::path const& path) : name(Printable(path.native())) {
    // Without waiting for the other end of a pipe.
    descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat status;
    if (descriptor == -1 || fstat(descriptor, &status) != 0) FailToRead(std::generic_category().message(errno));
    if (!S_ISREG(status.st_mode)) FailToRead("it is no file");
    size = static_cast<std::uint64_t>(status.st_size);
  }
  WordReader(WordReader const&) = delete;
  WordReader& operator=(WordReader const&) = delete;
  ~WordReader() {
    if (descriptor != -1) close(descriptor);
  }

  std::uint64_t Size() const { return size; }

  // Fills a container of numbers of a word each.
  void Get(auto& numbers) {
    static_assert(sizeof(numbers[0]) == sizeof(Word));
    std::span<Word> const words(reinterpret_cast<Word*>(numbers.data()), numbers.size());
    Read(std::as_writable_bytes(words));
    Swap(words);
    hash.Add(words);
  }

  // The last two words have to be the hash of all before.
  void CheckHash() {
    std::array<Word, 2> const expected = hash.Words();
    std::array<Word, 2> stored;
    Get(stored);
    if (stored != expected) Fail("it is damaged");
  }

  [[noreturn]] void Fail(std::string const& reason) const { throw RunError{"can't use " + name + ": " + reason}; }

 private:
  [[noreturn]] void FailToRead(std::string const& reason) {
    if (descriptor != -1) close(std::exchange(descriptor, -1));
    throw RunError{"can't read " + name + ": " + reason};
  }

  void Read(std::span<std::byte> bytes) {
    while (!bytes.empty()) {
      ssize_t const count = ::read(descriptor, bytes.data(), bytes.size());
      if (count == -1 && errno == EINTR) continue;
      if (count == -1) FailToRead(std::generic_category().message(errno));
      if (count == 0) Fail("it was cut while it was read");
      bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
  }

  std::string name;
  int descriptor = -1;
  std::uint64_t size = 0;
  Hash hash;
};

Header ReadHeader(WordReader& reader) {
  if (reader.Size() < (headerWords + 2) * sizeof(Word)) reader.Fail("it isn't a file of classes, or it is cut");
  std::array<Word, headerWords> words;
  reader.Get(words);
  auto const header = std::bit_cast<Header>(words);
  if (header.magic != magic) reader.Fail("it isn't a file of classes");
  if (header.version == 0 || header.version > version) reader.Fail("it was written by a newer version of this program");
  std::uint64_t const fileWords = reader.Size() / sizeof(Word);
  std::uint64_t terms = 0;
  for (Word const count : header.terms) terms += count;
  // A product that doesn't overflow, whatever a damaged header says, is made of factors that are known to fit.
  bool const fits = header.classes <= fileWords / (1 + terms);
  std::uint64_t const size = headerWords + header.nameWords + 2 * terms + header.classes * (1 + terms) + 2;
  if (!fits || size * sizeof(Word) != reader.Size()) reader.Fail("it is damaged or cut");
  bool const isSensible = header.minWordLength >= 1 && header.minWordLength <= 255 && header.useDigits <= 1 &&
                          header.classes >= 1 && header.classes <= header.nameWords;
  if (!isSensible) reader.Fail("it is damaged");
  return header;
}

std::vector<std::string> ReadNames(WordReader& reader, Header const& header) {
  std::vector<Word> block(header.nameWords);
  reader.Get(block);
  std::vector<std::string> names{"-"};
  std::set<std::string> known;
  std::span<Word> rest(block);
  for (Word i = 0; i < header.classes; ++i) {
    std::size_t const length = rest.empty() ? 0 : rest[0];
    std::size_t const words = (length + sizeof(Word) - 1) / sizeof(Word);
    if (length == 0 || words >= rest.size()) reader.Fail("its class names are damaged");
    std::span<Word> const text = rest.subspan(1, words);
    Swap(text);
    std::string_view const bytes(reinterpret_cast<char const*>(text.data()), text.size_bytes());
    if (bytes.find_first_not_of('\0', length) != std::string::npos) reader.Fail("its class names are damaged");
    std::string name(bytes.substr(0, length));
    // Names end up on a terminal. Their backslashes have been through `Printable` already.
    std::string plain = name;
    for (char& character : plain) character = character == '\\' ? '/' : character;
    if (Printable(plain) != plain || !known.insert(name).second) reader.Fail("its class names are damaged");
    names.push_back(std::move(name));
    rest = rest.subspan(1 + words);
  }
  if (!rest.empty()) reader.Fail("its class names are damaged");
  return names;
}

Vocabulary ReadVocabulary(WordReader& reader, Header const& header) {
  std::vector<TermKey> keys;
  for (std::size_t kind = 0; kind < termKindCount; ++kind) {
    std::vector<Word> hashes(header.terms[kind]);
    reader.Get(hashes);
    keys.reserve(keys.size() + hashes.size());
    for (Word const hash : hashes) {
      TermKey const key{static_cast<TermKind>(kind), hash};
      if (!keys.empty() && keys.back() >= key) reader.Fail("its terms are damaged");
      keys.push_back(key);
    }
  }
  std::vector<float> weights(keys.size());
  reader.Get(weights);
  return {std::move(keys), std::move(weights)};
}

}  // namespace

LearnedClasses ReadClasses(std::filesystem::path const& path) {
  WordReader reader(path);
  Header const header = ReadHeader(reader);
  std::vector<std::string> names = ReadNames(reader, header);
  LearnedClasses classes{ReadVocabulary(reader, header)};
  classes.names = std::move(names);
  classes.settings.minWordLength = header.minWordLength;
  classes.settings.useDigits = header.useDigits != 0;
  classes.documents = header.documents[0] | std::uint64_t{header.documents[1]} << 32;
  for (Word id = 1; id <= header.classes; ++id) {
    std::array<float, 1> bias;
    reader.Get(bias);
    std::vector<float> weights(classes.vocabulary.Size());
    reader.Get(weights);
    classes.Add(ClassModel::Create(id, std::move(weights), static_cast<double>(bias[0])));
  }
  reader.CheckHash();
  return classes;
}

}  // namespace classify
