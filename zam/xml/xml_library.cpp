#include "zam/xml/xml_library.h"

#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/threads.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <vector>

#include "zam/foundation/create_counted.h"
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
    if (xmlGetExternalEntityLoader() == &Gate::Load && !hosts.empty()) xmlSetExternalEntityLoader(hosts.back());
  }

  /// Takes the place of the host's loader, which may have been set again since.
  void Close() {
    std::lock_guard const lock(mutex);
    xmlExternalEntityLoader const current = xmlGetExternalEntityLoader();
    if (current == &Gate::Load) return;
    ReportOutOfMemory([&] {
      // One that was there before is again what it was then.
      hosts.erase(std::find(hosts.begin(), hosts.end(), current), hosts.end());
      hosts.push_back(current);
    });
    xmlSetExternalEntityLoader(&Gate::Load);
  }

  static Gate& Instance() {
    static Gate gate;
    return gate;
  }

 private:
  static xmlParserInputPtr Load(char const* url, char const* id, xmlParserCtxtPtr context) {
    if (scopesOnThisThread > 0) return nullptr;
    // A loader of the host may call the one that it found, which is this one where it came after it. That stands for
    // the loader before the host's, then.
    thread_local constinit std::size_t nested = 0;
    xmlExternalEntityLoader const host = Instance().Host(nested);
    if (host == nullptr) return nullptr;
    ++nested;
    xmlParserInputPtr const input = host(url, id, context);
    --nested;
    return input;
  }

  /// The one so many places before the last, or null.
  xmlExternalEntityLoader Host(std::size_t place) {
    std::lock_guard const lock(mutex);
    return place < hosts.size() ? hosts[hosts.size() - 1 - place] : nullptr;
  }

  std::mutex mutex;
  std::vector<xmlExternalEntityLoader> hosts;  // each found the one before it
};

/// While the library is loaded, since libxml2 would lack for good what it gets no memory for when it starts.
[[maybe_unused]] Gate const& gateAtLoad = Gate::Instance();

/// What libxml2 says where a document passes a limit of its own, and the limit. All of it has blanks, since names from
/// the document, which have none, may be part of its messages. Other text from the document stands only after a line
/// end or the beginning of a comment.
struct Limit {
  std::string_view message;
  std::uint64_t most;
};
constexpr Limit limits[] = {
    {"Name too long", 50'000},     {"length too long", 10'000'000}, {"value too long", 10'000'000},
    {"too big found", 10'000'000}, {"huge text node", 10'000'000},  {"Huge input lookup", 10'000'000},
    {"too deep, use", 128},        {"Excessive depth", 256},
};

/// 0 for what is about none.
std::uint64_t LimitIn(char const* message) {
  std::string_view text = message == nullptr ? std::string_view() : message;
  text = text.substr(0, std::min(text.find('\n'), text.find("<!--")));
  for (auto const& [part, most] : limits) {
    if (text.find(part) != std::string_view::npos) return most;
  }
  return 0;
}

/// libxml2 makes settings for each thread when they are first asked for. Where there is no memory for them it reports
/// that through these settings, and so without an end; that much is asked for before it. Newer versions bear the lack.
void MakeThreadSettings() {
  constexpr std::size_t room = 4096;  // more than they take
  constexpr bool mayLackThem = LIBXML_VERSION < 21200;
  thread_local constinit bool areMade = false;
  if (areMade) return;
  void* const volatile block = std::malloc(room);  // volatile, or compilers leave both calls out
  std::free(block);
  if (block == nullptr) throw BaseException(ErrorId::OutOfMemory);
  if (mayLackThem && xmlIsMainThread() == 0 && xmlGetGlobalState() == nullptr)
    throw BaseException(ErrorId::OutOfMemory);
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
    auto& self = *static_cast<XmlScope*>(scope);
    // Limits have no numbers of their own, and that of a long text is the one of lacking memory.
    std::uint64_t const limit = error->level == XML_ERR_FATAL ? LimitIn(error->message) : 0;
    if (limit != 0) self.passedLimit = limit;
    if (error->code == XML_ERR_ENTITY_LOOP) self.hasFoundLoop = true;
    // An encoding for whose tables there is no memory counts as unknown.
    bool const lacksTables = error->code == XML_ERR_UNSUPPORTED_ENCODING && errno == ENOMEM;
    if ((error->code == XML_ERR_NO_MEMORY && limit == 0) || lacksTables) self.RunOutOfMemory();
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
