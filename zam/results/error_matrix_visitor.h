// Counts a classified tree of documents into a confusion matrix.
#ifndef ZAM_RESULTS_ERROR_MATRIX_VISITOR_H
#define ZAM_RESULTS_ERROR_MATRIX_VISITOR_H

#include "zam/foundation/export.h"
#include "zam/model/representation.h"
#include "zam/model/visitor.h"
#include "zam/results/error_matrix.h"

namespace ZaM {

class DocumentNode;

/// Decides for each document which class its result assigns to it, and counts that against the document's class id.
///
///     Ref<ErrorMatrix> matrix(ErrorMatrix::Create(classCount));
///     ErrorMatrixVisitor visitor(matrix.Get(), 0.5, 0.1);
///     visitor.SetResultTag(control.GetResultTag());
///     documents->Visit(&visitor);
///
/// A document without a `Result` under the result tag counts as rejected, a node with an empty feature slot not at
/// all. What the result assigns:
/// - By default its best class, if that has at least `bestThreshold` and is ahead of the second by at least
///   `distanceThreshold` (the second counts as 0.0 if there is none). Otherwise, also where one of these numbers isn't
///   a number or the result isn't valid, the document is rejected. Values are floats, widened: 0.7F is below 0.7.
/// - With the final flag the first of its final classes, without a threshold; rejected if there is none.
///
/// Owning:   the matrix belongs to the caller and has to outlive the visitor's work; without one nothing is counted.
/// Threads:  one thread at a time, together with the tree and the matrix.
/// Errors:   what the results and the matrix throw passes through.
class ZAM_EXPORT ErrorMatrixVisitor : public Visitor {
 public:
  /// Looks for results under the tag of `SparseResult`; the final flag is off.
  ErrorMatrixVisitor(ErrorMatrix* target, double lowestBest, double lowestDistance);
  ErrorMatrixVisitor(ErrorMatrixVisitor const&) = default;
  ErrorMatrixVisitor& operator=(ErrorMatrixVisitor const&) = default;
  ~ErrorMatrixVisitor() override;

  /// Counts `node` if it is a DocumentNode.
  void DoVisit(Node* node) override;
  void DoVisit(DocumentNode* document);

  /// Under which tag a document holds its result.
  void SetResultTag(RepTag const& tag) { resultTag = tag; }
  RepTag const& GetResultTag() const { return resultTag; }

  /// Whether final classes decide instead of the thresholds.
  void SetUseFinalFlag(bool use) { useFinalFlag = use; }
  bool GetUseFinalFlag() const { return useFinalFlag; }

 private:
  unsigned int AssignedClass(DocumentNode& document) const;

  double bestThreshold;
  double distanceThreshold;
  RepTag resultTag;
  ErrorMatrix* matrix;  // not owned
  bool useFinalFlag = false;
};

}  // namespace ZaM

#endif
