// What the library and the rest of the process share of libxml2: its start, its switches, its way to the outside.
#ifndef ZAM_XML_XML_LIBRARY_H
#define ZAM_XML_XML_LIBRARY_H

#include <libxml/xmlerror.h>

#include <cstdint>

namespace ZaM::detail {

/// Surrounds every parse and all writing that libxml2 does for the library, and all reading of trees. It makes libxml2
/// ready, and while one lives on a thread:
///
/// - No parse on that thread can reach anything outside its document. No external entity, no document type and no
///   inclusion is opened, whatever switches are set.
/// - What libxml2 reports on that thread isn't printed; only whether memory ran out is kept.
///
/// Both hold for the host program's own use of libxml2 within a callback as well, wherever a scope lives then, but not
/// on other threads: in the events of a tree that is read, and in those that libxml2 sends, close to a
/// fault. In events of an XmlSaxParser that come from XmlScanner there is none, and the host's use is as it is
/// elsewhere.
///
/// Scopes nest, and end on the thread where they began. Neither they nor anything else here ever clean libxml2 up: its
/// tables belong to the whole process, another thread or the host may be at work in them, and they don't grow.
class XmlScope {
 public:
  /// Throws BaseException with id 5 where there is no memory for libxml2's settings of this thread.
  XmlScope();
  XmlScope(XmlScope const&) = delete;
  XmlScope& operator=(XmlScope const&) = delete;
  ~XmlScope();

  /// Whether an allocation of libxml2 has failed: what it made since is incomplete, even where it looks complete.
  [[nodiscard]] bool HasRunOutOfMemory() const { return isOutOfMemory; }

  /// The limit, where something was larger, or deeper, than libxml2 takes, which it treats as malformed; else 0.
  [[nodiscard]] std::uint64_t PassedLimit() const { return passedLimit; }

  /// Whether libxml2 takes the document's entities for recursive. It does so where they nest deep or grow much, too.
  [[nodiscard]] bool HasFoundLoop() const { return hasFoundLoop; }

  /// For a failure that libxml2 doesn't report.
  void RunOutOfMemory() { isOutOfMemory = true; }

 private:
  xmlStructuredErrorFunc hostFunction;  // what reports go to outside of the scope
  void* hostContext;
  bool isOutOfMemory = false;
  bool hasFoundLoop = false;
  std::uint64_t passedLimit = 0;
};

/// The two switches that stay as the last operation of the process set them. libxml2's own are per thread and shared
/// with the host program; these are the library's, and are applied to each parse when it begins.
/// Threads: may be set and read by any.
void SetKeepBlanks(bool doKeep);
[[nodiscard]] bool GetKeepBlanks();  // true at the start
void SetSubstituteEntities(bool doSubstitute);
[[nodiscard]] bool GetSubstituteEntities();  // false at the start

}  // namespace ZaM::detail

#endif
