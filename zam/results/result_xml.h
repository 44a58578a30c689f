// Results as XML elements; internal. One element per result, with a child per entry:
//
//   <Res ClsCount="3"><ClsItem conf="0.912346" restype="1" ClassId="7"></ClsItem>…</Res>
#ifndef ZAM_RESULTS_RESULT_XML_H
#define ZAM_RESULTS_RESULT_XML_H

#include <cstdint>
#include <string>

#include "zam/results/result.h"

namespace ZaM {

class XmlSaxParser;
class ZamXmlOutStream;

namespace detail {

/// Writes `result` as an element called `name`. What the stream throws passes through.
void WriteResult(Result& result, std::string const& name, ZamXmlOutStream& stream);

/// The count that the attributes of a result's element give; 0 without one. `attributes` may be null.
[[nodiscard]] unsigned int ReadCount(XmlSaxParser const& parser, unsigned char const* const* attributes);

/// Sets what the attributes of an entry's element give, in any order, and leaves the others. `attributes` may be null.
void ReadEntry(XmlSaxParser const& parser, unsigned char const* const* attributes, float& value, eResultType& type,
               unsigned int& classId);

/// Takes an element inside a result's. False if it isn't an entry; otherwise it is set on `result`, with 0 for what its
/// attributes don't give, unless its class id isn't below `classIds`.
bool TakeEntry(Result& result, XmlSaxParser const& parser, unsigned char const* name,
               unsigned char const* const* attributes, std::uint64_t classIds = std::uint64_t{1} << 32);

}  // namespace detail
}  // namespace ZaM

#endif
