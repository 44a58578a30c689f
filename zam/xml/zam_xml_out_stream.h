// Writes an XML document element by element, to a file or into memory.
#ifndef ZAM_XML_ZAM_XML_OUT_STREAM_H
#define ZAM_XML_ZAM_XML_OUT_STREAM_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <stack>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

struct _xmlCharEncodingHandler;

namespace ZaM {

namespace platform {
class File;
}
namespace detail {
class GzipFile;
class StepBuffer;

template <class Value>
concept OtherValue = std::is_arithmetic_v<Value> || std::is_enum_v<Value>;
}  // namespace detail

/// Where a `ZamXmlOutStream` writes to.
enum StorageType : std::int32_t {
  /// A plain file.
  StorageFile = 1,
  /// The string behind `getXmlString`.
  StorageMemory = 2,
  /// A gzip file of the highest compression, which the library's readers take like a plain one.
  StorageCompressed = 3,
};

/// Writes an XML document without a tree in memory: the caller opens elements, adds attributes and text, and closes
/// elements, and the text goes straight to its target.
///
///     ZamXmlOutStream stream(StorageFile, u"classes.xml");
///     stream.CreateNode("classes");
///     stream.CreateNode("class");
///     stream.AddProperty("id", 7);
///     stream.AddText(u"Invoices & receipts");
///     stream.CloseNode("class");
///     stream.CloseNode("classes");
///     stream.Close();
///     if (!stream.IsWritten()) …
///
/// The document is a declaration line and one line more; docs/formats.md describes it. Names are written as they are
/// given: they have to be names that XML allows, in UTF-8. Values are wide text, escaped as needed, or numbers. What
/// XML can't carry is replaced so that the document stays readable: control characters by a blank; U+FFFE, U+FFFF and
/// surrogates without their other half by U+FFFD. A value ends at its first zero unit.
///
/// Sequence: CreateNode AddProperty* AddText? (child | AddSubNodeText)* CloseNode, with children of the same form, and
///           Close after the root. Text and attributes can only follow their own start tag.
/// Memory:   a working area of six bytes per unit of the longest value so far, and the text itself in memory mode.
/// Threads:  one thread at a time.
/// Errors:   XmlException 3001, 3002 and 3003 as told below; FileIOException 2002 for a gzip file that can't be
///           created; BaseException 5 when memory runs out. The stream is then as if nothing had been called; a file
///           that was to be opened may be empty.
///           A plain file that can't be opened, and a write that fails, raise nothing: `IsWritten` tells.
class ZAM_EXPORT ZamXmlOutStream {
 public:
  /// Writes to memory, and without a declaration unless `Open` is called.
  ZamXmlOutStream();

  /// For the files: opens none, so that `Open` has to follow. What is written without a file is lost, see `IsWritten`.
  explicit ZamXmlOutStream(StorageType type);

  /// Also opens the file `filename`, replacing what it held; `StorageMemory` ignores the name. A file that one of the
  /// library's readers or writers has open counts as one that can't be opened, and keeps what it holds; while it is
  /// open here, they can't open it.
  ZamXmlOutStream(StorageType type, wstring const& filename);

  ZamXmlOutStream(ZamXmlOutStream const&) = delete;
  ZamXmlOutStream& operator=(ZamXmlOutStream const&) = delete;

  /// Closes an open file. A start tag that `CreateNode` has begun and no further call has written is lost.
  ~ZamXmlOutStream();

  /// Begins a new document in the file `filename`; in memory, after what `getXmlString` holds already. Drops what
  /// `CreateNode` has begun; elements that are open stay so. Throws XmlException 3003 while a file is open.
  void Open(wstring const& filename);

  /// Writes what is pending, and closes the file. Doesn't look at elements that are still open. In memory mode writing
  /// may go on after it.
  void Close();

  /// Whether the target has taken everything that was written since the document began. Ask after `Close`: a full disk
  /// may show only there. False also for what was written without an open file.
  [[nodiscard]] bool IsWritten() const { return written; }

  /// What was written in memory mode, as UTF-8. Complete after `Close`; before it, a start tag that `CreateNode` has
  /// begun is missing, and the declaration until the first element. What an earlier call gave is brought up to date by
  /// the next call and by `Close`.
  std::string const& getXmlString();

  /// Drops the declaration that nothing has followed yet, or the start tag that `CreateNode` has begun.
  void ClearBuffer();

  /// Decodes UTF-8 and appends it to `result`. Meant for well-formed text: continuation bytes aren't tested. A
  /// sequence that `text` cuts off, and a byte of 0xF8 or above, give one U+FFFD.
  static void utf8towstr(wstring& result, std::string const& text);

  /// Opens an element, as a child of the innermost open one.
  void CreateNode(std::string const& name);

  /// Closes the innermost open element. Throws XmlException 3002 if it isn't called `name`, or if there is none.
  void CloseNode(std::string const& name);

  /// Adds an attribute to the element whose start tag is open. Throws XmlException 3001 if there is none: directly
  /// after a closed child, a text, or outside of all elements. Names aren't compared: an attribute's name has to
  /// differ from those before it.
  void AddProperty(std::string const& name, wstring const& value);
  void AddProperty(std::string const& name, bool const& value);  // "1" or "0"
  void AddProperty(std::string const& name, std::int32_t const& value);
  void AddProperty(std::string const& name, std::int64_t const& value);
  void AddProperty(std::string const& name, unsigned int const& value);

  /// Six digits after the point, never an exponent; of more than 248 digits in front of it the last are cut. What
  /// isn't finite is written as "inf" or "nan", with a sign if it has one; readers take that for no number.
  void AddProperty(std::string const& name, double const& value);

  /// Literals and pointers to text, which would turn into a `bool` otherwise. Zero-terminated, the narrow ones UTF-8;
  /// null is an empty value.
  void AddProperty(std::string const& name, wchar const* value);
  void AddProperty(std::string const& name, char const* value);

  /// All other numbers and enumerations: `size_t`, `long long`, `short`, `float`, … as the number of the same value
  /// above, unsigned ones of 64 bits without a sign. A `char` or `wchar` is a text of one unit.
  template <detail::OtherValue Value>
  void AddProperty(std::string const& name, Value const& value);

  /// A pointer to anything but text is no value.
  template <class Object>
  void AddProperty(std::string const& name, Object const* value) = delete;

  /// Ends the start tag, and writes `text` after it. Throws XmlException 3001 like `AddProperty`, so that an element
  /// takes text once, in front of its children.
  void AddText(wstring const& text);

  /// Writes a whole child with `text` in it; outside of all elements, a root.
  void AddSubNodeText(std::string const& name, wstring const& text);

 private:
  void OpenFile(wstring const& filename, bool compressed);
  void CloseFiles();
  void BeginDocument();
  void RequireOpenTag() const;
  void AddValue(std::string const& name, std::u16string_view value);
  void AddUnsigned(std::string const& name, std::uint64_t value);
  char* MakeRoom(std::size_t size);
  char* MakeRoomForValue(std::size_t others, std::u16string_view value);
  void WriteBuffer();
  void HandOver();

  StorageType storageType = StorageMemory;
  // Null, or a plain file, which may have failed to open.
  std::unique_ptr<std::ofstream> fileStream;
  // In memory mode, what `buffer` has handed over.
  std::string xmlString;
  // What the target hasn't taken yet: text that is the target's already, and is handed over in large pieces; after it
  // what waits for the next step, the declaration or the start tag that CreateNode has begun. Never null.
  std::unique_ptr<detail::StepBuffer> buffer;
  // The names of the open elements, the innermost on top.
  std::stack<std::string, std::vector<std::string>> nodeStack;
  // The innermost element's start tag still lacks its `>`.
  bool tagOpen = false;
  // Null unless a gzip file is open.
  std::unique_ptr<detail::GzipFile> compressedFile;
  // libxml2's for UTF-16, not owned. The conversion is our own, but without the handler values are refused.
  _xmlCharEncodingHandler* encodingHandler;
  // Keeps the library's readers off the plain file.
  std::unique_ptr<platform::File> fileLock;
  bool written = true;
};

template <detail::OtherValue Value>
void ZamXmlOutStream::AddProperty(std::string const& name, Value const& value) {
  if constexpr (std::is_enum_v<Value>) {
    AddProperty(name, +static_cast<std::underlying_type_t<Value>>(value));
  } else if constexpr (std::is_same_v<Value, char> || std::is_same_v<Value, wchar>) {
    Value const text[] = {value, 0};
    AddProperty(name, text);
  } else if constexpr (std::is_floating_point_v<Value>) {
    AddProperty(name, static_cast<double>(value));
  } else if constexpr (std::is_signed_v<Value>) {
    AddProperty(name, static_cast<std::int64_t>(value));
  } else {
    AddUnsigned(name, value);
  }
}

}  // namespace ZaM

#endif
