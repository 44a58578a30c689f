#include "zam/model/pre_order_traverser.h"

#include "zam/foundation/create_counted.h"

namespace ZaM {

namespace {

std::vector<DocumentNode*> DocumentsIn(DocumentNode& parent) {
  std::vector<DocumentNode*> documents;
  if (!parent.GetComposite()) return documents;
  for (VectorIterator child = parent.GetVectorIterator(); !child.Done(); child.Next()) {
    if (auto* const document = dynamic_cast<DocumentNode*>(child.Current())) documents.push_back(document);
  }
  return documents;
}

}  // namespace

PreOrderTraverser<DocumentNode>* PreOrderTraverser<DocumentNode>::Create(DocumentNode* root) {
  return ReportOutOfMemory([root] {
    std::vector<DocumentNode*> start;
    if (root) start.push_back(root);
    auto* const traverser = new PreOrderTraverser;
    traverser->waiting.swap(start);
    return traverser;
  });
}

void PreOrderTraverser<DocumentNode>::Release() {
  delete this;
}

DocumentNode* PreOrderTraverser<DocumentNode>::Next() {
  if (waiting.empty()) return nullptr;
  DocumentNode* const document = waiting.back();
  ReportOutOfMemory([&] {
    std::vector<DocumentNode*> const children = DocumentsIn(*document);
    // Turned around, so that the first child is on top; below the document, so that it is still there if this fails.
    waiting.insert(waiting.end() - 1, children.rbegin(), children.rend());
  });
  waiting.pop_back();
  return document;
}

}  // namespace ZaM
