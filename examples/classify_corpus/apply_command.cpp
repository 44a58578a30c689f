#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <iostream>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "classes_file.h"
#include "commands.h"
#include "document_classifier.h"
#include "document_source.h"
#include "interrupt.h"
#include "jobs.h"
#include "message.h"
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

/// Classifies documents in batches, so that all jobs of all ranks have work and memory doesn't grow with their number.
/// The first rank finds the documents, deals them out, and writes the records.
class Applier {
 public:
  Applier(Options const& given, LearnedClasses const& classes, Sink& target, Communicator& others)
      : options(given),
        ranks(others),
        format(given, classes),
        sink(target),
        extractors(MakeExtractors(given.jobs, classes.settings)),
        source(given.inputs, given.nullSeparated ? '\0' : '\n',
               [this](auto const& folder, std::string const& reason) { Complain(folder, reason + ", left out"); }) {
    for (std::size_t i = 0; i < given.jobs; ++i) classifiers.emplace_back(classes, given.settings.maxResults);
  }

  void Run() {
    if (ranks.IsFirst()) sink.Write(format.Opening());
    while (TakeBatch()) {
      Classify();
      WriteRecords();
    }
    // A rank that was killed ends the input, too: nothing is complete before all of them have said that they are there.
    ranks.Sum(0);
    if (!ranks.IsAlone() && options.inputs.empty() && !options.output.empty()) AwaitSignal();
    if (!ranks.IsFirst()) return;
    sink.Write(format.Closing());
    sink.Commit();
  }

  // Whether there were any; the first rank knows.
  bool HasUnread() const { return hasUnread; }

 private:
  /// After Ctrl-C mpirun ends the input about a second before it tells the ranks, and a file would look complete.
  void AwaitSignal() {
    constexpr std::chrono::milliseconds wait(3000), step(10);
    for (auto waited = step; waited < wait; waited += step) {
      StopIfInterrupted(CancelId::Classifying);
      std::this_thread::sleep_for(step);
    }
    ranks.Sum(0);
  }

  struct Item {
    std::filesystem::path path;
    ZaM::Ref<ZaM::SparseResult> result;
    std::string problem;  // why it has no result
  };

  // Doesn't wait for a whole batch: who sends one document and waits for its record gets it.
  std::vector<std::string> NextPaths() {
    constexpr std::size_t sizePerJob = 256;
    std::vector<std::string> paths;
    while (paths.size() < sizePerJob * options.jobs * ranks.Size()) {
      std::optional<std::string> path = source.Next(paths.empty());
      if (!path) break;
      if (options.shard.Has(position++)) paths.push_back(std::move(*path));
    }
    return paths;
  }

  // Stretches, so that records are in order where those of a rank follow those of the one before.
  bool TakeBatch() {
    std::vector<std::string> stretches(ranks.Size());
    if (ranks.IsFirst()) {
      std::vector<std::string> const paths = NextPaths();
      for (std::size_t rank = 0; rank < ranks.Size(); ++rank) {
        MessageWriter message;
        message.Put(paths.empty());
        std::size_t const end = paths.size() * (rank + 1) / ranks.Size();
        for (std::size_t i = paths.size() * rank / ranks.Size(); i < end; ++i) message.PutText(paths[i]);
        stretches[rank] = message.Take();
      }
    }
    std::string const own = std::move(ranks.AllToAll(std::move(stretches)).front());
    MessageReader message(own);
    bool const isEnd = message.Get<bool>();
    batch.clear();
    while (!message.IsAtEnd()) batch.push_back({message.GetText(), nullptr, {}});
    return !isEnd;
  }

  void Classify() {
    ForEach(options.jobs, batch.size(), progress, CancelId::Classifying, [this](std::size_t worker, std::size_t i) {
      try {
        batch[i].result = classifiers[worker].Classify(extractors[worker].Extract(ReadText(batch[i].path)));
      } catch (UnusableFile const& failure) {
        batch[i].problem = failure.note;
      }
    });
  }

  void WriteRecords() {
    std::string records;
    MessageWriter message;
    for (Item const& item : batch) {
      records += format.Record(Printable(item.path.native()), item.result.Get());
      if (item.problem.empty()) continue;
      message.PutText(item.path.native());
      message.PutText(item.problem);
    }
    std::vector<std::string> const allRecords = ranks.Gather(std::move(records));
    std::vector<std::string> const problems = ranks.Gather(message.Take());
    if (!ranks.IsFirst()) return;
    for (std::size_t rank = 0; rank < ranks.Size(); ++rank) {
      for (MessageReader reader(problems[rank]); !reader.IsAtEnd();) {
        std::filesystem::path const path = reader.GetText();
        Complain(path, reader.GetText());
      }
      sink.Write(allRecords[rank]);
    }
  }

  void Complain(std::filesystem::path const& path, std::string const& problem) {
    std::cerr << "classify_corpus: " << problem << ": " << Printable(path.native()) << '\n';
    hasUnread = true;
  }

  Options const& options;
  Communicator& ranks;
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

int Apply(Options const& options, Communicator& ranks) {
  Sink sink(ranks.IsFirst() ? options.output : std::filesystem::path());
  LearnedClasses const classes = ReadClasses(options.classes);
  Applier applier(options, classes, sink, ranks);
  applier.Run();
  return applier.HasUnread() ? exit_code::unreadDocuments : exit_code::done;
}

}  // namespace classify
