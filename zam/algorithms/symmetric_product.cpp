#include "zam/algorithms/symmetric_product.h"

#include <algorithm>
#include <memory>

#include "zam/algorithms/symmetric_kernel.h"

namespace ZaM::detail {
namespace {

// The columns of a tile, for one group of vectors and their products, stay in the first cache; the entries of a tile
// stay in the second one, where they wait for one group after the other (benchmarks/pca_benchmark).
constexpr std::size_t tileColumns = 256;
constexpr std::size_t tileRows = 64;

// The triangle of so many members stays in the second cache from one product to the next.
constexpr std::size_t fewMembers = 512;

struct alignas(64) CacheLine {
  static constexpr std::size_t size = 8;
  double numbers[size];
};

/// The vectors and their products, in groups whose numbers lie side by side.
class Groups {
 public:
  Groups(SymmetricKernel const& kernel, std::size_t vectorCount, std::size_t memberCount) : loops(kernel.group) {
    std::size_t lineCount = 0;
    for (std::size_t first = 0; first < vectorCount; first += loops.width) {
      groups.push_back({first, std::min(vectorCount - first, loops.width), lineCount});
      lineCount += (memberCount * loops.width + CacheLine::size - 1) / CacheLine::size;
    }
    vectorLines = std::make_unique_for_overwrite<CacheLine[]>(lineCount);
    productLines = std::make_unique<CacheLine[]>(lineCount);
  }

  void Load(double const* vectors, std::size_t stride, std::size_t count) {
    for (auto const& group : groups)
      loops.interleave(vectors + group.first * stride, group.size, stride, count, At(vectorLines, group, 0));
  }

  void Store(double* products, std::size_t stride, std::size_t count) const {
    for (auto const& group : groups)
      loops.separate(At(productLines, group, 0), group.size, stride, count, products + group.first * stride);
  }

  /// The first group meets the tile in memory, the others in a cache.
  void AddTile(SymmetricTile tile, std::size_t firstRow, std::size_t firstColumn) {
    for (auto const& group : groups) {
      loops.addTile(tile, Part(group, firstRow), Part(group, firstColumn));
      tile.fetchAhead = false;
    }
  }

 private:
  struct Group {
    std::size_t first;  // of its vectors
    std::size_t size;   // how many they are
    std::size_t firstLine;
  };
  using Lines = std::unique_ptr<CacheLine[]>;

  double* At(Lines const& lines, Group const& group, std::size_t member) const {
    return lines[group.firstLine].numbers + member * loops.width;
  }

  GroupPart Part(Group const& group, std::size_t member) const {
    return {At(vectorLines, group, member), At(productLines, group, member)};
  }

  GroupLoops const& loops;
  std::vector<Group> groups;
  Lines vectorLines;
  Lines productLines;
};

/// The members' part of the triangle, tile by tile. Rows and columns count members.
class Tiles {
 public:
  Tiles(std::vector<std::vector<double>> const& lowerTriangle, std::vector<IndexRange> const& members)
      : triangle(lowerTriangle) {
    for (auto const& range : members)
      for (auto i = range.begin; i < range.end; ++i) indices.push_back(i);
    rows.resize(indices.size() + rowsAhead);
    if (members.size() > 1) gathered.resize(tileColumns * std::min(tileColumns, indices.size()));
  }

  std::size_t MemberCount() const { return indices.size(); }

  void AddAllTo(Groups& groups) {
    for (std::size_t column = 0; column < indices.size(); column += tileColumns) {
      auto const columnEnd = std::min(column + tileColumns, indices.size());
      bool const inPlace = indices[columnEnd - 1] - indices[column] == columnEnd - 1 - column;
      if (inPlace) FindRows(column);
      for (auto row = column; row < indices.size();) {
        auto const rowEnd = row == column ? columnEnd : std::min(row + tileRows, indices.size());
        if (!inPlace) GatherRows(row, rowEnd, column, columnEnd);
        groups.AddTile({.rows = rows.data() + row,
                        .rowCount = rowEnd - row,
                        .columnCount = columnEnd - column,
                        .onDiagonal = row == column,
                        .fetchAhead = inPlace && indices.size() > fewMembers},
                       row, column);
        row = rowEnd;
      }
    }
  }

 private:
  void FindRows(std::size_t column) {
    for (auto row = column; row < indices.size(); ++row) rows[row] = triangle[indices[row]].data() + indices[column];
    std::fill(rows.end() - rowsAhead, rows.end(), rows[indices.size() - 1]);
  }

  /// Moves entries together that don't lie side by side, since members are missing between them.
  void GatherRows(std::size_t row, std::size_t rowEnd, std::size_t column, std::size_t columnEnd) {
    auto* to = gathered.data();
    for (; row < rowEnd; ++row, to += tileColumns) {
      rows[row] = to;
      auto const& from = triangle[indices[row]];
      auto const end = std::min(columnEnd, row + 1);
      for (auto k = column; k < end; ++k) to[k - column] = from[indices[k]];
    }
  }

  std::vector<std::vector<double>> const& triangle;
  std::vector<std::size_t> indices;  // of each member
  std::vector<double const*> rows;   // for each row, where its entries in the columns at hand begin
  std::vector<double> gathered;
};

}  // namespace

void MultiplySymmetric(std::vector<std::vector<double>> const& lowerTriangle, std::vector<IndexRange> const& members,
                       double const* vectors, double* products, std::size_t vectorCount, std::size_t stride,
                       SymmetricKernel const& kernel) {
  Tiles tiles(lowerTriangle, members);
  if (tiles.MemberCount() == 0) return;
  Groups groups(kernel, vectorCount, tiles.MemberCount());
  groups.Load(vectors, stride, tiles.MemberCount());
  tiles.AddAllTo(groups);
  groups.Store(products, stride, tiles.MemberCount());
}

void MultiplySymmetricPair(std::vector<std::vector<double>> const& lowerTriangle, IndexRange members,
                           double const* vectors, double* products, std::size_t stride, SymmetricKernel const& kernel) {
  std::vector<double const*> rows;
  rows.reserve(members.end - members.begin);
  for (auto i = members.begin; i < members.end; ++i) rows.push_back(lowerTriangle[i].data() + members.begin);
  kernel.multiplyPair(rows.data(), rows.size(), vectors, products, stride);
}

double InnerProduct(double const* x, double const* y, std::size_t count) {
  return BestSymmetricKernel().innerProduct(x, y, count);
}

void SubtractScaled(double* y, double factor, double const* x, std::size_t count) {
  BestSymmetricKernel().subtractScaled(y, factor, x, count);
}

void AddInnerProducts(RowBlock rows, RowBlock vectors, std::size_t count, double* products, std::size_t stride) {
  BestSymmetricKernel().addInnerProducts(rows, vectors, count, products, stride);
}

void SubtractScaledRows(MutableRows vectors, double const* factors, std::size_t stride, RowBlock rows,
                        std::size_t count) {
  BestSymmetricKernel().subtractScaledRows(vectors, factors, stride, rows, count);
}

void RotateRows(double* rows, std::size_t width, std::vector<PlaneRotation> const& rotations) {
  BestSymmetricKernel().rotateRows(rows, width, rotations.data(), rotations.size());
}

}  // namespace ZaM::detail
