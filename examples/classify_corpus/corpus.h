// Which documents a folder holds, and which classes they belong to.
#ifndef CLASSIFY_CORPUS_CORPUS_H
#define CLASSIFY_CORPUS_CORPUS_H

#include <filesystem>
#include <string>
#include <vector>

#include "notes.h"

namespace classify {

struct DocumentFile {
  std::filesystem::path path;
  unsigned int classId;
  unsigned int fold;
};

/// A folder tree <class>/<document>.
///
/// Each folder in the corpus is a class. Each file in it, at any depth, is a document of that class. Classes are in the
/// order of their names, documents in that of their paths, both compared as bytes, so that every run sees the same.
/// Left out: names that begin with a dot, files beside the class folders, whatever is neither file nor folder, and
/// links to folders below a class, which might lead back up. Links to files and to class folders are followed.
struct Corpus {
  std::filesystem::path folder;
  std::vector<std::string> classNames;  // by class id, made printable; the id 0 stands for no class
  std::vector<DocumentFile> files;

  std::size_t ClassCount() const { return classNames.size() - 1; }

  /// The document's path below the corpus, made printable.
  std::string NameOf(DocumentFile const& file) const;
};

/// Lists the documents without opening them. Notes what was left out, and classes without a document, which get no
/// id. Throws RunError if `folder` can't be listed or no class is left.
Corpus ListCorpus(std::filesystem::path const& folder, Notes& notes);

}  // namespace classify

#endif
