// A classification run against a bare loop over the same calls of `dot`: what the library adds to the scores
// themselves.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "tests/support/number_vector.h"
#include "zam/zam.h"

namespace {

using namespace ZaM;

constexpr int documentCount = 10'000;
constexpr int classCount = 100;

/// A class tree and a document tree whose scores are scalar products of `numbers` numbers; with none a call does
/// nothing. The lists name what the trees hold.
struct Corpus {
  explicit Corpus(std::size_t numbers) {
    std::mt19937 random(1);
    auto const vectorOf = [&](std::size_t size) {
      std::vector<double> values(size);
      for (double& value : values) value = static_cast<double>(random() % 1000) / 1000.0;
      return values;
    };
    for (int i = 1; i <= classCount; ++i) {
      auto* const node = test::ClassNode::Create(static_cast<unsigned int>(i), vectorOf(numbers));
      classTree->AddChild(node);
      classes.push_back(node);
    }
    for (int i = 0; i < documentCount; ++i) {
      auto* const document = DocumentNode::Create();
      auto* const vector = test::NumberVector::Create(vectorOf(numbers + 1));  // one more, so that it is valid
      document->AddRepresentation(vector);
      documentTree->AddChild(document);
      documents.push_back(vector);
    }
  }

  Ref<DocumentNode> classTree{DocumentNode::Create()};
  Ref<DocumentNode> documentTree{DocumentNode::Create()};
  std::vector<Representation const*> classes;
  std::vector<Representation const*> documents;
};

void Classify(benchmark::State& state, std::size_t numbers) {
  Corpus const corpus(numbers);
  BayesControl control;
  control.SetResultTag(SetRepTag("Rslt"));
  control.SetRootClass(corpus.classTree.Get());
  control.SetRootDocument(corpus.documentTree.Get());
  control.SetDoLearn(true);
  control.SetDoClassify(true);
  BayesClassifier classifier;
  for (auto _ : state) classifier.DoAlgorithm(&control);
  state.SetItemsProcessed(state.iterations() * documentCount);
}

void BareDots(benchmark::State& state, std::size_t numbers) {
  Corpus const corpus(numbers);
  for (auto _ : state) {
    for (Representation const* const document : corpus.documents) {
      for (Representation const* const entry : corpus.classes) benchmark::DoNotOptimize(entry->dot(*document));
    }
  }
  state.SetItemsProcessed(state.iterations() * documentCount);
}

BENCHMARK_CAPTURE(Classify, zam, 300)->Name("classify_10000x100/zam")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareDots, bare, 300)->Name("classify_10000x100/bare_dots")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Classify, zam, 0)->Name("classify_empty_dot/zam")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareDots, bare, 0)->Name("classify_empty_dot/bare_dots")->Unit(benchmark::kMillisecond);

}  // namespace
