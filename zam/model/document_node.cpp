#include "zam/model/document_node.h"

#include <algorithm>
#include <utility>

#include "zam/foundation/create_counted.h"

namespace ZaM {

namespace {

/// A representation on a chain, and the object in whose feature slot it hangs.
struct ChainEntry {
  Node* predecessor = nullptr;
  Node* node = nullptr;
  Representation* representation = nullptr;
};

ChainEntry findRepresentation(Node& start, RepTag const& tag) {
  Node* predecessor = &start;
  for (Node* node = start.GetFeature(); node; node = node->GetFeature()) {
    auto* const representation = dynamic_cast<Representation*>(node);
    if (representation && representation->GetTagId() == tag.id) return {predecessor, node, representation};
    predecessor = node;
  }
  return {};
}

}  // namespace

DocumentNode* DocumentNode::Create() {
  return Create(0, nullptr);
}

DocumentNode* DocumentNode::Create(unsigned int classId, DocumentNode* parent) {
  return CreateCounted([=] { return new DocumentNode(classId, parent); });
}

// The children first, since their copy alone may fail.
DocumentNode& DocumentNode::operator=(DocumentNode const& other) {
  children = other.children;
  Composite::operator=(other);
  classId = other.classId;
  parentDocument = other.parentDocument;
  return *this;
}

DocumentNode::~DocumentNode() {
  // What runs while a child ends may still add and remove children here.
  while (!children.empty()) {
    for (Node* child : std::exchange(children, {})) ReleaseOwned(child);
  }
}

void DocumentNode::AddChild(Node* child) {
  ReportOutOfMemory([&] { children.push_back(child); });
  if (auto* const document = dynamic_cast<DocumentNode*>(child)) document->SetParentDocument(this);
}

Node* DocumentNode::RemoveChild(unsigned int id) {
  auto const found =
      std::find_if(children.begin(), children.end(), [id](Node* child) { return child && child->HasId(id); });
  if (found == children.end()) return nullptr;
  Node* const child = *found;
  children.erase(found);
  return child;
}

unsigned int DocumentNode::ChildCount() const {
  return static_cast<unsigned int>(children.size());
}

Iterator* DocumentNode::CreateIterator() {
  return VectorIterator::Create(children);
}

bool DocumentNode::AddRepresentation(Node* representation) {
  if (!dynamic_cast<Representation*>(representation)) return false;
  AddFeature(representation);
  return true;
}

Representation* DocumentNode::GetRepresentation(RepTag const& tag) {
  return findRepresentation(*this, tag).representation;
}

Node* DocumentNode::RemoveRepresentation(RepTag const& tag) {
  ChainEntry const entry = findRepresentation(*this, tag);
  if (!entry.node) return nullptr;
  entry.predecessor->RemoveFeature();
  if (Node* const rest = entry.node->RemoveFeature()) AddFeature(rest);
  return entry.node;
}

void DocumentNode::SaveData(std::basic_ostream<char>* /*stream*/) {}

void DocumentNode::LoadData(std::basic_istream<char>* /*stream*/) {}

}  // namespace ZaM
