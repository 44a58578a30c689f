#include "zam/model/node.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "zam/model/visitor.h"
#include "zam/platform/tail_call.h"

namespace ZaM {

namespace {

// How many objects may end one inside the other. Ordinary trees stay far below; at this depth the frames of the
// destructors take some ten kilobytes, and a few times that under the sanitizers.
constexpr int maxNesting = 100;

struct Endings {
  int nesting = 0;                    // objects that are ending on this thread
  std::vector<Node*>* put = nullptr;  // where those beyond maxNesting wait; null above that depth
};

thread_local constinit Endings endings;

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
  if (count <= 0) destroy();
  return count;
}

bool Node::Save(std::basic_ostream<char>* /*stream*/) {
  return true;
}

bool Node::Load(std::basic_istream<char>* /*stream*/) {
  return true;
}

Node::~Node() {
  if (Node* const first = Node::RemoveFeature()) first->Release();
}

void Node::destroy() noexcept {
  if (endings.put) {
    try {
      endings.put->push_back(this);
      return;
    } catch (std::bad_alloc const&) {
      // Without memory to wait in, it ends at once, on whatever stack is left.
    }
  }
  if (endings.nesting < maxNesting || endings.put) {
    ++endings.nesting;
    delete this;
    --endings.nesting;
    return;
  }

  std::vector<Node*> waiting;
  endings.put = &waiting;
  delete this;
  // What an object released while it ended goes before what was waiting already, first come first: the order in which
  // nested calls would have come to them.
  std::reverse(waiting.begin(), waiting.end());
  while (!waiting.empty()) {
    Node* const next = waiting.back();
    waiting.pop_back();
    std::size_t const others = waiting.size();
    delete next;
    std::reverse(waiting.begin() + static_cast<std::ptrdiff_t>(others), waiting.end());
  }
  endings.put = nullptr;
}

}  // namespace ZaM
