#include "evaluation.h"

#include "tags.h"

namespace classify {

ZaM::Ref<ZaM::ErrorMatrix> Evaluate(Findings const& findings, double bestThreshold, double distanceThreshold) {
  ZaM::Ref matrix(ZaM::ErrorMatrix::Create(static_cast<unsigned int>(findings.ClassNames().size())));
  ZaM::ErrorMatrixVisitor visitor(matrix.Get(), bestThreshold, distanceThreshold);
  visitor.SetResultTag(ResultTag());
  findings.Tree().Visit(&visitor);
  return matrix;
}

}  // namespace classify
