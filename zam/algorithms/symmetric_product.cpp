#include "zam/algorithms/symmetric_product.h"

#include <algorithm>

namespace ZaM::detail {
namespace {

/// What `count` entries of a row, left of the diagonal, add to the products of the row and of its columns.
void AddRowPart(double const* entries, std::size_t count, double const* x, double* y, double rowX, double& rowY) {
  double sum = 0.0;
  for (std::size_t k = 0; k < count; ++k) {
    sum += entries[k] * x[k];
    y[k] += entries[k] * rowX;
  }
  rowY += sum;
}

}  // namespace

void MultiplySymmetric(std::vector<std::vector<double>> const& lowerTriangle, std::vector<IndexRange> const& members,
                       double const* vectors, double* products, std::size_t vectorCount, std::size_t stride) {
  std::size_t row = 0;
  for (auto const& rows : members) {
    for (auto i = rows.begin; i < rows.end; ++i, ++row) {
      auto const* const entries = lowerTriangle[i].data();
      for (std::size_t p = 0; p < vectorCount; ++p) {
        auto const* const x = vectors + p * stride;
        auto* const y = products + p * stride;
        y[row] = entries[i] * x[row];
        std::size_t column = 0;
        for (auto const& columns : members) {
          if (columns.begin >= i) break;
          auto const count = std::min(columns.end, i) - columns.begin;
          AddRowPart(entries + columns.begin, count, x + column, y + column, x[row], y[row]);
          column += count;
        }
      }
    }
  }
}

double InnerProduct(double const* x, double const* y, std::size_t count) {
  double sum = 0.0;
  for (std::size_t k = 0; k < count; ++k) sum += x[k] * y[k];
  return sum;
}

void SubtractScaled(double* y, double factor, double const* x, std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) y[k] -= factor * x[k];
}

}  // namespace ZaM::detail
