// The events of libxml2's push parser; internal.
#ifndef ZAM_XML_LIBXML2_EVENTS_H
#define ZAM_XML_LIBXML2_EVENTS_H

#include <cstddef>
#include <memory>
#include <string_view>

#include "zam/xml/xml_event_shaper.h"

namespace ZaM::detail {

/// Events that have been told of already, and are passed over.
struct XmlEventsBefore {
  bool hasBegun = false;   // the document
  std::size_t starts = 0;  // of elements
  std::size_t ends = 0;
};

struct XmlDocumentType;

/// One parse by libxml2, of a document in any encoding and with any declarations. The same as XmlEventParser otherwise.
class Libxml2Events {
 public:
  /// `isDecoded` where the document is in UTF-8, whatever it declares.
  Libxml2Events(XmlEventShaper& shaper, XmlEventsBefore const& before, bool isDecoded = false);
  Libxml2Events(Libxml2Events const&) = delete;
  Libxml2Events& operator=(Libxml2Events const&) = delete;
  ~Libxml2Events();

  void Feed(std::string_view bytes);
  void Finish();
  [[nodiscard]] bool IsWellFormed() const;

  /// What a well-formed document declares; it goes over to the caller.
  [[nodiscard]] std::unique_ptr<XmlDocumentType> TakeDocumentType();

 private:
  class Impl;

  std::unique_ptr<Impl> impl;
};

}  // namespace ZaM::detail

#endif
