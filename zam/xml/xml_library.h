// What the library and the rest of the process share of libxml2: its start, its switches, its way to the outside.
#ifndef ZAM_XML_XML_LIBRARY_H
#define ZAM_XML_XML_LIBRARY_H

namespace ZaM::detail {

/// Surrounds every use of libxml2's parser, its handlers or its document model by the library. It makes libxml2 ready,
/// and while one lives on a thread, no parse on that thread can reach anything outside its document: no external
/// entity, no document type, no inclusion is opened, whatever switches are set. Other threads, and the host program's
/// own parses behind it, keep the way to the outside that the host chose.
///
/// Scopes nest. Neither they nor anything else here ever clean libxml2 up: its tables belong to the whole process, and
/// another thread, or the host, may be at work in them. They are allocated once and don't grow.
class XmlScope {
 public:
  XmlScope();
  XmlScope(XmlScope const&) = delete;
  XmlScope& operator=(XmlScope const&) = delete;
  ~XmlScope();
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
