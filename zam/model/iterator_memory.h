// Tells a walk that there is no memory for from one that isn't wanted; internal.
#ifndef ZAM_MODEL_ITERATOR_MEMORY_H
#define ZAM_MODEL_ITERATOR_MEMORY_H

namespace ZaM::detail {

/// `CreateIterator` can't say why it gives null. The library's own iterators set this where there was no memory for
/// them, and CreateWalk looks at it.
extern thread_local constinit bool iteratorLacksMemory;

/// What `iterator`, a `new (std::nothrow)`, has given.
template <class Iterator>
Iterator* Noted(Iterator* iterator) {
  iteratorLacksMemory = !iterator;
  return iterator;
}

}  // namespace ZaM::detail

#endif
