// What is kept of the documents that classes have learned from.
#ifndef CLASSIFY_CORPUS_LEARNED_CLASSES_H
#define CLASSIFY_CORPUS_LEARNED_CLASSES_H

#include <zam/zam.h>

#include <cstdint>
#include <string>
#include <vector>

#include "class_model.h"
#include "settings.h"
#include "vocabulary.h"

namespace classify {

/// All that is needed to classify a document: how to take its terms, which terms count, and a tree with a model for
/// each class that had something to learn from. Only read while documents are classified, on any number of threads.
struct LearnedClasses {
  explicit LearnedClasses(Vocabulary known) : vocabulary(std::move(known)), tree(ZaM::DocumentNode::Create()) {}

  /// Takes over the reference that `Create` gave.
  void Add(ClassModel* model) {
    models.push_back(model);
    tree->AddChild(model);
  }

  Settings settings;               // of these `maxResults` plays no part
  std::uint64_t documents = 0;     // that were learned from
  std::vector<std::string> names;  // by class id; "-" for 0, which stands for no class
  Vocabulary vocabulary;
  ZaM::Ref<ZaM::DocumentNode> tree;
  std::vector<ClassModel*> models;  // in the order of class ids; owned by the tree
};

}  // namespace classify

#endif
