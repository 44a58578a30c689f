#include "zam/results/error_matrix_visitor.h"

#include "zam/model/document_node.h"
#include "zam/results/sparse_result.h"

namespace ZaM {

ErrorMatrixVisitor::ErrorMatrixVisitor(ErrorMatrix* target, double lowestBest, double lowestDistance)
    : bestThreshold(lowestBest),
      distanceThreshold(lowestDistance),
      resultTag(SparseResult::GetDefaultTag()),
      matrix(target) {}

ErrorMatrixVisitor::~ErrorMatrixVisitor() = default;

void ErrorMatrixVisitor::DoVisit(Node* node) {
  DoVisit(dynamic_cast<DocumentNode*>(node));
}

void ErrorMatrixVisitor::DoVisit(DocumentNode* document) {
  if (!document || !matrix) return;
  unsigned int const assigned = AssignedClass(*document);
  if (!document->GetFeature()) return;
  matrix->Increase(document->GetClassId(), assigned);
}

unsigned int ErrorMatrixVisitor::AssignedClass(DocumentNode& document) const {
  auto* const result = dynamic_cast<Result*>(document.GetRepresentation(resultTag));
  if (!result) return 0;
  if (useFinalFlag) return result->GetFinalClassCount() > 0 ? result->GetFinalClassId(0) : 0;
  if (!result->IsValid()) return 0;

  std::vector<IndexedResult> const& items = result->GetBestResults(2);
  if (items.empty()) return 0;
  double const best = items[0].GetValue();
  double const second = items.size() > 1 ? items[1].GetValue() : 0.0;
  // A number that is NaN fails both comparisons, and so rejects.
  bool const accepted = best >= bestThreshold && best - second >= distanceThreshold;
  return accepted ? items[0].GetIndex() : 0;
}

}  // namespace ZaM
