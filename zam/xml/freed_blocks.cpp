#include "zam/xml/freed_blocks.h"

#include <cstdlib>

namespace ZaM::detail {

namespace {

constexpr unsigned int interval = 2;

/// The least that is large for the GNU C library is 1,024 bytes.
constexpr std::size_t largeSize = 2048;

thread_local constinit unsigned int freedNodes = 0;

}  // namespace

void JoinFreedBlocks() {
  if (++freedNodes % interval != 0) return;
  void* const volatile block = std::malloc(largeSize);  // volatile, or compilers leave both calls out
  std::free(block);
}

}  // namespace ZaM::detail
