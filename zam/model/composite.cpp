#include "zam/model/composite.h"

#include <memory>
#include <typeinfo>
#include <utility>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/model/document_node.h"
#include "zam/model/iterator.h"
#include "zam/model/visitor.h"
#include "zam/platform/stack.h"

namespace ZaM {

namespace {

struct ReleaseIterator {
  void operator()(Iterator* iterator) const { iterator->Release(); }
};
using IteratorHandle = std::unique_ptr<Iterator, ReleaseIterator>;

enum class Operation { Visit, Save, Load };

/// What a walk does at each node: the operation, and the visitor or stream that goes with it.
struct Task {
  Operation operation;
  void const* argument;

  friend bool operator==(Task const&, Task const&) = default;
};

// So many walks may nest before the stack is looked at, which costs more than the rest of a level.
constexpr int freeNesting = 100;

/// A walk below a composite, with the open iterators on a stack of its own.
///
/// The child that is asked next is remembered. When its call comes to the operation of Composite, it hands its iterator
/// over to this walk and returns, instead of walking itself: always if it is a DocumentNode and no more, since no
/// override can be waiting for the call's end then, and any other once the thread's stack is low.
class Walk {
 public:
  explicit Walk(Task const& walked) : task(walked), outer(std::exchange(innermost, this)) {}
  Walk(Walk const&) = delete;
  Walk& operator=(Walk const&) = delete;
  ~Walk() { innermost = outer; }

  /// The walk that has called `composite` for this task, or null. Answers once per child.
  static Walk* CallerOf(Composite const& composite, Task const& task) {
    if (!innermost || innermost->asked != static_cast<Node const*>(&composite) || innermost->task != task)
      return nullptr;
    innermost->asked = nullptr;
    return innermost;
  }

  /// Whether `composite`, which this walk has called, hands its iterator over.
  [[nodiscard]] bool Takes(Composite const& composite) const {
    return typeid(composite) == typeid(DocumentNode) || (level >= freeNesting && platform::StackIsLow());
  }

  void Take(IteratorHandle children) {
    ReportOutOfMemory([&] { open.push_back(std::move(children)); });
  }

  /// Calls `ask` on every child until it answers false; returns whether it never did.
  template <class Ask>
  bool Run(IteratorHandle children, Ask const& ask) {
    Take(std::move(children));
    while (!open.empty()) {
      Iterator& walk = *open.back();
      if (walk.Done()) {
        open.pop_back();
        if (!open.empty()) open.back()->Next();
        continue;
      }
      std::size_t const depth = open.size();
      if (!AskCurrent(walk, ask)) return false;
      if (open.size() == depth) {
        walk.Next();
      } else {
        open.back()->Start();
      }
    }
    return true;
  }

 private:
  template <class Ask>
  bool AskCurrent(Iterator& walk, Ask const& ask) {
    Node* const child = walk.Current();
    if (!child) return true;
    asked = child;
    bool const answer = ask(*child);
    asked = nullptr;
    return answer;
  }

  static thread_local constinit Walk* innermost;

  Task const task;
  Walk* const outer;
  int const level = outer ? outer->level + 1 : 0;
  Node const* asked = nullptr;       // the child that may hand its iterator over
  std::vector<IteratorHandle> open;  // one per level, the deepest last
};

thread_local constinit Walk* Walk::innermost = nullptr;

/// Calls `ask` on the children of `composite` until it answers false; returns whether it never did. `caller` is what
/// Walk::CallerOf has answered for the composite.
template <class Ask>
bool WalkChildren(Composite& composite, Walk* caller, Task const& task, Ask const& ask) {
  if (composite.ChildCount() == 0 && typeid(composite) == typeid(DocumentNode)) return true;  // needs no iterator
  IteratorHandle children(composite.CreateIterator());
  if (!children) return true;
  if (caller && caller->Takes(composite)) {
    caller->Take(std::move(children));
    return true;
  }
  children->Start();
  return Walk(task).Run(std::move(children), ask);
}

}  // namespace

Composite::~Composite() = default;

Composite* Composite::GetComposite() {
  return this;
}

void Composite::Visit(Visitor* visitor) {
  Task const task{Operation::Visit, visitor};
  Walk* const caller = Walk::CallerOf(*this, task);
  visitor->DoVisit(this);
  WalkChildren(*this, caller, task, [visitor](Node& child) {
    child.Visit(visitor);
    return true;
  });
}

bool Composite::Save(std::basic_ostream<char>* stream) {
  Task const task{Operation::Save, stream};
  return WalkChildren(*this, Walk::CallerOf(*this, task), task, [stream](Node& child) { return child.Save(stream); });
}

bool Composite::Load(std::basic_istream<char>* stream) {
  Task const task{Operation::Load, stream};
  return WalkChildren(*this, Walk::CallerOf(*this, task), task, [stream](Node& child) { return child.Load(stream); });
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
