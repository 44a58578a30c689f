// A cast for walks that meet nodes of the same few classes over and over; internal.
#ifndef ZAM_MODEL_CACHED_CAST_H
#define ZAM_MODEL_CACHED_CAST_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <typeinfo>

#include "zam/model/node.h"

namespace ZaM::detail {

/// `dynamic_cast<Target*>`, which remembers where in the objects of a class the target lies.
///
/// The cast itself compares the names of all bases, which is most of what a classification costs beside its scores
/// (classification_benchmark). Where the target lies depends on the class of the whole object and on the place of the
/// node in it alone: a class may have two nodes among its bases.
///
/// Owning: lives no longer than a walk, since the number of a class means nothing once its code was unloaded.
template <class Target>
class CachedCast {
 public:
  Target* operator()(Node* node) {
    if (!node) return nullptr;
    auto* const whole = static_cast<char*>(dynamic_cast<void*>(node));
    std::ptrdiff_t const place = reinterpret_cast<char*>(node) - whole;
    std::type_info const* const type = &typeid(*node);
    Entry& known = cache[reinterpret_cast<std::uintptr_t>(type) / alignof(std::type_info) % cache.size()];
    if (known.type == type && known.place == place) {
      return known.isTarget ? reinterpret_cast<Target*>(whole + known.targetPlace) : nullptr;
    }
    auto* const target = dynamic_cast<Target*>(node);
    known = {type, place, target != nullptr, target ? reinterpret_cast<char*>(target) - whole : 0};
    return target;
  }

 private:
  struct Entry {
    std::type_info const* type = nullptr;
    std::ptrdiff_t place = 0;  // of the node within the whole object
    bool isTarget = false;
    std::ptrdiff_t targetPlace = 0;
  };

  std::array<Entry, 8> cache;
};

}  // namespace ZaM::detail

#endif
