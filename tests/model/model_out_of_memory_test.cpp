#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "tests/support/memory_cases.h"
#include "tests/support/probe_nodes.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

struct Release {
  template <class Walk>
  void operator()(Walk* walk) const {
    walk->Release();
  }
};
using Traverser = PreOrderTraverser<DocumentNode>;
using TraverserHandle = std::unique_ptr<Traverser, Release>;

void Describe(DocumentNode& node, std::ostream& out) {
  out << node.GetClassId() << ' ' << node.GetParentDocument() << ' ' << node.GetFeature() << '\n';
  for (Node* const child : Children(node)) out << child << ' ' << child->AddRefCount() + child->Release() << '\n';
}

TEST(ModelOutOfMemory, LeavesNothingHalfDone) {
  Ref<DocumentNode> const child(DocumentNode::Create());
  Ref<DocumentNode> const root(DocumentNode::Create(2, nullptr));
  Ref<DocumentNode> const other(DocumentNode::Create(1, child.Get()));
  for (int i = 0; i < 5; ++i) other->AddChild(DocumentNode::Create());
  Ref<DocumentNode> const assigned(DocumentNode::Create());
  FunctionVisitor visitor([](Node*) {});
  TraverserHandle const walk(Traverser::Create(root.Get()));
  TraverserHandle const longWalk(Traverser::Create(other.Get()));
  longWalk->Next();
  CallBack progress;
  CallBack otherProgress;
  otherProgress.SetMaximum(7);
  otherProgress.SetStatus(wstring(50, u'o'), nullptr);
  wstring const status(100, u's');

  auto const describe = [&] {
    std::ostringstream text;
    for (auto const& node : {child, root, other, assigned}) Describe(*node, text);
    TraverserHandle const rest(Traverser::Create(nullptr));
    *rest = *walk;
    while (!rest->Done()) text << rest->Next() << '\n';
    text << progress.GetMaximum() << ' ' << progress.GetStatus().size();
    return text.str();
  };
  ExpectAllOrNothing({{"create", [&] { Ref(DocumentNode::Create(1, root.Get())); }},
                      {"add a child",
                       [&] {
                         root->AddChild(child.Get());
                         child->AddRefCount();
                       }},
                      {"copy", [&] { Ref(CreateCounted([&] { return new DocumentNode(*other); })); }},
                      {"assign", [&] { *assigned = *other; }},
                      {"iterator", [&] { std::unique_ptr<Iterator, Release>(root->CreateIterator()); }},
                      {"range", [&] { EXPECT_EQ(*Children(*root).begin(), child.Get()); }},
                      {"visit", [&] { root->Visit(&visitor); }},
                      {"save", [&] { EXPECT_TRUE(root->Save(nullptr)); }},
                      {"load", [&] { EXPECT_TRUE(root->Load(nullptr)); }},
                      {"start a walk", [&] { TraverserHandle(Traverser::Create(other.Get())); }},
                      {"next", [&] { walk->Next(); }},
                      {"copy a walk", [&] { ReportOutOfMemory([&] { TraverserHandle(new Traverser(*longWalk)); }); }},
                      {"assign a walk", [&] { *walk = *longWalk; }},
                      {"status", [&] { progress.SetStatus(status, nullptr); }},
                      {"copy progress", [&] { CallBack const copy(otherProgress); }},
                      {"assign progress", [&] { progress = otherProgress; }}},
                     describe);
}

}  // namespace
}  // namespace ZaM::test
