#include <algorithm>
#include <fstream>
#include <iostream>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "class_learning.h"
#include "classes_file.h"
#include "commands.h"
#include "corpus.h"
#include "corpus_reader.h"
#include "number_text.h"
#include "pending_file.h"
#include "run_error.h"
#include "shared_corpus.h"
#include "utf8.h"

namespace classify {

namespace {

std::set<std::string> ReadList(std::filesystem::path const& path) {
  std::ifstream stream(path);
  std::set<std::string> names;
  for (std::string line; std::getline(stream, line);)
    if (!line.empty()) names.insert(Printable(line));
  if (!stream.eof()) throw RunError{"can't read " + Printable(path.native())};
  return names;
}

// Leaves in the corpus what is to be learned from.
void Choose(Corpus& corpus, Options const& options, Notes& notes) {
  if (options.leftOut) std::erase_if(corpus.files, [&](auto const& file) { return file.fold == *options.leftOut; });
  if (options.list.empty()) return;
  std::set<std::string> wanted = ReadList(options.list);
  std::set<std::string> found;
  std::erase_if(corpus.files, [&](auto const& file) {
    std::string name = corpus.NameOf(file);
    bool const isWanted = wanted.contains(name);
    if (isWanted) found.insert(std::move(name));
    return !isWanted;
  });
  for (std::string const& name : wanted)
    if (!found.contains(name)) notes.Add("in the list, but no document to learn from, left out", name);
}

void NoteClassesLeftOut(Corpus const& corpus, LearnedClasses const& classes, Notes& notes) {
  std::set<unsigned int> learned;
  for (ClassModel const* model : classes.models) learned.insert(model->GetClassId());
  for (unsigned int id = 1; id <= corpus.ClassCount(); ++id)
    if (!learned.contains(id)) notes.Add("class with nothing to learn from, left out", corpus.classNames[id]);
  if (learned.size() == 1)
    notes.Add("a single class: it has nothing to be told from", corpus.classNames[*learned.begin()]);
}

}  // namespace

int Learn(Options const& options, Notes& notes, Communicator& ranks) {
  std::string summary;
  {
    Progress progress(ShowsBar(options));
    std::optional<PendingFile> file;
    Corpus whole;
    if (ranks.IsFirst()) {
      file.emplace(options.classes);
      progress.Begin("listing", 0);
      whole = ListCorpus(options.corpus, notes);
      Choose(whole, options, notes);
    }
    Corpus const corpus = ShareOut(std::move(whole), ranks);
    std::vector<Document> const documents = ReadCorpus(corpus, options.settings, options.jobs, progress, notes, ranks);
    CountDocuments(corpus, documents, ranks);
    std::vector<Document const*> training;
    training.reserve(documents.size());
    for (Document const& document : documents) training.push_back(&document);
    LearnedClasses const classes =
        LearnClasses(training, corpus.classNames, options.settings, options.jobs, progress, ranks, Receivers::First);
    if (!ranks.IsFirst()) return exit_code::done;
    NoteClassesLeftOut(corpus, classes, notes);
    progress.Begin("writing", 0);
    WriteClasses(classes, *file);
    file->Commit();
    summary = Printable(options.classes.native()) + ": " + Grouped(classes.models.size()) + " classes, learned from " +
              Grouped(classes.documents) + " documents with " + Grouped(classes.vocabulary.Size()) + " terms\n";
  }
  std::cout << summary << std::flush;
  return exit_code::done;
}

}  // namespace classify
