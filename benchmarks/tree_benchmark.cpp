// Building and releasing a tree of documents, against the same objects in a plain vector; from ten thousand to a
// million documents, to show that the cost grows with their number alone. Walking it by the traverser, against a
// visitor.
#include <benchmark/benchmark.h>

#include <vector>

#include "zam/zam.h"

namespace {

using ZaM::DocumentNode;

constexpr int documentsPerFolder = 100;

ZaM::Ref<DocumentNode> MakeTree(int documents) {
  ZaM::Ref root(DocumentNode::Create());
  for (int folder = 0; folder < documents / documentsPerFolder; ++folder) {
    DocumentNode* const parent = DocumentNode::Create();
    root->AddChild(parent);
    for (int i = 1; i < documentsPerFolder; ++i) parent->AddChild(DocumentNode::Create());
  }
  return root;
}

void Tree(benchmark::State& state, int documents) {
  for (auto _ : state) {
    ZaM::Ref const root = MakeTree(documents);
    benchmark::DoNotOptimize(root.Get());
  }
  state.SetItemsProcessed(state.iterations() * documents);
}

void Vector(benchmark::State& state, int documents) {
  for (auto _ : state) {
    std::vector<DocumentNode*> nodes;
    nodes.reserve(static_cast<std::size_t>(documents));
    for (int i = 0; i < documents; ++i) nodes.push_back(DocumentNode::Create());
    benchmark::DoNotOptimize(nodes.data());
    for (DocumentNode* node : nodes) node->Release();
  }
  state.SetItemsProcessed(state.iterations() * documents);
}

unsigned int Traverse(DocumentNode& root) {
  unsigned int sum = 0;
  auto* const documents = ZaM::PreOrderTraverser<DocumentNode>::Create(&root);
  while (!documents->Done()) sum += documents->Next()->GetClassId();
  documents->Release();
  return sum;
}

struct Summing : ZaM::Visitor {
  void DoVisit(ZaM::Node* node) override {
    if (auto const* document = dynamic_cast<DocumentNode*>(node)) sum += document->GetClassId();
  }
  unsigned int sum = 0;
};

unsigned int Visit(DocumentNode& root) {
  Summing summing;
  root.Visit(&summing);
  return summing.sum;
}

void Walk(benchmark::State& state, unsigned int (*way)(DocumentNode&)) {
  constexpr int documents = 1'000'000;
  ZaM::Ref const root = MakeTree(documents);
  for (auto _ : state) benchmark::DoNotOptimize(way(*root));
  state.SetItemsProcessed(state.iterations() * documents);
}

BENCHMARK_CAPTURE(Tree, 10000, 10'000)->Name("tree_10000/zam")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Vector, 10000, 10'000)->Name("tree_10000/vector")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Tree, 100000, 100'000)->Name("tree_100000/zam")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Vector, 100000, 100'000)->Name("tree_100000/vector")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Tree, 1000000, 1'000'000)->Name("tree_1000000/zam")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Vector, 1000000, 1'000'000)->Name("tree_1000000/vector")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Walk, zam, Traverse)->Name("walk_1000000/zam")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Walk, visitor, Visit)->Name("walk_1000000/visitor")->Unit(benchmark::kMillisecond);

}  // namespace
