#include "zam/model/node.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "zam/model/visitor.h"
#include "zam/platform/stack.h"
#include "zam/platform/tail_call.h"

namespace ZaM {

namespace {

// So many objects may end one inside the other before the stack is looked at: it costs more than the rest of an ending.
constexpr int freeNesting = 100;

struct Endings {
  int nesting = 0;                        // objects that are ending on this thread, one inside the other
  Node const* owned = nullptr;            // what a destructor is releasing at this moment, as its owner
  std::vector<Node*>* waiting = nullptr;  // where owned objects go while the stack is low; null while it isn't
};

thread_local constinit Endings endings;

bool PutOff(Node* node) {
  try {
    endings.waiting->push_back(node);
    return true;
  } catch (std::bad_alloc const&) {
    return false;  // it has to end at once, on whatever stack is left
  }
}

}  // namespace

// A chain may be longer than the stack is deep, and every feature of it is asked through its virtual AddFeature.
ZAM_TAIL_CALLING void Node::AddFeature(Node* added) {
  if (feature) {
    ZAM_TAIL_CALL feature->AddFeature(added);
  }
  feature = added;
}

Node* Node::RemoveFeature() {
  return std::exchange(feature, nullptr);
}

Node* Node::GetFeature() {
  return feature;
}

unsigned int Node::FeatureCount() const {
  return feature ? 1 : 0;
}

Composite* Node::GetComposite() {
  return nullptr;
}

void Node::Visit(Visitor* visitor) {
  visitor->DoVisit(this);
}

std::int32_t Node::AddRefCount() {
  return ++refCount;
}

std::int32_t Node::Release() {
  std::int32_t const count = --refCount;
  if (count <= 0) Destroy();
  return count;
}

bool Node::Save(std::basic_ostream<char>* /*stream*/) {
  return true;
}

bool Node::Load(std::basic_istream<char>* /*stream*/) {
  return true;
}

Node::~Node() {
  while (Node* const first = Node::RemoveFeature()) ReleaseOwned(first);
}

void Node::ReleaseOwned(Node* owned) {
  if (!owned) return;
  endings.owned = owned;
  owned->Release();
  endings.owned = nullptr;
}

void Node::Destroy() noexcept {
  bool const isOwned = std::exchange(endings.owned, nullptr) == this;
  if (endings.waiting) {
    if (isOwned && PutOff(this)) return;
  } else if (endings.nesting < freeNesting || !platform::StackIsLow()) {
    ++endings.nesting;
    delete this;
    --endings.nesting;
    return;
  }

  std::vector<Node*> waiting;
  auto* const outer = std::exchange(endings.waiting, &waiting);
  Node* next = this;
  while (next) {
    // What an object releases while it ends goes before what was waiting already, first come first: the order in which
    // nested calls would have come to them.
    std::size_t const others = waiting.size();
    delete next;
    std::reverse(waiting.begin() + static_cast<std::ptrdiff_t>(others), waiting.end());
    next = waiting.empty() ? nullptr : waiting.back();
    if (next) waiting.pop_back();
  }
  endings.waiting = outer;
}

}  // namespace ZaM
