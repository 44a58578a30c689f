#include "corpus_reader.h"

#include <fstream>
#include <optional>

#include "run_error.h"
#include "utf8.h"

namespace classify {

namespace {

// Nobody writes a text of this length: what is longer is a log, a dump or a device, and would only use up memory.
constexpr std::size_t maxBytes = std::size_t{16} << 20;
static_assert(maxBytes <= TermExtractor::MaxUnits);

struct Failure {
  std::string note;
};

std::string ReadBytes(std::filesystem::path const& path) {
  std::ifstream stream(path, std::ios::binary);
  std::string bytes;
  char block[65536];
  while (stream.read(block, sizeof block) || stream.gcount() > 0) {
    bytes.append(block, static_cast<std::size_t>(stream.gcount()));
    if (bytes.size() > maxBytes) throw Failure{"larger than 16 MiB, left out"};
  }
  if (!stream.eof()) throw Failure{"can't be read, left out"};
  return bytes;
}

std::u16string ReadText(std::filesystem::path const& path) {
  std::string const bytes = ReadBytes(path);
  std::optional<std::u16string> text = DecodeUtf8(bytes);
  if (!text || bytes.find('\0') != std::string::npos) throw Failure{"not text in UTF-8, left out"};
  return std::move(*text);
}

}  // namespace

std::vector<Document> ReadCorpus(Corpus const& corpus, TermExtractor& extractor, Progress& progress,
                                 StageClocks& clocks, Notes& notes) {
  std::vector<Document> documents;
  progress.Begin("reading", corpus.files.size());
  for (DocumentFile const& file : corpus.files) {
    progress.Step(CancelId::Reading);
    try {
      std::u16string const text = clocks.read.Time(1, [&] { return ReadText(file.path); });
      documents.push_back({&file, clocks.filter.Time(1, [&] { return extractor.Extract(text); })});
      if (documents.back().terms.empty()) notes.Add("no word in a script that the filter knows", corpus.NameOf(file));
    } catch (Failure const& failure) {
      notes.Add(failure.note, corpus.NameOf(file));
    }
  }
  if (documents.empty()) throw RunError{Printable(corpus.folder.native()) + " holds no document that is text"};
  return documents;
}

}  // namespace classify
