#include "zam/model/document_node.h"

#include <algorithm>
#include <utility>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/ref.h"
#include "zam/model/representation_chain.h"

namespace ZaM {

namespace {

Representation* AsRepresentation(Node* node) {
  return dynamic_cast<Representation*>(node);
}

}  // namespace

DocumentNode* DocumentNode::Create() {
  return Create(0, nullptr);
}

DocumentNode* DocumentNode::Create(unsigned int classId, DocumentNode* parent) {
  return CreateCounted([=] { return new DocumentNode(classId, parent); });
}

DocumentNode::DocumentNode(DocumentNode const& other)
    : Composite(other), classId(other.classId), parentDocument(other.parentDocument), children(other.children) {
  for (Node* const child : children) {
    if (child) child->AddRefCount();
  }
}

DocumentNode& DocumentNode::operator=(DocumentNode const& other) {
  Ref const copy(CreateCounted([&] { return new DocumentNode(other); }));
  classId = other.classId;
  parentDocument = other.parentDocument;
  children.swap(copy->children);  // the copy releases the former ones
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
  Iterator* const walk = VectorIterator::Create(children);
  if (!walk) throw BaseException(ErrorId::OutOfMemory);
  return walk;
}

bool DocumentNode::AddRepresentation(Node* representation) {
  if (!AsRepresentation(representation)) return false;
  for (Node* node = this; node; node = node->GetFeature()) {
    if (node == representation) return false;
  }
  AddFeature(representation);
  return true;
}

Representation* DocumentNode::GetRepresentation(RepTag const& tag) {
  return detail::FindRepresentation(*this, tag, AsRepresentation).representation;
}

Node* DocumentNode::RemoveRepresentation(RepTag const& tag) {
  detail::ChainEntry const entry = detail::FindRepresentation(*this, tag, AsRepresentation);
  if (entry.node) detail::Unhook(*this, entry);
  return entry.node;
}

void DocumentNode::SaveData(std::basic_ostream<char>* /*stream*/) {}

void DocumentNode::LoadData(std::basic_istream<char>* /*stream*/) {}

}  // namespace ZaM
