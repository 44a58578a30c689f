// Filtering whole blocks of text at once: the interface of the loops that do it.
#ifndef ZAM_TEXT_BLOCK_KERNEL_H
#define ZAM_TEXT_BLOCK_KERNEL_H

#include <cstddef>
#include <cstdint>

#include "zam/text/ascii_text_filter.h"

namespace ZaM::detail {

/// A stretch of text, how to filter it, and where to. It starts where a word may start, and the stream ends in a 0.
template <class Unit>
struct Stretch {
  Unit const* text;
  std::size_t length;
  unsigned char const* symbols;  ///< one for each value of a unit
  unsigned char const* pages;    ///< what FillPageTable says of them; single bytes have none
  unsigned int minWordLen;
  char* out;
  std::size_t room;          ///< bytes that may be written to `out`
  std::int32_t* positions;   ///< null if none are wanted; else there is room for `room` + 64
  std::uint32_t firstIndex;  ///< the position of `text[0]`
};

/// How much of a stretch was filtered, and what came of it.
struct Progress {
  std::size_t taken = 0;
  std::size_t written = 0;
  bool closed = false;  ///< the text was filtered to its end, and the stream ends in a 0
};

/// A way to filter blocks. It takes whole words only, as many as it can, and stops where a block isn't worth the
/// effort: at the end of the room, in a word as long as a block, before the last few units of the text. It writes
/// exactly what `Progress::written` says.
struct BlockKernel {
  char const* name;
  Progress (*filterNarrow)(Stretch<unsigned char> const&);
  Progress (*filterWide)(Stretch<char16_t> const&);
};

/// The kernel for any machine.
extern BlockKernel const portableKernel;

/// The kernels for processors with AVX-512 VBMI2 and with AVX2, null if this one isn't.
BlockKernel const* Vector512Kernel();
BlockKernel const* Vector256Kernel();

/// The best kernel that this machine has.
BlockKernel const* BestKernel();

/// Makes a filter work with another kernel, or step by step without one: for tests and benchmarks.
struct TextFilterAccess {
  static void SetKernel(AsciiTextFilter& filter, BlockKernel const* kernel) { filter.kernel = kernel; }
};

}  // namespace ZaM::detail

#endif
