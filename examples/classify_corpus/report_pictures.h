// The pictures of the report page.
#ifndef CLASSIFY_CORPUS_REPORT_PICTURES_H
#define CLASSIFY_CORPUS_REPORT_PICTURES_H

#include <zam/zam.h>

#include <string>
#include <vector>

#include "confidence_curves.h"

namespace classify {

// All of them are SVG, and throw as `DrawPicture` does.

/// The cells of the matrix, a row for each class and a column for what its documents were taken for, the last one for
/// rejected documents. The colour of a cell is its share of the row, its number stands in it.
std::string DrawMatrix(ZaM::ErrorMatrix const& matrix, std::vector<std::string> const& classNames);

/// The shares of right and of wrong documents over the confidence that is asked for.
std::string DrawCurve(std::string const& title, ConfidenceCurve const& curve);

/// The share of wrong documents among the accepted ones, over that of the rejected ones, for both kinds of thresholds.
std::string DrawRejection(std::vector<RejectionPoint> const& best, std::vector<RejectionPoint> const& distance);

}  // namespace classify

#endif
