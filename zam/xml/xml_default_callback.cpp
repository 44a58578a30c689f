#include "zam/xml/xml_default_callback.h"

#include "zam/xml/xml_sax_parser.h"

namespace ZaM {

void XmlDefaultCallback::OnStartElement(XmlSaxParser* parser, unsigned char const* /*name*/,
                                        unsigned char const** /*attributes*/) {
  parser->PushCallback(this);
}

}  // namespace ZaM
