// Which documents are to be classified.
#ifndef CLASSIFY_CORPUS_DOCUMENT_SOURCE_H
#define CLASSIFY_CORPUS_DOCUMENT_SOURCE_H

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace classify {

/// Paths of files, one after the other: those that are given, or those that standard input brings. In place of a folder
/// come the files in it, at any depth, in the order of their names; names that begin with a dot are passed over, and
/// links to folders, which might lead back up. What is no folder is a document, whether it can be read or not.
///
/// Memory: up to `mostNames` names for each level of folders that is being read; a folder that has more is listed once
///         more for each further `mostNames`. Nothing grows with the number of documents.
/// Errors: RunError for what can't be a list of paths, and where the machine fails; UserCanceledException(22) if the
///         user wants to stop while input is awaited.
class DocumentSource {
 public:
  static constexpr std::size_t mostNames = 65536;

  /// Called for a folder that can't be listed, with the reason.
  using Complain = std::function<void(std::filesystem::path const& folder, std::string const& reason)>;

  /// Without a path they come from standard input, with `end` after each.
  DocumentSource(std::vector<std::filesystem::path> paths, char end, Complain complaint);

  /// The next one; nothing at the end. Without `mayWait` also nothing where standard input hasn't brought one yet.
  std::optional<std::string> Next(bool mayWait);

 private:
  bool ReadInput(bool mayWait);
  std::optional<std::string> NextLine(bool mayWait);
  // A path to give or, if it is a folder, to look into; of its entries those up to `after` have had their turn. Plain
  // text, and not asked for its kind twice: a process that takes a share of the documents passes over all others.
  struct Place {
    std::string path;
    std::string after;
    bool isDocument = false;  // as far as is known
  };
  void Open(Place const& folder);

  std::vector<Place> pending;  // the next one last
  bool takesInput;
  char separator;
  Complain complain;
  std::string input;      // that was read
  std::size_t begin = 0;  // of the next line in it
};

}  // namespace classify

#endif
