// An XML document in memory, and its way from and to files.
#ifndef ZAM_XML_XML_TREE_H
#define ZAM_XML_XML_TREE_H

#include <array>
#include <string>

#include "zam/foundation/export.h"
#include "zam/foundation/ref.h"
#include "zam/foundation/types.h"
#include "zam/xml/xml_node.h"
#include "zam/xml/xml_sax_callback.h"

struct _xmlDoc;
struct _xmlNode;

namespace ZaM {

/// A file name, a root node and a compression, for documents that are stored as XML, plain or as one gzip stream.
///
///     XmlTree tree;
///     tree.SetRoot(XmlNode::Create(u"library"));
///     tree.GetRoot()->AddSubNodeText(u"title", u"Emma");
///     tree.Write(u"library.xml.gz");
///
/// There are two ways to read. `Read` goes through the event parser: it is the way for large documents. `Read2` and
/// `ReadBuffer` go through libxml2's document model, which tells whether the text was well-formed, and keeps more:
///
/// |                       | `Read`                         | `Read2`, `ReadBuffer`                                  |
/// |-----------------------|--------------------------------|--------------------------------------------------------|
/// | malformed text        | true; the part that was read   | false; no root, and `initialized` is false             |
/// | text before a child   | dropped                        | a child                                                |
/// | comments and the like | dropped                        | children with libxml2's name, and their text           |
/// | name `x:a`            | `x:a`, xmlns is an attribute   | `a` where x is declared, and no xmlns                  |
/// | entity references     | substituted                    | as the switch stands: substituted or children of their |
/// |                       |                                | name and text; of an attribute the first piece is kept |
/// | white space only      | text where behind a last child | left out by `Read2`; for `ReadBuffer` see below        |
/// | names                 | up to 50,000 bytes             | the first 512 units; malformed beyond 50,000 bytes     |
/// | attribute values      | any length                     | the first 1,024 units                                  |
/// | levels of elements    | any number                     | malformed beyond 257                                   |
///
/// Two switches of the process, as libxml2 would have them, stay as the last operation set them: `Read` turns entity
/// substitution on; `Read`, `Read2`, `Write` and `WriteBuffer` turn white space between elements off. `ReadBuffer`
/// parses under what they are then; at the start they are off and on.
///
/// No document reaches anything outside itself: no external entity, document type or inclusion is opened. On both ways
/// a document counts as malformed that has more than 4,096 attributes on an element, has a start tag or a comment of
/// more than about 10,000,000 bytes, or is blown up by its entities. Of compressed files gzip alone is inflated.
///
/// Writing replaces what XML can't carry, so that a file can always be read: control characters by a blank, lone
/// surrogates and U+FFFE and U+FFFF by U+FFFD, what doesn't belong into a name, a colon that doesn't stand
/// between two names, and an empty name, by an underscore.
/// Names are cut at 1,024 bytes of UTF-8 and values at 2,048, each behind a whole character; where two attributes of an
/// element become alike by that, the first keeps its place and gets the later value. Trees of any depth can be written.
///
/// Owning:  the tree owns one reference to its root, and releases it at its end. It is not counted itself.
/// Threads: one thread at a time; different trees may be read and written on different threads at once.
/// Errors:  FileIOException with 2003 (can't be opened, also while another writes it), 2004 (can't be read, or what is
///          compressed is damaged), 2002 (can't be created, also while another reads it), 2001 (not all of it could be
///          written), each with the path; BaseException with id 5 when memory runs out.
class ZAM_EXPORT XmlTree final : public XmlSaxCallback {
 public:
  /// No file name, no root, compression 9.
  XmlTree();

  /// The same, then `Read(path)`, whose exceptions pass through.
  explicit XmlTree(wstring const& path);

  /// A deep copy: file name, root if there is one, compression. Throws BaseException with id 1 for null.
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

  /// False if the last `Read2` or `ReadBuffer` met malformed text; `Read` leaves it as it is.
  bool initialized() const { return isInitialized; }

  /// Replaces the tree by the content of the file, through the event parser. Returns true, also for malformed text, of
  /// which the root then holds what came before the error; there is no root if nothing did.
  bool Read();
  bool Read(wstring const& path);

  /// Replaces the tree by the content of the file, through the document model. Returns whether it is well-formed.
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
  bool take(_xmlDoc* document);
  XmlNode* ReadNode(_xmlNode* node);
  Ref<XmlNode> readAlone(_xmlNode const& node);

  std::string makeText(bool isFormatted) const;

  void WriteNode(_xmlDoc* document, XmlNode* node, _xmlNode* parent, int isRoot) const;
  _xmlNode* writeAlone(_xmlDoc& document, XmlNode const& node, _xmlNode* parent, bool isRoot) const;
  void writeProperties(_xmlNode& element, XmlNode const& node) const;
  void writeContent(_xmlNode& element, wstring const& content) const;

  bool isInitialized = true;
  wstring filename;
  Ref<XmlNode> root;
  int compression = 9;

  // What names and values pass through, as units on reading and as 1,024 and 2,048 bytes on writing.
  mutable std::array<wchar, 512> nameBuffer;
  mutable std::array<wchar, 1024> valueBuffer;
};

}  // namespace ZaM

#endif
