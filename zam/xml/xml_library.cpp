#include "zam/xml/xml_library.h"

#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/threads.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "zam/foundation/exceptions.h"

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

/// While the library is loaded, since libxml2 would lack for good what it gets no memory for when it starts.
[[maybe_unused]] Gate const& gateAtLoad = Gate::Instance();

/// libxml2 makes settings for each thread when they are first asked for. Where there is no memory for them it reports
/// that through these settings, and so without an end; that much is asked for before it. Newer versions bear the lack.
void MakeThreadSettings() {
  constexpr std::size_t room = 4096;  // more than they take
  constexpr bool mayLackThem = LIBXML_VERSION < 21200;
  thread_local constinit bool areMade = false;
  if (areMade) return;
  void* const volatile block = std::malloc(room);  // volatile, or compilers leave both calls out
  std::free(block);
  if (block == nullptr) throw BaseException(5);
  if (mayLackThem && xmlIsMainThread() == 0 && xmlGetGlobalState() == nullptr) throw BaseException(5);
  areMade = true;
}

}  // namespace

XmlScope::XmlScope() {
  Gate::Instance().Close();
  MakeThreadSettings();
  hostFunction = xmlStructuredError;
  hostContext = xmlStructuredErrorContext;
  // The type of the record differs between versions of libxml2.
  xmlSetStructuredErrorFunc(this, [](void* scope, auto* error) {
    // A text that is longer than a document may hold comes under the same number.
    bool const isTooLong = error->message != nullptr && std::strstr(error->message, "huge") != nullptr;
    // An encoding for whose tables there is no memory counts as unknown.
    bool const lacksTables = error->code == XML_ERR_UNSUPPORTED_ENCODING && errno == ENOMEM;
    if ((error->code == XML_ERR_NO_MEMORY && !isTooLong) || lacksTables)
      static_cast<XmlScope*>(scope)->RunOutOfMemory();
  });
  ++scopesOnThisThread;
  errno = 0;
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
