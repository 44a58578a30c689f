#include "corpus_reader.h"

#include <string>

#include "run_error.h"
#include "text_file.h"
#include "utf8.h"

namespace classify {

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
    } catch (UnusableFile const& failure) {
      notes.Add(failure.note, corpus.NameOf(file));
    }
  }
  if (documents.empty()) throw RunError{Printable(corpus.folder.native()) + " holds no document that is text"};
  return documents;
}

}  // namespace classify
