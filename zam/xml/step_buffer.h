// The text that an XML stream has made and its target hasn't taken yet; internal.
#ifndef ZAM_XML_STEP_BUFFER_H
#define ZAM_XML_STEP_BUFFER_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

#include "zam/foundation/create_counted.h"

namespace ZaM::detail {

/// One area of text in two parts: in front what belongs to the target and is handed over in large pieces, after it
/// what is pending, so that it can still be dropped. A step of the stream makes room for all that it appends, appends
/// it, and settles: so nothing is half done where memory runs out.
class StepBuffer {
 public:
  /// What a target takes at once. No larger area is kept than the longest step needs.
  static constexpr std::size_t usualSize = std::size_t{48} * 1024;

  /// Whether `size` bytes can be appended.
  [[nodiscard]] bool HasRoom(std::size_t size) const { return capacity - end >= size; }

  /// Makes room for `size` bytes after what is there. Throws BaseException with id 5.
  void MakeRoom(std::size_t size) {
    std::size_t const needed = std::max(end + size, usualSize);
    auto larger = ReportOutOfMemory([needed] { return std::make_unique_for_overwrite<char[]>(needed); });
    std::copy_n(area.get(), end, larger.get());
    area = std::move(larger);
    capacity = needed;
  }

  /// Where to append. What was written from here up to `newEnd` is pending then. Steps work on this pointer, so that
  /// it stays in a register; see xml_stream_benchmark.
  [[nodiscard]] char* End() { return area.get() + end; }
  void SetEnd(char const* newEnd) { end = static_cast<std::size_t>(newEnd - area.get()); }

  /// All that is pending becomes the target's.
  void Settle() { settled = end; }
  void DropPending() { end = settled; }

  /// What is the target's, until it is dropped.
  [[nodiscard]] std::string_view Settled() const { return {area.get(), settled}; }
  void DropSettled() {
    std::copy(area.get() + settled, area.get() + end, area.get());
    end -= settled;
    settled = 0;
  }

 private:
  std::unique_ptr<char[]> area;
  std::size_t capacity = 0;
  std::size_t settled = 0;
  std::size_t end = 0;
};

}  // namespace ZaM::detail

#endif
