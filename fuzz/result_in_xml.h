// Results that a program of its own meets anywhere in a document.
#ifndef FUZZ_RESULT_IN_XML_H
#define FUZZ_RESULT_IN_XML_H

#include <cstring>
#include <stdexcept>
#include <string>

#include "zam/zam.h"

namespace ZaM::test {

/// Hands each element `Res` over to a result.
template <class Kind>
class ResultReader : public XmlSaxCallback {
 public:
  explicit ResultReader(Kind& into) : result(&into) {}
  void OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override {
    bool const isResult = std::strcmp(reinterpret_cast<char const*>(name), "Res") == 0;
    if (isResult) result->InitializeProperties(parser, attributes);
    parser->PushCallback(isResult ? static_cast<XmlSaxCallback*>(result) : this);
    reachedEnd = std::strcmp(reinterpret_cast<char const*>(name), "next") == 0;
  }
  void OnEndElement(XmlSaxParser*, unsigned char const*) override {}

  bool reachedEnd = false;

 private:
  Kind* result;
};

/// Reads elements into a result. The one after them has to be reached.
template <class Kind>
void ReadResult(Kind& result, std::string const& elements) {
  std::string const document = "<all>" + elements + "<next/></all>";
  ResultReader<Kind> reader(result);
  XmlSaxParser().ParseMemory(document.data(), static_cast<unsigned int>(document.size()), &reader);
  if (!reader.reachedEnd) throw std::logic_error("what follows " + elements + " isn't reached");
}

}  // namespace ZaM::test

#endif
