#include "corpus_reader.h"

#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "jobs.h"
#include "run_error.h"
#include "shared_corpus.h"
#include "text_file.h"
#include "utf8.h"

namespace classify {

namespace {

// A rank on a machine that has another folder in this place would leave all of its documents out.
void CheckIsThere(std::filesystem::path const& listed) {
  std::error_code unknown;
  if (std::filesystem::exists(listed, unknown)) return;
  throw RunError{Printable(listed.native()) + " isn't there: every rank needs the corpus in the same place"};
}

}  // namespace

std::vector<Document> ReadCorpus(Corpus const& corpus, Settings const& settings, std::size_t jobs, Progress& progress,
                                 Notes& notes, Communicator& ranks) {
  struct Outcome {
    Terms terms;
    std::string problem;
  };
  std::vector<Outcome> outcomes(corpus.files.size());
  std::vector<TermExtractor> extractors = MakeExtractors(jobs, settings);
  progress.Begin("reading", corpus.files.size());
  ForEach(jobs, corpus.files.size(), progress, CancelId::Reading, [&](std::size_t worker, std::size_t i) {
    try {
      outcomes[i].terms = extractors[worker].Extract(ReadText(corpus.files[i].path));
    } catch (UnusableFile const& failure) {
      if (!ranks.IsAlone()) CheckIsThere(corpus.files[i].path);
      outcomes[i].problem = failure.note;
    }
  });

  std::vector<Document> documents;
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    auto& [terms, problem] = outcomes[i];
    DocumentFile const& file = corpus.files[i];
    if (!problem.empty()) {
      notes.Add(problem, corpus.NameOf(file));
      continue;
    }
    if (terms.empty()) notes.Add("no word in a script that the filter knows", corpus.NameOf(file));
    documents.push_back({&file, std::move(terms)});
  }
  GatherNotes(notes, ranks);
  return documents;
}

std::uint64_t CountDocuments(Corpus const& corpus, std::vector<Document> const& documents, Communicator& ranks) {
  std::uint64_t const count = ranks.Sum(documents.size());
  if (count == 0) throw RunError{Printable(corpus.folder.native()) + " holds no document that is text"};
  return count;
}

}  // namespace classify
