// The product of a centred Gram matrix with some vectors; internal.
//
// A Gram matrix holds the products of all pairs of examples. Centring makes it what it would be if the mean of the
// examples were taken off each of them, without touching the examples: its row sums are enough. For the two examples 0
// and 2 it holds 0, 0 and 4, with the row sums 0 and 4 and the total 4; the centred matrix, divided by 2, holds 1/2,
// -1/2 and 1/2, as the examples -1 and 1 would give.
#ifndef ZAM_ALGORITHMS_CENTRED_PRODUCT_H
#define ZAM_ALGORITHMS_CENTRED_PRODUCT_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zam/algorithms/symmetric_product.h"

namespace ZaM::detail {

/// A Gram matrix with the sums that centre it: the entry (j, k) of the centred matrix, divided by n, is
/// (G[j][k] - (r[j] + r[k] - T/n) / n) / n.
struct CentredGram {
  std::vector<std::vector<double>> const& lowerTriangle;  // row i with i + 1 entries, for each active example
  std::vector<double> const& rowSums;                     // r
  double total;                                           // T
  double exampleCount;                                    // n
};

/// Only active examples take part, those with an activity above 0. They couple with examples of the same activity
/// alone, so that the matrix falls into one block per activity. The vectors are held without gaps, the examples sorted
/// by activity.
class CentredProduct {
 public:
  /// `activity` has an entry for each example; the matrix and its sums must outlive this object. Throws std::bad_alloc.
  CentredProduct(CentredGram const& matrix, std::vector<std::int8_t> const& activity);

  /// The length of a vector: the number of active examples.
  [[nodiscard]] std::size_t Length() const { return order.size(); }

  /// Multiplies `count` vectors, row by row. Throws BaseException with id 5 when memory runs out.
  void Multiply(double const* vectors, std::size_t count, double* images) const;

  /// The same for two vectors, faster while a cache holds the matrix; rounding differs.
  void MultiplyPair(double const* vectors, double* images) const;

  /// Takes the entries of `row` at the active examples. A row that ends early counts as zero from there on.
  void Gather(std::vector<double> const& row, double* vector) const;

  /// The way back to `row`, which reaches all active examples. A null vector stands for zeros.
  void Scatter(double const* vector, std::vector<double>& row) const;

 private:
  struct Group {
    std::size_t first;                // where its examples begin in a vector
    std::size_t size;                 // how many they are
    std::vector<IndexRange> members;  // the examples
  };

  void AddMember(std::size_t example, std::int8_t activity, std::int8_t& former);
  void Centre(Group const& group, double const* vectors, std::size_t count, double* images) const;

  CentredGram gram;
  std::vector<std::size_t> order;  // the example at each place of a vector
  std::vector<Group> groups;
  std::vector<double> rowSums;  // of the examples in `order`
};

}  // namespace ZaM::detail

#endif
