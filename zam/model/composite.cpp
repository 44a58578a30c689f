#include "zam/model/composite.h"

#include <memory>
#include <utility>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/model/iterator.h"
#include "zam/model/iterator_memory.h"
#include "zam/model/visitor.h"
#include "zam/platform/stack.h"

namespace ZaM {

namespace {

struct ReleaseIterator {
  void operator()(Iterator* iterator) const { iterator->Release(); }
};
using IteratorHandle = std::unique_ptr<Iterator, ReleaseIterator>;

enum class Operation { visit, save, load };

/// What a walk does at each node: the operation, and the visitor or stream that goes with it.
struct Task {
  Operation operation;
  void const* argument;

  friend bool operator==(Task const&, Task const&) = default;
};

/// The lower part of a walk that has become too deep for nested calls: the open iterators lie in a list here.
///
/// The child that is asked next is remembered. When it comes to its own children, it leaves its iterator here instead
/// of starting a walk of its own, and returns.
class DeepWalk {
 public:
  explicit DeepWalk(Task const& walked) : task(walked), outer(std::exchange(innermost, this)) {}
  DeepWalk(DeepWalk const&) = delete;
  DeepWalk& operator=(DeepWalk const&) = delete;
  ~DeepWalk() { innermost = outer; }

  /// The walk that `composite` has to leave its iterator to, or null if it walks by itself. Answers once per child.
  static DeepWalk* Over(Composite const& composite, Task const& task) {
    if (!innermost || innermost->asked != &composite || innermost->task != task) return nullptr;
    innermost->asked = nullptr;
    return innermost;
  }

  void Add(IteratorHandle children) {
    ReportOutOfMemory([&] { open.push_back(std::move(children)); });
  }

  /// Calls `ask` on every child until it answers false; returns whether it never did.
  template <class Ask>
  bool Run(IteratorHandle children, Ask const& ask) {
    children->Start();
    Add(std::move(children));
    while (!open.empty()) {
      Iterator& walk = *open.back();
      if (walk.Done()) {
        open.pop_back();
        if (!open.empty()) open.back()->Next();
        continue;
      }
      std::size_t const level = open.size();
      if (!askCurrent(walk, ask)) return false;
      if (open.size() == level) {
        walk.Next();
      } else {
        open.back()->Start();
      }
    }
    return true;
  }

 private:
  template <class Ask>
  bool askCurrent(Iterator& walk, Ask const& ask) {
    Node* const child = walk.Current();
    if (!child) return true;
    asked = child->GetComposite();
    bool const goOn = ask(*child);
    asked = nullptr;
    return goOn;
  }

  static thread_local constinit DeepWalk* innermost;

  Task const task;
  DeepWalk* const outer;
  Composite const* asked = nullptr;  // the child that may leave its iterator here
  std::vector<IteratorHandle> open;  // one per level, the deepest last
};

thread_local constinit DeepWalk* DeepWalk::innermost = nullptr;

// So many calls may nest before the stack is looked at. Nested calls keep an override's view of the walk exact, so the
// list is only for where the stack would run out.
constexpr int freeNesting = 100;

thread_local constinit int nesting = 0;

class NestingGuard {
 public:
  NestingGuard() { ++nesting; }
  NestingGuard(NestingGuard const&) = delete;
  NestingGuard& operator=(NestingGuard const&) = delete;
  ~NestingGuard() { --nesting; }
};

/// Calls `ask` on the children of `composite` until it answers false; returns whether it never did. `deepWalk` is
/// what DeepWalk::Over has answered for the composite.
template <class Ask>
bool walkChildren(Composite& composite, DeepWalk* deepWalk, Task const& task, Ask const& ask) {
  IteratorHandle children(detail::CreateWalk(composite));
  if (!children) return true;
  if (deepWalk) {
    deepWalk->Add(std::move(children));
    return true;
  }
  if (nesting >= freeNesting && platform::StackIsLow()) return DeepWalk(task).Run(std::move(children), ask);

  NestingGuard const guard;
  for (children->Start(); !children->Done(); children->Next()) {
    Node* const child = children->Current();
    if (child && !ask(*child)) return false;
  }
  return true;
}

}  // namespace

thread_local constinit bool detail::iteratorLacksMemory = false;

Iterator* detail::CreateWalk(Composite& composite) {
  iteratorLacksMemory = false;
  Iterator* const walk = composite.CreateIterator();
  if (!walk && iteratorLacksMemory) throw BaseException(5);
  return walk;
}

Composite::~Composite() = default;

Composite* Composite::GetComposite() {
  return this;
}

void Composite::Visit(Visitor* visitor) {
  Task const task{Operation::visit, visitor};
  DeepWalk* const deepWalk = DeepWalk::Over(*this, task);
  visitor->DoVisit(this);
  walkChildren(*this, deepWalk, task, [visitor](Node& child) {
    child.Visit(visitor);
    return true;
  });
}

bool Composite::Save(std::basic_ostream<char>* stream) {
  Task const task{Operation::save, stream};
  return walkChildren(*this, DeepWalk::Over(*this, task), task, [stream](Node& child) { return child.Save(stream); });
}

bool Composite::Load(std::basic_istream<char>* stream) {
  Task const task{Operation::load, stream};
  return walkChildren(*this, DeepWalk::Over(*this, task), task, [stream](Node& child) { return child.Load(stream); });
}

void Composite::AddChild(Node* /*child*/) {}

Node* Composite::RemoveChild(unsigned int /*id*/) {
  return nullptr;
}

unsigned int Composite::ChildCount() const {
  return 0;
}

Iterator* Composite::CreateIterator() {
  return nullptr;
}

}  // namespace ZaM
