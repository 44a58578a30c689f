#include "zam/model/node_id.h"

#include <mutex>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/never_destroyed.h"

namespace ZaM {

namespace {

class NumberPool {
 public:
  std::uint32_t Draw() {
    std::lock_guard const lock(mutex);
    if (!returned.empty()) {
      std::uint32_t const number = returned.back();
      returned.pop_back();
      return number;
    }
    if (next == 0) throw LimitExceededException(u"nodes with an id", std::uint64_t{1} << 32U, ~std::uint32_t{0});
    ReserveForReturnOf(next);
    return next++;
  }

  void GiveBack(std::uint32_t number) noexcept {
    std::lock_guard const lock(mutex);
    returned.push_back(number);
  }

 private:
  // Room for every number that is out is made when it is drawn, because giving it back happens in a destructor, where
  // a failed allocation could not be reported.
  void ReserveForReturnOf(std::uint32_t number) {
    if (returned.capacity() < number) ReportOutOfMemory([&] { returned.reserve(2 * std::size_t{number}); });
  }

  std::mutex mutex;
  std::uint32_t next = 1;               // 0 once all have been drawn
  std::vector<std::uint32_t> returned;  // drawn and given back; its capacity is at least next - 1
};

// Never destroyed, since nodes may die while other static objects do.
NumberPool& Pool() {
  static detail::NeverDestroyed<NumberPool> instance;
  return instance.Get();
}

}  // namespace

std::uint32_t NodeId::Draw() {
  return Pool().Draw();
}

void NodeId::GiveBack(std::uint32_t number) noexcept {
  Pool().GiveBack(number);
}

}  // namespace ZaM
