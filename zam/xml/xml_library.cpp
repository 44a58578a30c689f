#include "zam/xml/xml_library.h"

#include <libxml/parser.h>

#include <atomic>
#include <cstring>
#include <mutex>

namespace ZaM::detail {

namespace {

constinit std::atomic<bool> keepBlanks = true;
constinit std::atomic<bool> substituteEntities = false;

thread_local constinit int scopesOnThisThread = 0;

/// Stands in front of the loader of external entities that the host program has, for as long as the library is loaded.
class Gate {
 public:
  Gate() { xmlInitParser(); }
  Gate(Gate const&) = delete;
  Gate& operator=(Gate const&) = delete;

  /// The code behind Load goes away with the library.
  ~Gate() {
    if (xmlGetExternalEntityLoader() == &Gate::Load) xmlSetExternalEntityLoader(host);
  }

  /// Takes the place of the host's loader, which may have been set again since.
  void Close() {
    std::lock_guard const lock(mutex);
    xmlExternalEntityLoader const current = xmlGetExternalEntityLoader();
    if (current == &Gate::Load) return;
    host = current;
    xmlSetExternalEntityLoader(&Gate::Load);
  }

  static Gate& Instance() {
    static Gate gate;
    return gate;
  }

 private:
  static xmlParserInputPtr Load(char const* url, char const* id, xmlParserCtxtPtr context) {
    return scopesOnThisThread > 0 ? nullptr : Instance().host.load()(url, id, context);
  }

  std::mutex mutex;
  std::atomic<xmlExternalEntityLoader> host = nullptr;
};

}  // namespace

XmlScope::XmlScope() {
  Gate::Instance().Close();
  hostFunction = xmlStructuredError;
  hostContext = xmlStructuredErrorContext;
  // The type of the record differs between versions of libxml2.
  xmlSetStructuredErrorFunc(this, [](void* scope, auto* error) {
    // A text that is longer than a document may hold comes under the same number.
    bool const isTooLong = error->message != nullptr && std::strstr(error->message, "huge") != nullptr;
    if (error->code == XML_ERR_NO_MEMORY && !isTooLong) static_cast<XmlScope*>(scope)->isOutOfMemory = true;
  });
  ++scopesOnThisThread;
}

XmlScope::~XmlScope() {
  --scopesOnThisThread;
  xmlSetStructuredErrorFunc(hostContext, hostFunction);
}

void SetKeepBlanks(bool doKeep) {
  keepBlanks = doKeep;
}
bool GetKeepBlanks() {
  return keepBlanks;
}
void SetSubstituteEntities(bool doSubstitute) {
  substituteEntities = doSubstitute;
}
bool GetSubstituteEntities() {
  return substituteEntities;
}

}  // namespace ZaM::detail
