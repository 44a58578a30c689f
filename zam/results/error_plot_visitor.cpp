#include "zam/results/error_plot_visitor.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/ref.h"
#include "zam/model/document_node.h"
#include "zam/results/sparse_result.h"

namespace ZaM {

namespace {

constexpr unsigned int lastBin = ErrorPlot::binCount - 1;

unsigned int BinOf(float confidence) {
  double const hundredths = confidence * 100.0;
  // NaN fails both comparisons, and so never comes to the conversion, which would be undefined.
  bool const fits = hundredths >= -0x1p63 && hundredths < 0x1p63;
  if (!fits) return lastBin;
  return std::min(static_cast<std::uint32_t>(static_cast<std::int64_t>(hundredths)), lastBin);
}

}  // namespace

ErrorPlotVisitor::ErrorPlotVisitor() : resultTag(SparseResult::GetDefaultTag()) {}

ErrorPlotVisitor::~ErrorPlotVisitor() = default;

void ErrorPlotVisitor::DoVisit(Node* node) {
  DoVisit(dynamic_cast<DocumentNode*>(node));
}

void ErrorPlotVisitor::DoVisit(DocumentNode* document) {
  if (!document) return;
  auto* const result = dynamic_cast<Result*>(document->GetRepresentation(resultTag));
  if (!result) {
    AttachPlot(*document);
    return;
  }
  if (!result->IsValid()) return;
  std::vector<IndexedResult> const& items = result->GetBestResults(1);
  auto const plot = plots.find(document->GetClassId());
  if (plot == plots.end() || items.empty()) return;
  unsigned int const bin = BinOf(items[0].GetValue());
  if (items[0].GetIndex() == document->GetClassId()) {
    plot->second->IncrGood(bin);
  } else {
    plot->second->IncrBad(bin);
  }
}

void ErrorPlotVisitor::AttachPlot(DocumentNode& carrier) {
  unsigned int const id = carrier.GetClassId();
  if (plots.contains(id)) return;
  Ref plot(ErrorPlot::Create(id));
  ReportOutOfMemory([&] { plots.emplace(id, plot.Get()); });  // before the chain, which can't fail
  carrier.AddFeature(plot.Detach());
}

}  // namespace ZaM
