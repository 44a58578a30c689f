// The callback for parts of a document that nobody wants.
#ifndef ZAM_XML_XML_DEFAULT_CALLBACK_H
#define ZAM_XML_XML_DEFAULT_CALLBACK_H

#include "zam/foundation/export.h"
#include "zam/xml/xml_sax_callback.h"

// Callbacks belong to whoever made them, and nobody deletes one through its base: no virtual destructor is missed.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace ZaM {

/// Reads nothing, and takes the content of every element that it is told of, so that nobody else is told of it.
///
/// Threads: holds nothing; parsers on any number of threads may share one.
/// Errors:  BaseException with id 5 when memory runs out for the parser's stack.
class ZAM_EXPORT XmlDefaultCallback : public XmlSaxCallback {
 public:
  XmlDefaultCallback() = default;
  XmlDefaultCallback(XmlDefaultCallback const&) = default;
  XmlDefaultCallback& operator=(XmlDefaultCallback const&) = default;

  void OnStartDocument(XmlSaxParser* /*parser*/) override {}
  void OnEndDocument(XmlSaxParser* /*parser*/) override {}

  /// Pushes itself.
  void OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override;

  void OnEndElement(XmlSaxParser* /*parser*/, unsigned char const* /*name*/) override {}
};

}  // namespace ZaM

#pragma GCC diagnostic pop

#endif
