#include "zam/model/bulk_dot.h"

namespace ZaM {

BulkDot::~BulkDot() = default;

void DotAll(Representation const& left, Representation const* const* others, std::size_t count, double* products) {
  if (auto const* const bulk = dynamic_cast<BulkDot const*>(&left)) return bulk->DotAll(others, count, products);
  for (std::size_t i = 0; i < count; ++i) products[i] = others[i] ? left.dot(*others[i]) : 0.0;
}

}  // namespace ZaM
