#include "zam/model/vector_iterator.h"

#include <new>

#include "zam/model/iterator_memory.h"

namespace ZaM {

VectorIterator* VectorIterator::Create(std::vector<Node*>& nodes) {
  return detail::Noted(new (std::nothrow) VectorIterator(nodes));
}

}  // namespace ZaM
