#include "zam/algorithms/centred_product.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "zam/foundation/create_counted.h"

namespace ZaM::detail {

CentredProduct::CentredProduct(CentredGram const& matrix, std::vector<std::int8_t> const& activity) : gram(matrix) {
  for (std::size_t i = 0; i < activity.size(); ++i) {
    if (activity[i] > 0) order.push_back(i);
  }
  std::sort(order.begin(), order.end(),
            [&](auto a, auto b) { return std::pair(activity[a], a) < std::pair(activity[b], b); });

  std::int8_t former = 0;
  for (std::size_t const example : order) {
    AddMember(example, activity[example], former);
    rowSums.push_back(gram.rowSums[example]);
  }
}

void CentredProduct::AddMember(std::size_t example, std::int8_t activity, std::int8_t& former) {
  if (activity != former) {
    std::size_t const first = groups.empty() ? 0 : groups.back().first + groups.back().size;
    groups.push_back({.first = first, .size = 0, .members = {}});
    former = activity;
  }
  Group& group = groups.back();
  if (group.members.empty() || group.members.back().end != example) group.members.push_back({example, example});
  ++group.members.back().end;
  ++group.size;
}

void CentredProduct::Multiply(double const* vectors, std::size_t count, double* images) const {
  for (Group const& group : groups) {
    ReportOutOfMemory([&] {
      MultiplySymmetric(gram.lowerTriangle, group.members, vectors + group.first, images + group.first, count,
                        Length());
    });
    Centre(group, vectors, count, images);
  }
}

void CentredProduct::MultiplyPair(double const* vectors, double* images) const {
  for (Group const& group : groups) {
    ReportOutOfMemory([&] {
      double const* const from = vectors + group.first;
      double* const to = images + group.first;
      if (group.members.size() == 1)
        MultiplySymmetricPair(gram.lowerTriangle, group.members[0], from, to, Length());
      else
        MultiplySymmetric(gram.lowerTriangle, group.members, from, to, 2, Length());
    });
    Centre(group, vectors, 2, images);
  }
}

// The centring of the matrix is of rank two, so it needn't be done entry by entry: with s the sum of the vector and q
// its inner product with the row sums, row j of the image loses ((r[j] - T/n) · s + q) / n.
void CentredProduct::Centre(Group const& group, double const* vectors, std::size_t count, double* images) const {
  double const inverse = 1.0 / gram.exampleCount;
  double const* const sums = rowSums.data() + group.first;
  for (std::size_t i = 0; i < count; ++i) {
    double const* const vector = vectors + i * Length() + group.first;
    double const vectorSum = std::accumulate(vector, vector + group.size, 0.0);
    double const weightedSum = InnerProduct(vector, sums, group.size);
    double* const row = images + i * Length() + group.first;
    for (std::size_t j = 0; j < group.size; ++j) {
      row[j] = inverse * (row[j] - inverse * ((sums[j] - inverse * gram.total) * vectorSum + weightedSum));
    }
  }
}

void CentredProduct::Gather(std::vector<double> const& row, double* vector) const {
  for (std::size_t k = 0; k < order.size(); ++k) vector[k] = order[k] < row.size() ? row[order[k]] : 0.0;
}

void CentredProduct::Scatter(double const* vector, std::vector<double>& row) const {
  for (std::size_t k = 0; k < order.size(); ++k) row[order[k]] = vector ? vector[k] : 0.0;
}

}  // namespace ZaM::detail
