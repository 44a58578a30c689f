// How many documents of each class were taken for which.
#ifndef CLASSIFY_CORPUS_EVALUATION_H
#define CLASSIFY_CORPUS_EVALUATION_H

#include <zam/zam.h>

#include "findings.h"

namespace classify {

/// Sends the library's visitor through the findings: documents whose best class has a confidence below `bestThreshold`,
/// or is ahead of the second by less than `distanceThreshold`, are rejected.
ZaM::Ref<ZaM::ErrorMatrix> Evaluate(Findings const& findings, double bestThreshold, double distanceThreshold);

}  // namespace classify

#endif
