#include "evaluation.h"

#include "tags.h"

namespace classify {

namespace {

ZaM::Ref<ZaM::ErrorMatrix> EvaluateBelow(ZaM::DocumentNode& node, std::size_t classIds, double bestThreshold,
                                         double distanceThreshold) {
  ZaM::Ref matrix(ZaM::ErrorMatrix::Create(static_cast<unsigned int>(classIds)));
  ZaM::ErrorMatrixVisitor visitor(matrix.Get(), bestThreshold, distanceThreshold);
  visitor.SetResultTag(ResultTag());
  node.Visit(&visitor);
  return matrix;
}

}  // namespace

ZaM::Ref<ZaM::ErrorMatrix> Evaluate(Findings const& findings, double bestThreshold, double distanceThreshold) {
  return EvaluateBelow(findings.Tree(), findings.ClassNames().size(), bestThreshold, distanceThreshold);
}

std::vector<TestedDocument const*> MisplacedDocuments(Findings const& findings, Confusion const& confusion,
                                                      double bestThreshold, double distanceThreshold,
                                                      std::size_t limit) {
  std::vector<TestedDocument const*> misplaced;
  for (TestedDocument const& document : findings.Tested()) {
    if (misplaced.size() == limit) break;
    if (document.classId != confusion.trueClass) continue;
    auto const matrix = EvaluateBelow(*document.node, findings.ClassNames().size(), bestThreshold, distanceThreshold);
    if (matrix->GetResult(confusion.trueClass, confusion.assignedClass) > 0) misplaced.push_back(&document);
  }
  return misplaced;
}

}  // namespace classify
