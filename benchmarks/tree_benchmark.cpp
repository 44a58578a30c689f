// Building and releasing a tree of documents, against the same objects in a plain vector; from ten thousand to a
// million documents, to show that the cost grows with their number alone.
#include <benchmark/benchmark.h>

#include <vector>

#include "zam/zam.h"

namespace {

using ZaM::DocumentNode;

constexpr int documentsPerFolder = 100;

void tree(benchmark::State& state, int documents) {
  for (auto _ : state) {
    ZaM::Ref root(DocumentNode::Create());
    for (int folder = 0; folder < documents / documentsPerFolder; ++folder) {
      DocumentNode* const parent = DocumentNode::Create();
      root->AddChild(parent);
      for (int i = 1; i < documentsPerFolder; ++i) parent->AddChild(DocumentNode::Create());
    }
    benchmark::DoNotOptimize(root.Get());
  }
  state.SetItemsProcessed(state.iterations() * documents);
}

void vector(benchmark::State& state, int documents) {
  for (auto _ : state) {
    std::vector<DocumentNode*> nodes;
    for (int i = 0; i < documents; ++i) nodes.push_back(DocumentNode::Create());
    benchmark::DoNotOptimize(nodes.data());
    for (DocumentNode* node : nodes) node->Release();
  }
  state.SetItemsProcessed(state.iterations() * documents);
}

BENCHMARK_CAPTURE(tree, 10000, 10'000)->Name("tree_10000/zam")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(vector, 10000, 10'000)->Name("tree_10000/vector")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(tree, 100000, 100'000)->Name("tree_100000/zam")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(vector, 100000, 100'000)->Name("tree_100000/vector")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(tree, 1000000, 1'000'000)->Name("tree_1000000/zam")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(vector, 1000000, 1'000'000)->Name("tree_1000000/vector")->Unit(benchmark::kMillisecond);

}  // namespace
