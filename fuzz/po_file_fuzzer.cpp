// Translation files from anywhere: they are taken or refused, and what was taken survives being written again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "translations/po_file.h"

using namespace ZaM::translations;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  try {
    for (PoEntry const& entry : ParsePo({reinterpret_cast<char const*>(data), size})) {
      auto const again = ParsePo("msgctxt \"1\"\nmsgid \"" + EscapePo(entry.source) + "\"\nmsgstr \"" +
                                 EscapePo(entry.translation) + "\"\n");
      if (again.size() != 1 || again[0].source != entry.source || again[0].translation != entry.translation) {
        std::abort();
      }
    }
  } catch (PoError const&) {
    // Refused, which is fine.
  }
  return 0;
}
