// Nodes that tell a test what happens to them.
#ifndef TESTS_SUPPORT_PROBE_NODES_H
#define TESTS_SUPPORT_PROBE_NODES_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "zam/zam.h"

namespace ZaM::test {

using Log = std::vector<std::string>;

/// A node with a name, which writes the name into a log when it ends.
template <class Base>
class Probe : public Base {
 public:
  /// Starts with a count of 1.
  static Probe* Create(std::string name, Log* ends = nullptr) {
    return CreateCounted([&] { return new Probe(std::move(name), ends); });
  }

  std::string const name;
  std::function<void()> onEnd;

 protected:
  Probe(std::string given, Log* ends) : name(std::move(given)), log(ends) {}
  ~Probe() override {
    if (log) log->push_back(name);
    if (onEnd) onEnd();
  }

 private:
  Log* log;
};

using ProbeNode = Probe<Node>;
using ProbeDocument = Probe<DocumentNode>;

/// A representation without content that can hang on a document.
class TaggedNode : public Node, public Representation {
 public:
  static TaggedNode* Create(std::string const& name) {
    return CreateCounted([&] { return new TaggedNode(SetRepTag(name)); });
  }

 protected:
  explicit TaggedNode(RepTag const& given) : Representation(given) {}
};

/// A visitor that runs a function.
class FunctionVisitor : public Visitor {
 public:
  explicit FunctionVisitor(std::function<void(Node*)> called) : function(std::move(called)) {}
  void DoVisit(Node* node) override { function(node); }

 private:
  std::function<void(Node*)> function;
};

/// A chain of `levels` documents, each the only child of the one before, built without recursion. Count 1.
inline DocumentNode* CreateDeepTree(int levels) {
  DocumentNode* const root = DocumentNode::Create();
  DocumentNode* last = root;
  for (int level = 1; level < levels; ++level) {
    DocumentNode* const next = DocumentNode::Create();
    last->AddChild(next);
    last = next;
  }
  return root;
}

}  // namespace ZaM::test

#endif
