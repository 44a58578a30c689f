#include "zam/model/vector_iterator.h"

#include <new>

namespace ZaM {

VectorIterator* VectorIterator::Create(std::vector<Node*>& nodes) {
  return new (std::nothrow) VectorIterator(nodes);
}

}  // namespace ZaM
