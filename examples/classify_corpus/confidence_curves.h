// How far a confidence can be trusted.
#ifndef CLASSIFY_CORPUS_CONFIDENCE_CURVES_H
#define CLASSIFY_CORPUS_CONFIDENCE_CURVES_H

#include <zam/zam.h>

#include <vector>

#include "findings.h"

namespace classify {

/// The two curves of an error plot: of the documents of a class, or of all.
class ConfidenceCurve {
 public:
  /// `documents` are those of the class, which may be more than the plot has counted: those without a class among
  /// their results are in no bin.
  ConfidenceCurve(ZaM::ErrorPlot const& plot, std::size_t documents);

  /// By hundredths from 0 to 100, the share of all documents that have at least this confidence and are right.
  std::vector<double> const& Right() const { return right; }
  /// As `Right`, of those that are wrong.
  std::vector<double> const& Wrong() const { return wrong; }

 private:
  std::vector<double> right;
  std::vector<double> wrong;
};

/// The curve of each class, by class id; that of all classes together stands at 0.
std::vector<ConfidenceCurve> CurvesOf(Findings const& findings);

/// What is left of the documents, and how good it is, when the less certain ones are rejected.
struct RejectionPoint {
  double threshold;
  double rejected;  // share of all documents
  double wrong;     // share of the accepted documents; 0 if there are none
};

enum class ThresholdKind { Best, Distance };

/// The outcome for each threshold of one kind from 0 to 1 in hundredths, the other one being 0.
std::vector<RejectionPoint> RejectionCurve(Findings const& findings, ThresholdKind kind);

}  // namespace classify

#endif
