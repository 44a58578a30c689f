// Reads an XML document as a series of events, each sent to whoever reads that part of it:
//
//   class Titles : public ZaM::XmlSaxCallback {
//    public:
//     void OnStartElement(ZaM::XmlSaxParser* parser, unsigned char const* name, unsigned char const**) override {
//       parser->PushCallback(this);                       // this object is told of what lies inside, too
//     }
//     void OnEndElement(ZaM::XmlSaxParser* parser, unsigned char const* name) override {
//       if (std::strcmp(reinterpret_cast<char const*>(name), "title") != 0) return;
//       parser->ConvertString(parser->GetCharacterBuffer(), static_cast<int>(parser->GetCharacterBufferSize()), title);
//     }
//     ZaM::wstring title;
//   };
//
//   Titles titles;
//   ZaM::XmlSaxParser().ParseFile(u"library.xml.gz", &titles);
#ifndef ZAM_XML_XML_SAX_PARSER_H
#define ZAM_XML_XML_SAX_PARSER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"
#include "zam/xml/xml_default_callback.h"
#include "zam/xml/xml_sax_callback.h"

struct _xmlCharEncodingHandler;

namespace ZaM {

/// Parses XML 1.0 and sends each event to the callback on top of a stack.
///
/// The stack: the callback that a parse was called with lies at the bottom. An element's start is told to the top,
/// which
///   pushes the callback for what lies inside; where it pushes none, a callback that does nothing takes the content.
///   The callback that was pushed is told of the element's end, and is popped. Each element puts one entry on the
///   stack: of several that a callback pushes the last one counts, and what is pushed at an element's end is dropped.
///
/// Text: GetCharacterBuffer has the text since the last start or end of an element. References to characters and
///   entities, and CDATA sections, are part of it; comments and processing instructions leave no trace. White space
///   between elements is text like any other.
///
/// Malformed documents: nothing is reported. The events up to the place of the fault have been sent, and the operation
///   returns; what the callbacks saw tells whether the document was complete. Nothing outside the document is ever
///   opened: external entities are passed over. Defaults of attributes are, too.
///
/// libxml2 within callbacks: a callback may use it. In events close to the fault of a malformed document, which libxml2
///   looks at, what that use reports isn't printed, and it opens no external entity; otherwise it is as it is outside
///   of a parse. A program that counts on either sets it for its own parse, with XML_PARSE_NONET, XML_PARSE_NOERROR and
///   the like.
///
/// Encodings: UTF-8, UTF-16, UTF-32, ASCII, ISO-8859-x, windows-125x, Shift_JIS, ISO-2022-JP, the EUC and KOI8
///   families, GB2312, GBK, GB18030 and Big5. A document that names another counts as malformed. For all but the first
///   three, ASCII and ISO-8859-1, the C library opens its own tables.
///
/// Limits: a document is parsed in time that is in proportion to its size and to what its references stand for. The
///   number and the size of elements, names, attributes and texts make no difference. Text is collected up to
///   4,294,967,295 bytes. A LimitExceededException tells of
///   - references to entities that stand for more than 1,000,000 bytes and for more than 5 times what was read of the
///     document until then, each reference counted with 20 bytes on top, and each tag in an entity; or of which more
///     than 40 lie in each other. In trees, prefixes that a type declares by default count as references do;
///   - a document type of more than 500,000 bytes, 10,000 attributes, as many values in lists, or 50,000 names; with a
///     name of more than 50,000 bytes, or with an entity that has more than 4,096 attributes in a tag;
///   - a malformed document whose fault lies in or close to 4,096 attributes of one element or 10,000,000 bytes of
///     markup, which libxml2 looks at.
///
/// Memory: of a document no more is kept than its type, a text as above, and the present tag, comment or the like. One
///   that never ends takes as much as the rest of the document, which SetMaxBytes bounds.
///
/// Sequence: one parse after the other, each with the same parser or another. A callback may parse another document
///           with the parser that it was called by: that parse has a stack of its own, and the outer one goes on with
///           its own afterwards; only the text that was collected is gone.
/// Owning:   callbacks stay their makers'; they must live as long as they are on the stack.
/// Threads:  one thread at a time; separate parsers are independent.
/// Errors:   BaseException with id 1 for a null callback, before anything happens; with id 5 where memory runs out,
///           also inside libxml2; with id 17 where libxml2 can't convert. LimitExceededException as said.
///           FileIOException with id 2003 for a file that can't be opened, 2004 for one that can't be read or whose
///           compressed data is damaged. What a callback throws ends the parse, whose file is closed, and leaves
///           ParseFile and ParseMemory. The parser can be used again after each of these.
class ZAM_EXPORT XmlSaxParser {
 public:
  XmlSaxParser() = default;
  XmlSaxParser(XmlSaxParser const&) = delete;
  XmlSaxParser& operator=(XmlSaxParser const&) = delete;
  ~XmlSaxParser();

  /// Parses a file in constant memory, but for the largest tag, comment or processing instruction in it. A file that
  /// begins with the gzip signature is inflated while it is read, with all of its gzip streams, and bytes after them
  /// are ignored; any other is taken as it is. A gzip file that breaks off is like a document that does. All of the
  /// file is read, also after a fault in the document. While it is parsed, the library's writers can't open it, and a
  /// file that one of them has open can't be opened here.
  void ParseFile(wstring const& filename, XmlSaxCallback* callback);

  /// Parses `size` bytes, which aren't inflated. Null is an empty document.
  void ParseMemory(char const* data, unsigned int size, XmlSaxCallback* callback);

  /// How many bytes a parse takes of a document that is inflated, which may be a thousand times what a file has. No
  /// bound unless one is set. A longer document ends in LimitExceededException, after events of what stands in front.
  [[nodiscard]] std::uint64_t GetMaxBytes() const { return maxBytes; }
  void SetMaxBytes(std::uint64_t most) { maxBytes = most; }

  /// Puts `callback` on the stack; null puts one that does nothing. Meant for OnStartElement.
  void PushCallback(XmlSaxCallback* callback);

  /// The text since the last start or end of an element: UTF-8 bytes without a terminator, null without text. Valid
  /// until the next event; where a document ended early, until the next parse or the parser's end.
  [[nodiscard]] unsigned char const* GetCharacterBuffer() const { return characterBuffer; }

  /// In bytes.
  [[nodiscard]] unsigned int GetCharacterBufferSize() const { return characterBufferSize; }

  /// UTF-8 to UTF-16; `length` in bytes, 0 and less give an empty `result`. Each malformed sequence becomes U+FFFD.
  /// May be called at any time.
  void ConvertString(unsigned char const* text, int length, wstring& result);

  /// A place for the document's version, where one callback leaves it for others to read. The parser itself neither
  /// sets nor reads it; both numbers are -1 at the start.
  void SetVersionInfo(std::int32_t major, std::int32_t minor);
  [[nodiscard]] std::int32_t GetMajorVersion() const { return majorVersion; }
  [[nodiscard]] std::int32_t GetMinorVersion() const { return minorVersion; }

  /// How many bytes of memory the callbacks of this parse may still take because a number in the document asks for
  /// them: 16 MiB, and 128 more for each byte of the document that has been read, less what TakeAllowance was told. A
  /// callback that makes room for as many things as a number says looks here first, so that what a document takes grows
  /// with the document. Outside of a parse: 16 MiB.
  [[nodiscard]] std::uint64_t GetAllowance() const;
  /// Tells that so much of the allowance is used up, for good. No more than there is can be taken.
  void TakeAllowance(std::uint64_t bytes);

  /// Numbers from attribute values, which are zero-terminated. All give `defaultValue` for null and for an empty value.
  /// White space in front is skipped, what follows the number doesn't matter ("12abc" is 12), and the process's locale
  /// has no say. Integers that don't fit become the least or the greatest number of their type.
  ///
  /// A value without digits is 0 here, not `defaultValue`.
  [[nodiscard]] std::int32_t GetLongValue(unsigned char const* value, std::int32_t defaultValue) const;
  /// `defaultValue` without digits; a minus sign negates, so that "-1" is 4294967295.
  [[nodiscard]] unsigned int GetSizetValue(unsigned char const* value, unsigned int defaultValue) const;
  /// `defaultValue` without digits. Takes what was printed signed and what was printed unsigned: "-1" and
  /// "18446744073709551615" are both -1. What doesn't fit into 64 bits is -1 as well: all bits are set.
  [[nodiscard]] std::int64_t GetTimetValue(unsigned char const* value, std::int64_t defaultValue) const;
  /// The first byte alone counts: `1` is true, `0` is false, any other gives `defaultValue`.
  [[nodiscard]] bool GetBoolValue(unsigned char const* value, bool defaultValue) const;
  /// `defaultValue` without a number, and for "inf" and "nan". Beyond the range of a double: an infinity, or zero.
  [[nodiscard]] double GetDoubleValue(unsigned char const* value, double defaultValue) const;

  /// For a C parser that has an XmlSaxParser as its `parser`: its events.
  static void startDocumentCallBack(void* parser);
  static void endDocumentCallback(void* parser);
  static void startElementCallback(void* parser, unsigned char const* name, unsigned char const** attributes);
  static void endElementCallback(void* parser, unsigned char const* name);
  static void charactersCallback(void* parser, unsigned char const* text, int length);

 private:
  class Parse;

  void OnStartDocument();
  void OnEndDocument();
  void OnStartElement(unsigned char const* name, unsigned char const** attributes);
  void PushOne(std::size_t height);
  void OnEndElement(unsigned char const* name);
  void OnCharacters(unsigned char const* text, std::size_t length);
  void ClearCharacterBuffer();

  std::vector<XmlSaxCallback*> callbacks;              // the last entry is the current callback
  _xmlCharEncodingHandler* encodingHandler = nullptr;  // for UTF-16LE during a parse; libxml2's
  XmlDefaultCallback defaultCallback;                  // for which a null callback stands
  std::array<wchar, 1024> wideBuffer;                  // what ConvertString needs no allocation for
  std::array<unsigned char, 2048> characterData;       // text of fewer bytes than this
  unsigned char* characterBuffer = nullptr;            // null, characterData, or a block of a power of two
  unsigned int characterBufferSize = 0;
  std::int32_t majorVersion = -1;
  std::int32_t minorVersion = -1;
  Parse* parse = nullptr;  // the one under way; not owned
  std::uint64_t maxBytes = std::numeric_limits<std::uint64_t>::max();
};

}  // namespace ZaM

#endif
