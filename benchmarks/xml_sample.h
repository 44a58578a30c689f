// The document that the XML benchmarks write and read: elements with three attributes and text. The same on every run.
#ifndef ZAM_BENCHMARKS_XML_SAMPLE_H
#define ZAM_BENCHMARKS_XML_SAMPLE_H

#include <cstddef>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "zam/zam.h"

namespace sample {

inline constexpr std::size_t xmlDocumentSize = 20'000'000;  // bytes

/// One element below the root. Some values hold what has to be escaped, and what isn't ASCII.
struct XmlElement {
  std::u16string id;     // attribute: a decimal number
  std::u16string path;   // attribute
  std::u16string title;  // attribute
  std::u16string text;
};

class XmlElementMaker {
 public:
  XmlElement Next() {
    std::string const digits = std::to_string(++number);
    std::u16string const id(digits.begin(), digits.end());
    return {id, u"archive/" + Words(1) + u"/" + id + u".txt", Words(2 + engine() % 3), Words(4 + engine() % 16)};
  }

 private:
  std::u16string Words(std::size_t count) {
    // One word in sixteen has to be escaped or isn't ASCII.
    static constexpr char16_t const* words[] = {
        u"invoice", u"the", u"delivery", u"of",   u"goods",   u"to",    u"contract", u"a",
        u"payment", u"is",  u"thirty",   u"days", u"orders",  u"on",    u"within",   u"cash",
        u"amount",  u"due", u"number",   u"and",  u"order",   u"Größe", u"R&D",      u"it",
        u"total",   u"by",  u"customer", u"for",  u"account", u"at",    u"net",      u"in",
    };
    std::u16string text;
    for (std::size_t i = 0; i < count; ++i) {
      if (i > 0) text += u' ';
      text += words[engine() % std::size(words)];
    }
    return text;
  }

  std::mt19937 engine{20240229};
  std::size_t number = 0;
};

inline void WriteXmlElement(ZaM::ZamXmlOutStream& stream, XmlElement const& element) {
  stream.CreateNode("document");
  stream.AddProperty("id", element.id);
  stream.AddProperty("path", element.path);
  stream.AddProperty("title", element.title);
  stream.AddText(element.text);
  stream.CloseNode("document");
}

/// The elements of a document of about `size` bytes, for those who write it.
inline std::vector<XmlElement> XmlElements(std::size_t size = xmlDocumentSize) {
  std::vector<XmlElement> elements;
  XmlElementMaker maker;
  ZaM::ZamXmlOutStream measure(ZaM::StorageMemory);
  while (measure.getXmlString().size() < size) WriteXmlElement(measure, elements.emplace_back(maker.Next()));
  return elements;
}

/// The document itself, for those who read it.
inline std::string XmlDocument(std::size_t size = xmlDocumentSize) {
  XmlElementMaker maker;
  ZaM::ZamXmlOutStream stream(ZaM::StorageMemory);
  stream.CreateNode("documents");
  while (stream.getXmlString().size() < size) WriteXmlElement(stream, maker.Next());
  stream.CloseNode("documents");
  stream.Close();
  return stream.getXmlString();
}

}  // namespace sample

#endif
