#include "report/matrix.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "report/html.h"
#include "report/text.h"

namespace report {

namespace {

std::string Cell(Matrix const& matrix, std::size_t row, std::size_t column, double documents) {
  unsigned int const count = matrix.counts[row][column];
  if (count == 0) return "<td></td>";
  // The root of the share: few documents in the wrong place are what a reader looks for.
  std::string const depth = Fixed(std::sqrt(count / documents), 2);
  return std::string("<td class=\"") + (row == column ? "right" : "wrong") + "\" style=\"--depth:" + depth +
         "\" title=\"" + Escaped(matrix.rows[row] + " \u2192 " + matrix.columns[column]) + "\">" + Grouped(count) +
         "</td>";
}

}  // namespace

std::string Draw(Matrix const& matrix) {
  std::string table =
      "<table class=\"matrix\">\n<caption>" + Escaped(matrix.caption) + "</caption>\n<thead><tr><td></td>";
  for (std::string const& name : matrix.columns) table += "<th scope=\"col\"><span>" + Escaped(name) + "</span></th>";
  table += "</tr></thead>\n<tbody>\n";
  for (std::size_t row = 0; row < matrix.rows.size(); ++row) {
    auto const& counts = matrix.counts[row];
    double const documents = std::max(std::accumulate(counts.begin(), counts.end(), 0.0), 1.0);
    table += "<tr><th scope=\"row\">" + Escaped(matrix.rows[row]) + "</th>";
    for (std::size_t column = 0; column < matrix.columns.size(); ++column)
      table += Cell(matrix, row, column, documents);
    table += "</tr>\n";
  }
  return table + "</tbody>\n</table>\n";
}

}  // namespace report
