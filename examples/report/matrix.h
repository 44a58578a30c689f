// A table of counts whose cells are coloured.
#ifndef REPORT_MATRIX_H
#define REPORT_MATRIX_H

#include <string>
#include <vector>

namespace report {

/// A row for each class, and a column for each class that its members were put into; further columns may follow.
struct Matrix {
  std::string caption;
  std::vector<std::string> rows;
  std::vector<std::string> columns;  // those of the classes first, in the order of the rows
  std::vector<std::vector<unsigned int>> counts;
};

/// A table in which a cell is the darker, the more of its row it holds; where a class meets itself it has another
/// colour.
std::string Draw(Matrix const& matrix);

}  // namespace report

#endif
