// What a result says of a document.
#ifndef CLASSIFY_CORPUS_DECISION_H
#define CLASSIFY_CORPUS_DECISION_H

#include <zam/zam.h>

#include <vector>

#include "options.h"

namespace classify {

/// The two best classes, and whether the best one is sure enough: as the library's `ErrorMatrixVisitor` decides it. A
/// class that isn't there has the id 0 and the confidence 0.
struct Decision {
  Decision(ZaM::SparseResult& result, Options const& options) {
    std::vector<ZaM::IndexedResult> const& best = result.GetBestResults(0);
    if (!best.empty()) classId = best[0].GetIndex(), confidence = best[0].GetValue();
    if (best.size() > 1) secondId = best[1].GetIndex(), secondConfidence = best[1].GetValue();
    isRejected = best.empty() || !(double{confidence} >= options.bestThreshold) ||
                 !(double{confidence} - double{secondConfidence} >= options.distanceThreshold);
  }

  unsigned int classId = 0;
  float confidence = 0;
  unsigned int secondId = 0;
  float secondConfidence = 0;
  bool isRejected;
};

}  // namespace classify

#endif
