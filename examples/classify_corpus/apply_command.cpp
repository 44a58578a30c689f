#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "classes_file.h"
#include "commands.h"
#include "document_classifier.h"
#include "document_source.h"
#include "jobs.h"
#include "pending_file.h"
#include "record_format.h"
#include "run_error.h"
#include "term_extractor.h"
#include "text_file.h"
#include "utf8.h"

namespace classify {

namespace {

/// A file that appears when it is complete, or standard output at once.
class Sink {
 public:
  explicit Sink(std::filesystem::path const& path) {
    if (!path.empty()) file.emplace(path);
  }

  void Write(std::string_view text) {
    if (file) return file->Write(text);
    while (!text.empty()) {
      ssize_t const count = write(STDOUT_FILENO, text.data(), text.size());
      if (count == -1 && errno != EINTR)
        throw RunError{"can't write the records: " + std::generic_category().message(errno)};
      StopIfInterrupted(CancelId::Classifying);
      if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  void Commit() {
    if (file) file->Commit();
  }

 private:
  std::optional<PendingFile> file;
};

/// Classifies documents in batches, so that all jobs have work and memory doesn't grow with their number.
class Applier {
 public:
  Applier(Options const& given, LearnedClasses const& classes, Sink& target)
      : options(given),
        format(given, classes),
        sink(target),
        extractors(MakeExtractors(given.jobs, classes.settings)),
        source(given.inputs, given.nullSeparated ? '\0' : '\n',
               [this](auto const& folder, std::string const& reason) { complain(folder, reason + ", left out"); }) {
    for (std::size_t i = 0; i < given.jobs; ++i) classifiers.emplace_back(classes, given.settings.maxResults);
  }

  void Run() {
    sink.Write(format.Opening());
    while (takeBatch()) {
      classify();
      std::string records;
      for (Item& item : batch) {
        if (!item.problem.empty()) complain(item.path, item.problem);
        records += format.Record(Printable(item.path.native()), item.result.Get());
      }
      sink.Write(records);
    }
    sink.Write(format.Closing());
    sink.Commit();
  }

  // Whether there were any.
  bool HasUnread() const { return hasUnread; }

 private:
  struct Item {
    std::filesystem::path path;
    ZaM::Ref<ZaM::SparseResult> result;
    std::string problem;  // why it has no result
  };

  // Doesn't wait for a whole batch: who sends one document and waits for its record gets it.
  bool takeBatch() {
    constexpr std::size_t sizePerJob = 64;
    batch.clear();
    while (batch.size() < sizePerJob * options.jobs) {
      std::optional<std::filesystem::path> path = source.Next(batch.empty());
      if (!path) break;
      if (options.shard.Has(position++)) batch.push_back({std::move(*path), nullptr, {}});
    }
    return !batch.empty();
  }

  void classify() {
    ForEach(options.jobs, batch.size(), progress, CancelId::Classifying, [this](std::size_t worker, std::size_t i) {
      try {
        batch[i].result = classifiers[worker].Classify(extractors[worker].Extract(ReadText(batch[i].path)));
      } catch (UnusableFile const& failure) {
        batch[i].problem = failure.note;
      }
    });
  }

  void complain(std::filesystem::path const& path, std::string const& problem) {
    std::cerr << "classify_corpus: " << problem << ": " << Printable(path.native()) << '\n';
    hasUnread = true;
  }

  Options const& options;
  RecordFormat format;
  Sink& sink;
  Progress progress{false};
  std::vector<TermExtractor> extractors;        // one for each job
  std::vector<DocumentClassifier> classifiers;  // likewise
  DocumentSource source;
  std::size_t position = 0;  // of the next document, for the share
  std::vector<Item> batch;
  bool hasUnread = false;
};

}  // namespace

int Apply(Options const& options) {
  Sink sink(options.output);
  LearnedClasses const classes = ReadClasses(options.classes);
  Applier applier(options, classes, sink);
  applier.Run();
  return applier.HasUnread() ? exit_code::unreadDocuments : exit_code::done;
}

}  // namespace classify
