// How an object takes part in reading an XML document: it is told of each event.
#ifndef ZAM_XML_XML_SAX_CALLBACK_H
#define ZAM_XML_XML_SAX_CALLBACK_H

#include "zam/foundation/export.h"

namespace ZaM {

class XmlSaxParser;

/// What an event parser calls for each event of a document; an implementer reads the element that it knows.
///
/// Names and attribute strings are zero-terminated UTF-8 bytes that belong to the parser and last for the call.
/// `attributes` is null, or a run of pointers in pairs, name then value, ended by a null name.
///
/// Owning:  nobody ends an object through this class, whose destructor is neither virtual nor public: a counted object
///          that plays this role ends by its own `Release`.
/// Threads: called on the thread of the parse.
/// Errors:  an exception ends the parse and passes through it; see XmlSaxParser.
class ZAM_EXPORT XmlSaxCallback {
 public:
  XmlSaxCallback() = default;
  XmlSaxCallback(XmlSaxCallback const&) = default;
  XmlSaxCallback& operator=(XmlSaxCallback const&) = default;

  /// The document begins. Does nothing unless overridden.
  virtual void OnStartDocument(XmlSaxParser* /*parser*/) {}

  /// The document is at its end. Does nothing unless overridden.
  virtual void OnEndDocument(XmlSaxParser* /*parser*/) {}

  /// The element `name` begins.
  virtual void OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) = 0;

  /// The element `name` is at its end.
  virtual void OnEndElement(XmlSaxParser* parser, unsigned char const* name) = 0;

 protected:
  ~XmlSaxCallback() = default;
};

}  // namespace ZaM

#endif
