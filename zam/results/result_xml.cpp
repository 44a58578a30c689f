#include "zam/results/result_xml.h"

#include <string_view>

#include "zam/xml/xml_sax_parser.h"
#include "zam/xml/zam_xml_out_stream.h"

namespace ZaM::detail {

namespace {

constexpr char const* countName = "ClsCount";
constexpr char const* entryName = "ClsItem";
constexpr char const* valueName = "conf";
constexpr char const* typeName = "restype";
constexpr char const* classIdName = "ClassId";

/// Text with six digits shows nothing of a value up to this one.
constexpr double leastValue = 1e-07;

std::string_view View(unsigned char const* text) {
  return reinterpret_cast<char const*>(text);
}

// Numbers are read by a parser of their own, since programs may hand attributes over without one.

/// Calls `take` with each name and its value.
template <class Take>
void ForEachAttribute(unsigned char const* const* attributes, Take take) {
  if (attributes == nullptr) return;
  for (; *attributes != nullptr; attributes += 2) take(View(attributes[0]), attributes[1]);
}

void WriteEntry(IndexedResult const& entry, ZamXmlOutStream& stream) {
  stream.CreateNode(entryName);
  stream.AddProperty(valueName, static_cast<double>(entry.GetValue()));
  stream.AddProperty(typeName, static_cast<std::int32_t>(entry.GetResType()));
  stream.AddProperty(classIdName, entry.GetIndex());
  stream.CloseNode(entryName);
}

}  // namespace

void WriteResult(Result& result, std::string const& name, ZamXmlOutStream& stream) {
  std::vector<IndexedResult> const& entries = result.GetBestResults(0);
  stream.CreateNode(name);
  stream.AddProperty(countName, static_cast<unsigned int>(entries.size()));
  for (IndexedResult const& entry : entries) {
    // Widened before it is compared: the float nearest to the limit is above it, and is written.
    if (static_cast<double>(entry.GetValue()) > leastValue) WriteEntry(entry, stream);
  }
  stream.CloseNode(name);
}

unsigned int ReadCount(unsigned char const* const* attributes) {
  XmlSaxParser numbers;
  unsigned int count = 0;
  ForEachAttribute(attributes, [&](std::string_view name, unsigned char const* text) {
    if (name == countName) count = numbers.GetSizetValue(text, 0);
  });
  return count;
}

void ReadEntry(unsigned char const* const* attributes, float& value, eResultType& type, unsigned int& classId) {
  XmlSaxParser numbers;
  ForEachAttribute(attributes, [&](std::string_view name, unsigned char const* text) {
    if (name == valueName) {
      value = static_cast<float>(numbers.GetDoubleValue(text, 0.0));
    } else if (name == typeName) {
      type = static_cast<eResultType>(numbers.GetLongValue(text, 0));
    } else if (name == classIdName) {
      classId = numbers.GetSizetValue(text, 0);
    }
  });
}

std::optional<StoredEntry> ReadEntry(unsigned char const* name, unsigned char const* const* attributes) {
  if (View(name) != entryName) return std::nullopt;
  StoredEntry entry;
  ReadEntry(attributes, entry.value, entry.type, entry.classId);
  return entry;
}

}  // namespace ZaM::detail
