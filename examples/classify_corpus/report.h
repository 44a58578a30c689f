// What a run found out, for a person at a terminal.
#ifndef CLASSIFY_CORPUS_REPORT_H
#define CLASSIFY_CORPUS_REPORT_H

#include <zam/zam.h>

#include <cstddef>
#include <string>
#include <vector>

#include "stage_clock.h"

namespace classify {

/// The precision, recall and F1 of each class, by its documents: "12.5 %", or "-" where nothing can be divided.
std::string ClassTable(ZaM::ErrorMatrix const& matrix, std::vector<std::string> const& classNames);

/// The cells of the matrix, a row for each true and a column for each assigned class, the last one for rejected
/// documents. Cells without a document hold a dot. Lines of more than `width` characters are avoided by as many blocks
/// of columns as it takes; 0 means any width. Above `maxMatrixClasses` classes a remark stands in its place.
std::string MatrixTable(ZaM::ErrorMatrix const& matrix, std::vector<std::string> const& classNames, std::size_t width);
inline constexpr std::size_t maxMatrixClasses = 100;

/// The cells off the diagonal with most documents, the greatest first, at most ten.
std::string WorstConfusions(ZaM::ErrorMatrix const& matrix, std::vector<std::string> const& classNames);

/// Accuracy, rejected share, the share of right ones among the accepted, and macro F1. The last one is the mean over
/// the classes that have tested documents or were assigned to one; a rejected document counts as missed by its class.
std::string Summary(ZaM::ErrorMatrix const& matrix, std::size_t classes);

/// Documents per second of each stage that there was.
std::string SpeedTable(StageClocks const& clocks);

}  // namespace classify

#endif
