// How many documents of each class were taken for which.
#ifndef CLASSIFY_CORPUS_EVALUATION_H
#define CLASSIFY_CORPUS_EVALUATION_H

#include <zam/zam.h>

#include "findings.h"
#include "options.h"

namespace classify {

/// Sends the library's visitor through the findings, with the thresholds of `options`.
ZaM::Ref<ZaM::ErrorMatrix> Evaluate(Findings const& findings, Options const& options);

}  // namespace classify

#endif
