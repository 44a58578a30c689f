#include "findings.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "fold.h"
#include "stored_result.h"
#include "tags.h"

namespace classify {

using ZaM::DocumentNode;
using ZaM::Ref;

ZaM::SparseResult& TestedDocument::Result() const {
  return *node->Get<ZaM::SparseResult>(ResultTag());
}

Findings::Findings() : tree(DocumentNode::Create()) {}

void Findings::AddClass(std::string name) {
  Ref<DocumentNode> folder(DocumentNode::Create(static_cast<unsigned int>(classNames.size()), tree.Get()));
  folders.push_back(folder.Get());
  tree->AddChild(folder.Detach());
  classNames.push_back(std::move(name));
}

void Findings::Add(std::string name, unsigned int classId, unsigned int fold, ZaM::Result* result) {
  DocumentNode* const folder = folders[classId - 1];
  Ref<DocumentNode> node(DocumentNode::Create(classId, folder));
  node->AddRepresentation(AsStored(result).Detach());
  tested.push_back({std::move(name), classId, fold, node.Get()});
  folder->AddChild(node.Detach());
}

void Findings::Sort() {
  std::sort(tested.begin(), tested.end(), [](TestedDocument const& a, TestedDocument const& b) {
    return std::tie(a.fold, a.classId, a.name) < std::tie(b.fold, b.classId, b.name);
  });
}

FoldSize Findings::Total() const {
  FoldSize total{};
  for (auto const& [number, size] : folds) {
    total.learned += size.learned;
    total.tested += size.tested;
  }
  return total;
}

std::string Findings::FoldNames() const {
  if (folds.size() == foldCount) return "each fold in turn";
  std::string names;
  for (auto const& [number, size] : folds) names += (names.empty() ? "fold " : " and fold ") + std::to_string(number);
  return names;
}

}  // namespace classify
