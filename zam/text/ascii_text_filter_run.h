// One filtering of one text, step by step and in blocks.
#ifndef ZAM_TEXT_ASCII_TEXT_FILTER_RUN_H
#define ZAM_TEXT_ASCII_TEXT_FILTER_RUN_H

#include <algorithm>
#include <limits>

#include "zam/text/ascii_text_filter.h"
#include "zam/text/block_kernel.h"
#include "zam/text/symbol_tables.h"
#include "zam/text/word_masks.h"

namespace ZaM {
namespace detail {

/// Keeps no positions.
struct NoPositions {
  static constexpr std::int64_t mostAtOnce = std::numeric_limits<std::int64_t>::max();
  std::int32_t* MakeRoom(std::int64_t) { return nullptr; }
  void Keep(std::size_t) {}
  void Add(std::int64_t) {}
  void AddAfterLast() {}
  void Finish() {}
};

/// Keeps a position for each byte of the stream.
class PositionList {
 public:
  static constexpr std::int64_t mostAtOnce = 2048;  ///< what `MakeRoom` writes stays in the fastest cache

  explicit PositionList(std::vector<std::int32_t>& positions) : list(positions) { list.clear(); }

  /// Where a kernel may write up to `count` entries, and touch a block's more after them. To be followed by `Keep`.
  std::int32_t* MakeRoom(std::int64_t count) {
    kept = list.size();
    list.resize(kept + static_cast<std::size_t>(count) + detail::blockUnits);
    return list.data() + kept;
  }

  /// Keeps the first `count` of the entries that there was room for.
  void Keep(std::size_t count) { list.resize(kept + count); }

  void Add(std::int64_t index) { list.push_back(static_cast<std::int32_t>(index)); }
  void AddAfterLast() { Add(std::int64_t{list.back()} + 1); }

  /// Lets the first entry point at what stands before the first symbol.
  void Finish() {
    if (list.size() > 2 && list[1] > 0) list[0] = list[1] - 1;
  }

 private:
  std::vector<std::int32_t>& list;
  std::size_t kept = 0;
};

}  // namespace detail

/// Filters one text. `FilterWord` with what it calls is the plain form of all rules; `FilterBlocks` does the same
/// faster for what is left to it.
template <class Unit, class Positions>
class AsciiTextFilter::Run {
 public:
  Run(AsciiTextFilter& owner, unsigned char const* table, Unit const* input, unsigned int inputLength, char* output,
      unsigned int outputSize, Positions& indices)
      : filter(owner),
        symbols(table),
        text(input),
        length(inputLength),
        out(output),
        outSize(outputSize),
        positions(indices) {}

  /// Returns the number of bytes written.
  unsigned int Filter() {
    if (outSize == 0) return 0;
    out[written++] = 0;
    positions.Add(0);
    while (GoesOn()) {
      FilterBlocks();
      // Where blocks stop, another attempt has to wait, so that it doesn't cost more than it may save.
      auto const pause = next + detail::blockUnits;
      while (GoesOn() && next < pause) FilterWord();
    }
    if (!closed && out[written - 1] != 0) {
      out[written++] = 0;
      positions.AddAfterLast();
    }
    positions.Finish();
    return static_cast<unsigned int>(written);
  }

 private:
  static constexpr bool wide = sizeof(Unit) > 1;

  bool GoesOn() const { return next < length && !full && (!wide || written < outSize - 2); }

  /// Hands whole blocks to the kernel, as many bytes at once as positions can be buffered for.
  void FilterBlocks() {
    if (!filter.kernel) return;
    detail::Progress done;
    do {
      auto const left = length - next;
      auto const most = std::min((wide ? 4 : 1) * left + 1, Positions::mostAtOnce);  // bytes that come of it
      auto const room = std::clamp<std::int64_t>(wide ? outSize - 2 - written : outSize - written, 0, most);
      done = CallKernel({text + next, static_cast<std::size_t>(left), symbols, filter.pageTable, filter.minWordLen,
                         out + written, static_cast<std::size_t>(room), positions.MakeRoom(room),
                         static_cast<std::uint32_t>(next)});
      positions.Keep(done.written);
      closed = done.closed;
      next += static_cast<std::int64_t>(done.taken);
      written += static_cast<std::int64_t>(done.written);
    } while (done.taken > detail::blockUnits && GoesOn());
  }

  detail::Progress CallKernel(detail::Stretch<Unit> const& stretch) const {
    if constexpr (wide) {
      return filter.kernel->filterWide(stretch);
    } else {
      return filter.kernel->filterNarrow(stretch);
    }
  }

  /// Filters up to the end of the next word.
  void FilterWord() {
    while (next < length && Symbol(next) == detail::Symbols::separator) ++next;
    auto end = next;
    while (end < length && Symbol(end) != detail::Symbols::separator && !IsIdeograph(Symbol(end))) ++end;
    bool const hasIdeograph = end < length && IsIdeograph(Symbol(end));
    if (end - next < filter.minWordLen && !hasIdeograph) {
      next = end;
    } else if constexpr (wide) {
      CopyWideWord();
    } else {
      CopyNarrowWord(end);
    }
  }

  /// Copies the word whole, or nothing of it and ends the work.
  void CopyNarrowWord(std::int64_t end) {
    if (written + (end - next) + 1 > outSize) {
      full = true;
      return;
    }
    auto const afterSeparator = std::min(end + 1, length);
    for (; next < afterSeparator; ++next) Write(Symbol(next));
  }

  /// Copies what fits of a word, through its separator or the first ideograph that ends it.
  void CopyWideWord() {
    for (unsigned char symbol = detail::Symbols::dropped; next < length && symbol != detail::Symbols::separator;
         ++next) {
      symbol = Symbol(next);
      if (IsIdeograph(symbol)) {
        CopyIdeograph();
        symbol = static_cast<unsigned char>(out[written - 1]);  // a 0 if the word is complete
      } else if (symbol != detail::Symbols::dropped && written < outSize - 1) {
        Write(symbol);
      }
    }
  }

  void CopyIdeograph() {
    if (written >= outSize - 5) {
      full = true;
      return;
    }
    auto const count = filter.EncodeCJK(text[next], out + written);
    written += count;
    for (std::int32_t k = 0; k < count; ++k) positions.Add(next);
  }

  unsigned char Symbol(std::int64_t index) const { return symbols[text[index]]; }

  static bool IsIdeograph(unsigned char symbol) { return wide && symbol == detail::Symbols::ideograph; }

  void Write(unsigned char symbol) {
    out[written++] = static_cast<char>(symbol);
    positions.Add(next);
  }

  AsciiTextFilter& filter;
  unsigned char const* symbols;
  Unit const* text;
  std::int64_t length;
  char* out;
  std::int64_t outSize;  // signed and wide, so that the bounds below it may turn negative
  Positions& positions;

  std::int64_t next = 0;     // the index of the unit to be read
  std::int64_t written = 0;  // bytes of `out`
  bool full = false;         // something didn't fit that must not be skipped
  bool closed = false;       // a kernel has filtered up to the end of the text, and the stream ends in a 0
};

}  // namespace ZaM

#endif
