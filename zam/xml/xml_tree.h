// An XML document in memory, and its way from and to files.
#ifndef ZAM_XML_XML_TREE_H
#define ZAM_XML_XML_TREE_H

#include <array>
#include <cstdint>
#include <limits>
#include <string>

#include "zam/foundation/export.h"
#include "zam/foundation/ref.h"
#include "zam/foundation/types.h"
#include "zam/xml/xml_node.h"
#include "zam/xml/xml_sax_callback.h"

struct _xmlDoc;
struct _xmlNode;

// Trees belong to whoever made them, and nobody deletes one through its base: no virtual destructor is missed.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace ZaM {

namespace detail {
class TreeBuilder;
struct XmlEventOptions;
}  // namespace detail

/// A file name, a root node and a compression, for documents that are stored as XML, plain or as one gzip stream.
///
///     XmlTree tree;
///     tree.SetRoot(XmlNode::Create(u"library"));
///     tree.GetRoot()->AddSubNodeText(u"title", u"Emma");
///     tree.Write(u"library.xml.gz");
///
/// CAUTION: unless told otherwise, `Read2`, `ReadBuffer`, `Write` and `WriteBuffer` CUT LONG ATTRIBUTES WITHOUT A WORD:
/// on reading, names after 512 units and values after 1,024; on writing, names after 1,024 bytes of UTF-8 and values
/// after 2,048. Programs that exchange these files count on it. Where documents hold long values, such as the paths of
/// a drawing: `SetDoCutValues(false)`. `Read` and texts between tags never lose anything that way.
///
/// There are two ways to read. `Read` is the way of events; `Read2` and `ReadBuffer` tell whether the text was
/// well-formed, and keep more:
///
/// |                       | `Read`                         | `Read2`, `ReadBuffer`                                  |
/// |-----------------------|--------------------------------|--------------------------------------------------------|
/// | malformed text        | true; the part that was read   | false; no root, and `initialized` is false             |
/// | text before a child   | dropped                        | a child                                                |
/// | comments and the like | dropped                        | children with libxml2's name, and their text           |
/// | CDATA section         | text like any other            | a child of its own, without a name                     |
/// | name `x:a`            | `x:a`, xmlns is an attribute   | `a` where x is declared, and no xmlns                  |
/// | entity references     | substituted                    | as the switch stands: substituted or children of their |
/// |                       |                                | name and text; of an attribute the first piece is kept |
/// | white space only      | text where after a last child  | left out by `Read2`; for `ReadBuffer` see below        |
/// | names                 | whole                          | the first 512 units, or as told above                  |
/// | attribute values      | whole                          | the first 1,024 units, or as told above                |
///
/// Two switches of the process, as libxml2 would have them, stay as the last operation set them: `Read` turns entity
/// substitution on; `Read`, `Read2`, `Write` and `WriteBuffer` turn white space between elements off. `ReadBuffer`
/// parses under what they are then; at the start they are off and on.
///
/// No document reaches anything outside itself: no external entity, document type or inclusion is opened. Of compressed
/// files gzip alone is inflated. What a file may inflate to, and what a tree may take, has no bound unless
/// `SetMaxBytes` gives one. Documents that would cost more than in proportion to their size end all three operations in
/// LimitExceededException; the limits are those of XmlSaxParser, and 4 GiB for the text or the attributes of one node.
/// After one `Read` leaves what it has read before, as after other failures; the others leave no root.
///
/// Writing replaces what XML can't carry, so that a file can always be read: control characters by a blank, lone
/// surrogates and U+FFFE and U+FFFF by U+FFFD, what doesn't belong into a name, a colon that doesn't stand
/// between two names, and an empty name, by an underscore. Where names and values are cut that happens after a whole
/// character, and where two attributes of an element become alike by that, the first keeps its place and gets the later
/// value. Trees of any depth can be written and read.
///
/// Programs may derive from it: `Read` then tells a derived tree of the document's start and end and of its root, for
/// which its operations may push callbacks of their own. End a derived tree as what it is: no destructor is virtual.
///
/// Owning:  the tree owns one reference to its root, and releases it at its end. It is not counted itself.
/// Threads: one thread at a time; different trees may be read and written on different threads at once.
/// Errors:  FileIOException with 2003 (can't be opened, also while another writes it), 2004 (can't be read, or what is
///          compressed is damaged), 2002 (can't be created, also while another reads it), 2001 (not all of it could be
///          written), each with the path; LimitExceededException as told above; BaseException with id 5 when memory
///          runs out.
class ZAM_EXPORT XmlTree : public XmlSaxCallback {
 public:
  /// No file name, no root, compression 9.
  XmlTree();

  /// The same, then `Read(path)`, whose exceptions pass through.
  explicit XmlTree(wstring const& path);

  /// A deep copy: file name, root if there is one, compression and what else is set. Throws BaseException with id 1 for
  /// null.
  explicit XmlTree(XmlTree const* source);

  XmlTree(XmlTree const&) = delete;
  XmlTree& operator=(XmlTree const&) = delete;
  ~XmlTree();

  /// The root, or null; no reference is taken.
  XmlNode* GetRoot() const { return root.Get(); }

  /// Makes `newRoot`, which may be null, the root and returns it. The caller's reference passes to the tree, and the
  /// former root's passes to the caller.
  XmlNode* SetRoot(XmlNode* newRoot);

  /// The path that reading and writing use.
  wstring const& GetFilename() const { return filename; }
  wstring const& SetFilename(wstring const& path);

  /// 0: plain; 1 to 9: gzip, always at level 9.
  int GetCompression() const { return compression; }

  /// Stores the value, or the nearer bound of 0 to 9, and returns what it stored.
  int SetCompression(int level);

  /// Whether `Read2`, `ReadBuffer`, `Write` and `WriteBuffer` cut long names and values as told above; true at the
  /// start.
  bool GetDoCutValues() const { return doCutValues; }
  void SetDoCutValues(bool cut) { doCutValues = cut; }

  /// What a document may take that is read, in bytes: its text, inflated, and its nodes and names, each for itself; no
  /// bound at the start. Where it would take more, reading ends in LimitExceededException. For `Read` of a derived
  /// tree, which may keep nothing or something else, the text alone counts.
  std::uint64_t GetMaxBytes() const { return maxBytes; }
  void SetMaxBytes(std::uint64_t most) { maxBytes = most; }

  /// False if the last `Read2` or `ReadBuffer` met malformed text; `Read` leaves it as it is.
  bool initialized() const { return isInitialized; }

  /// Replaces the tree by the content of the file. Returns true, also for malformed text, of which the root then holds
  /// what came before the error; there is no root if nothing did.
  bool Read();
  bool Read(wstring const& path);

  /// Replaces the tree by the content of the file. Returns whether it is well-formed.
  bool Read2();

  /// Empties the file name and replaces the tree by the document in `text`, UTF-8 that isn't compressed. Returns
  /// whether it is well-formed.
  bool ReadBuffer(std::string const& text);

  /// Stores the tree in the file, indented. Returns true. The text is made before the file is opened. A file that
  /// couldn't be written whole (2001), or that memory ran out for once it was open, is left with what it got.
  /// Throws BaseException with id 27 if there is no root; the file is untouched then.
  bool Write() const;
  bool Write(wstring const& path);

  /// The document as text, without indentation and never compressed. The string belongs to the thread, and each call on
  /// the thread, of whatever tree, replaces what the one before returned.
  /// Throws BaseException with id 27 if there is no root.
  std::string const& WriteBuffer() const;

  /// The root begins; what lies inside goes to it.
  void OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override;
  /// Nothing: the root takes its own end.
  void OnEndElement(XmlSaxParser* parser, unsigned char const* name) override;

 private:
  bool ParseFile(detail::TreeBuilder& builder, detail::XmlEventOptions const& options) const;
  template <class Parse>
  bool ReadModel(Parse parse);

  std::string MakeText(bool isFormatted) const;

  void WriteNode(_xmlDoc* document, XmlNode* node, _xmlNode* parent, int isRoot) const;
  _xmlNode* WriteAlone(_xmlDoc& document, XmlNode const& node, _xmlNode* parent, bool isRoot) const;
  void WriteProperties(_xmlNode& element, XmlNode const& node) const;
  void WriteContent(_xmlNode& element, wstring const& content) const;

  bool isInitialized = true;
  wstring filename;
  Ref<XmlNode> root;
  int compression = 9;

  bool doCutValues = true;
  std::uint64_t maxBytes = std::numeric_limits<std::uint64_t>::max();

  // What names and values pass through on writing, as 1,024 and 2,048 bytes.
  mutable std::array<wchar, 512> nameBuffer;
  mutable std::array<wchar, 1024> valueBuffer;
};

}  // namespace ZaM

#pragma GCC diagnostic pop

#endif
