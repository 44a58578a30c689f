// What became of the tested documents: all that a report is made from, and all that a result file holds.
#ifndef CLASSIFY_CORPUS_FINDINGS_H
#define CLASSIFY_CORPUS_FINDINGS_H

#include <zam/zam.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "plane.h"
#include "settings.h"

namespace classify {

/// A document that was classified.
struct TestedDocument {
  std::string name;  // the path below the corpus, made printable
  unsigned int classId;
  unsigned int fold;
  ZaM::DocumentNode* node;  // owned by the tree

  /// Its classes, best first; no entry for a document that gave the classifier nothing to go by.
  ZaM::SparseResult& Result() const;
};

/// How many documents of a corpus a fold is learned from, and how many belong to it, whatever the share that was
/// tested.
struct FoldSize {
  std::uint64_t learned;
  std::uint64_t tested;

  friend bool operator==(FoldSize const&, FoldSize const&) = default;
};

/// Filled by a run (experiment.h) or from result files (result_loader.h); a report can't tell which.
///
/// The documents also stand in a tree that visitors can be sent through: a root, a folder for each class with its class
/// id and nothing else, and in that the documents with their results under `ResultTag`.
class Findings {
 public:
  Findings();

  /// Adds a class under the next class id, of which 1 is the first. All classes come before the documents.
  void AddClass(std::string name);

  /// Adds a document of a class that there is. Of its result counts what a file keeps, see `AsStored`; null is a result
  /// without an entry.
  void Add(std::string name, unsigned int classId, unsigned int fold, ZaM::Result* result);

  /// Puts the documents in the order of folds, in these of classes, and in these of names.
  void Sort();

  /// By class id; the name for 0, which stands for no class, is "-".
  std::vector<std::string> const& ClassNames() const { return classNames; }
  std::size_t ClassCount() const { return classNames.size() - 1; }
  std::vector<TestedDocument> const& Tested() const { return tested; }
  ZaM::DocumentNode& Tree() const { return *tree; }

  /// Sums over the folds that were tested.
  FoldSize Total() const;

  /// The folds that were tested, in words: "fold 0 and fold 3", or "each fold in turn" for all of them.
  std::string FoldNames() const;

  std::string corpus;                      // its folder, made printable
  std::uint64_t documents = 0;             // in the corpus
  Settings settings;                       // that the documents were classified with
  DocumentMap map;                         // of the first fold, if one was asked for; no file keeps it
  std::map<unsigned int, FoldSize> folds;  // by number

 private:
  std::vector<std::string> classNames{"-"};
  std::vector<TestedDocument> tested;
  ZaM::Ref<ZaM::DocumentNode> tree;
  std::vector<ZaM::DocumentNode*> folders;  // by class id - 1; owned by the tree
};

}  // namespace classify

#endif
