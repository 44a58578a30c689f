// Error matrices and error plots of any tree against totals that are taken from a list of its documents.
//
// The first byte is the class id of the root. Each document below it takes five: how far up its parent is, its class,
// the class that it is assigned to, the confidence, and what kind of result it has, if any.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <numeric>
#include <utility>
#include <vector>

#include "fuzz/byte_source.h"
#include "fuzz/require.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/result_items.h"

namespace {

using namespace ZaM;
using namespace ZaM::test;

constexpr unsigned int classes = 4;  // ids 4 and 5 have no place in the matrix

using Decision = std::pair<unsigned int, unsigned int>;  // the true class, and the assigned one

void CompareMatrix(ErrorMatrix const& matrix, std::vector<Decision> const& documents) {
  auto const count = [&](auto condition) {
    return static_cast<unsigned int>(std::count_if(documents.begin(), documents.end(), [&](Decision const& decision) {
      auto const [t, a] = decision;
      return t < classes && a < classes && condition(t, a);
    }));
  };
  auto const isWrong = [](auto t, auto a) { return t != 0 && a != 0 && a != t; };
  Require(matrix.GetDocCount() == count([](auto t, auto) { return t != 0; }), "documents of a class count");
  Require(matrix.GetCorrect() == count([](auto t, auto a) { return t != 0 && a == t; }), "correct ones");
  Require(matrix.GetRejected() == count([](auto t, auto a) { return t != 0 && a == 0; }), "rejected ones");
  Require(matrix.GetIncorrect() == count(isWrong), "incorrect ones");
  for (unsigned int id = 0; id < classes; ++id) {
    Require(matrix.GetClassCount(id) == count([&](auto t, auto) { return t == id && t != 0; }), "those of a class");
    Require(matrix.GetClassExported(id) == count([&](auto t, auto a) { return isWrong(t, a) && t == id; }), "exported");
    Require(matrix.GetClassImported(id) == count([&](auto t, auto a) { return isWrong(t, a) && a == id; }), "imported");
    for (unsigned int other = 0; other < classes + 2; ++other) {
      Require(matrix.GetResult(id, other) == count([&](auto t, auto a) { return t == id && a == other; }), "cells");
    }
  }
}

/// The documents that a class's plot has in each bin.
struct Bins {
  DocumentNode* carrier;
  std::array<double, 101> good = {}, bad = {};
};

void CompareCurve(std::vector<float> const& curve, std::array<double, 101> const& bins, double count) {
  for (std::size_t i = 0; i < bins.size(); ++i) {
    double const expected = count == 0 ? 0.0 : std::accumulate(bins.begin() + i, bins.end(), 0.0) / count;
    Require(std::abs(curve.at(i) - expected) < 1e-5, "a curve tells how many have at least a confidence");
  }
}

ErrorPlot* PlotOf(DocumentNode& node) {
  return dynamic_cast<ErrorPlot*>(node.GetRepresentation(ErrorPlot::GetDefaultTag()));
}

void ComparePlot(Bins const& bins, unsigned int id) {
  ErrorPlot* const plot = PlotOf(*bins.carrier);
  Require(plot && plot->GetClassId() == id, "the first document of a class without a result carries its plot");
  Require(plot->AddRefCount() == 2 && plot->Release() == 1, "the document alone holds its plot");
  double const count =
      std::accumulate(bins.good.begin(), bins.good.end(), std::accumulate(bins.bad.begin(), bins.bad.end(), 0.0));
  Require(plot->GetCount() == count && plot->IsValid() == (count != 0), "a plot counts its documents");
  CompareCurve(plot->GetGoodHistogram(), bins.good, count);
  CompareCurve(plot->GetBadHistogram(), bins.bad, count);
}

struct {
  float value;
  std::size_t bin;
} const confidences[] = {
    {0.0F, 0},       {-0.0F, 0},   {0.29F, 28},   {0.999F, 99},   {1.0F, 100},     {1.5F, 100},      {-0.005F, 0},
    {-0.02F, 100},   {0x1p30F, 0}, {-0x1p30F, 0}, {0x1p24F, 100}, {0x1p56F, 0},    {0x1p57F, 100},   {-0x1p56F, 0},
    {-0x1p57F, 100}, {1e38F, 100}, {-1e38F, 100}, {0.3F, 30},     {infinite, 100}, {-infinite, 100}, {notANumber, 100}};

/// A tree, and what is to be counted of it.
class Corpus {
 public:
  explicit Corpus(ByteSource bytes) : root(DocumentNode::Create(bytes.Below(6), nullptr)), path{root.Get()} {
    plots[root->GetClassId()].carrier = root.Get();  // without a feature: has a plot, and isn't counted
    while (!bytes.IsEmpty()) AddDocument(bytes);
    root->AddChild(ProbeNode::Create("no document"));
    root->AddChild(nullptr);
  }

  void Compare() {
    Ref const matrix(ErrorMatrix::Create(classes));
    ErrorMatrixVisitor counting(matrix.Get(), -1e300, -1e300);
    root->Visit(&counting);
    CompareMatrix(*matrix, decisions);
    ErrorPlotVisitor plotting;
    root->Visit(&plotting);
    for (auto const& [id, bins] : plots) ComparePlot(bins, id);
    for (DocumentNode* const other : others) Require(!PlotOf(*other), "no other document carries a plot");
  }

 private:
  enum Kind : unsigned int { NoFeature, NoResult, EmptyResult, InvalidResult };  // else a valid one

  void AddDocument(ByteSource& bytes) {
    path.resize(1 + bytes.Below(static_cast<unsigned int>(std::min<std::size_t>(path.size(), 256))));
    unsigned int const id = bytes.Below(6), assigned = bytes.Below(6);
    auto const& [value, bin] = bytes.OneOf(confidences);
    unsigned int const kind = bytes.Below(8);
    DocumentNode* const document = DocumentNode::Create(id, nullptr);
    path.back()->AddChild(document);
    path.push_back(document);
    if (kind == NoResult) document->AddFeature(TaggedNode::Create("Sres"));
    if (kind > NoResult) {
      Items const items = kind == EmptyResult ? Items{} : Items{Item(assigned, value), Item(5, 9)};
      document->AddFeature(ProbeResult::Create(items, kind != InvalidResult));
    }
    bool const carries = kind <= NoResult && !plots.contains(id);
    if (carries) plots[id].carrier = document;
    if (!carries) others.push_back(document);
    if (kind != NoFeature) decisions.emplace_back(id, kind > InvalidResult && value >= -1e38F ? assigned : 0);
    if (kind > InvalidResult && plots.contains(id)) ++(assigned == id ? plots[id].good : plots[id].bad)[bin];
  }

  Ref<DocumentNode> root;
  std::vector<DocumentNode*> path;  // down to the last document
  std::vector<Decision> decisions;
  std::map<unsigned int, Bins> plots;
  std::vector<DocumentNode*> others;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  Corpus(ByteSource(data, size)).Compare();
  return 0;
}
