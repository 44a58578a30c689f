// Results as XML elements; internal. One element per result, with a child per entry:
//
//   <Res ClsCount="3"><ClsItem conf="0.912346" restype="1" ClassId="7"></ClsItem>…</Res>
#ifndef ZAM_RESULTS_RESULT_XML_H
#define ZAM_RESULTS_RESULT_XML_H

#include <optional>
#include <string>

#include "zam/results/result.h"

namespace ZaM {

class ZamXmlOutStream;

namespace detail {

/// Writes `result` as an element called `name`. What the stream throws passes through.
void WriteResult(Result& result, std::string const& name, ZamXmlOutStream& stream);

/// The count that the attributes of a result's element give; 0 without one. `attributes` may be null.
[[nodiscard]] unsigned int ReadCount(unsigned char const* const* attributes);

/// Sets what the attributes of an entry's element give, in any order, and leaves the others. `attributes` may be null.
void ReadEntry(unsigned char const* const* attributes, float& value, eResultType& type, unsigned int& classId);

/// An entry of a stored result.
struct StoredEntry {
  float value = 0.0F;
  eResultType type = ResultTypeNone;
  unsigned int classId = 0;
};

/// The entry that an element inside a result's stores, with 0 for what its attributes don't give; nothing if the
/// element isn't one.
[[nodiscard]] std::optional<StoredEntry> ReadEntry(unsigned char const* name, unsigned char const* const* attributes);

}  // namespace detail
}  // namespace ZaM

#endif
