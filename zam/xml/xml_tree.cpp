#include "zam/xml/xml_tree.h"

#include <libxml/tree.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/platform/file.h"
#include "zam/platform/unicode.h"
#include "zam/xml/freed_blocks.h"
#include "zam/xml/gzip_file.h"
#include "zam/xml/xml_conversion.h"
#include "zam/xml/xml_document.h"
#include "zam/xml/xml_sax_parser.h"

namespace ZaM {

namespace {

/// How much of a file is inflated at once.
constexpr std::size_t pieceSize = 65536;

/// Null for what isn't well-formed. The file is read to its end in any case, so that damage in it is always reported.
detail::XmlDocument documentIn(wstring const& filename) {
  platform::File file = platform::File::OpenForReading(filename);
  if (!file.IsOpen()) throw FileIOException(2003, filename);
  detail::GzipFile stream(std::move(file), detail::GzipFile::Mode::read);
  detail::PushParser parser;
  std::vector<char> buffer(pieceSize);
  for (;;) {
    auto const count = stream.Read(buffer);
    if (!count) throw FileIOException(2004, filename);
    if (*count == 0) break;
    parser.Feed({buffer.data(), *count});
  }
  parser.Finish();
  return parser.TakeDocument();
}

detail::XmlDocument documentIn(std::string_view text) {
  detail::PushParser parser;
  parser.Feed(text);
  parser.Finish();
  return parser.TakeDocument();
}

template <class Unit, std::size_t size>
std::span<char> bytesOf(std::array<Unit, size>& area) {
  return {reinterpret_cast<char*>(area.data()), sizeof area};
}

std::string_view bytesOf(unsigned char const* text) {
  return text ? std::string_view(reinterpret_cast<char const*>(text)) : std::string_view();
}

/// The first child of a node of libxml2. Those of a reference to an entity lie in the document type.
xmlNode* firstChild(xmlNode const& node) {
  return node.type == XML_ENTITY_REF_NODE ? nullptr : node.children;
}

void discard(xmlNode* node) {
  xmlUnlinkNode(node);
  xmlFreeNode(node);
  detail::JoinFreedBlocks();
}

}  // namespace

XmlTree::XmlTree() = default;

// Once the delegate is done, the destructor frees what a failure in the body leaves behind.
XmlTree::XmlTree(wstring const& path) : XmlTree() {
  Read(path);
}

XmlTree::XmlTree(XmlTree const* source) : XmlTree() {
  if (!source) throw BaseException(1);
  SetFilename(source->filename);
  compression = source->compression;
  if (source->root) root = Ref<XmlNode>(XmlNode::Create(source->GetRoot()));
}

XmlTree::~XmlTree() = default;

XmlNode* XmlTree::SetRoot(XmlNode* newRoot) {
  static_cast<void>(root.Detach());
  root = Ref<XmlNode>(newRoot);
  return newRoot;
}

wstring const& XmlTree::SetFilename(wstring const& path) {
  ReportOutOfMemory([&] { filename = path; });
  return filename;
}

int XmlTree::SetCompression(int level) {
  return compression = std::clamp(level, 0, 9);
}

bool XmlTree::Read() {
  XmlSaxParser parser;
  root = nullptr;
  parser.ParseFile(filename, this);
  return true;
}

bool XmlTree::Read(wstring const& path) {
  SetFilename(path);
  return Read();
}

void XmlTree::OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) {
  root = nullptr;
  wstring converted;
  parser->ConvertString(name, static_cast<int>(bytesOf(name).size()), converted);
  root = Ref<XmlNode>(XmlNode::Create(converted));
  root->InitializeProperties(parser, attributes);
  parser->PushCallback(root.Get());
}

void XmlTree::OnEndElement(XmlSaxParser* /*parser*/, unsigned char const* /*name*/) {}

bool XmlTree::Read2() {
  root = nullptr;
  detail::SetKeepBlanks(false);
  return take(ReportOutOfMemory([&] { return documentIn(filename); }).get());
}

bool XmlTree::ReadBuffer(std::string const& text) {
  filename.clear();
  root = nullptr;
  return take(documentIn(text).get());
}

/// Replaces the tree by the document's; null is a malformed one.
bool XmlTree::take(xmlDoc* document) {
  xmlNode* const top = document ? xmlDocGetRootElement(document) : nullptr;
  if (top) root = Ref<XmlNode>(ReportOutOfMemory([&] { return ReadNode(top); }));
  return isInitialized = top != nullptr;
}

/// Frees what lies under `node` as soon as it is read, so that the memory of one document serves for both, while it is
/// in the cache. (See xml_tree_benchmark: otherwise reading takes twice the memory.)
///
/// No recursion, here and in WriteNode, since a document may be deeper than the stack.
XmlNode* XmlTree::ReadNode(xmlNode* node) {
  Ref<XmlNode> top = readAlone(*node);
  std::vector<std::pair<xmlNode*, XmlNode*>> open{{node, top.Get()}};
  while (!open.empty()) {
    auto const [original, copy] = open.back();
    if (xmlNode* const next = firstChild(*original)) {
      Ref<XmlNode> child = readAlone(*next);
      copy->AddChild(child.Get());
      open.emplace_back(next, child.Detach());
      continue;
    }
    open.pop_back();
    if (!open.empty()) discard(original);
  }
  return top.Detach();
}

Ref<XmlNode> XmlTree::readAlone(xmlNode const& node) {
  Ref<XmlNode> copy(XmlNode::Create(wstring(detail::ToUnits(bytesOf(node.name), nameBuffer))));
  // libxml2 keeps short texts where elements have their attributes.
  xmlAttr const* attribute = node.type == XML_ELEMENT_NODE ? node.properties : nullptr;
  for (; attribute; attribute = attribute->next) {
    unsigned char const* const value = attribute->children ? attribute->children->content : nullptr;
    copy->AddProperty(wstring(detail::ToUnits(bytesOf(attribute->name), nameBuffer)),
                      wstring(detail::ToUnits(bytesOf(value), valueBuffer)));
  }
  if (!node.content) return copy;
  std::string_view const content = bytesOf(node.content);
  copy->SetContent(content.size() <= valueBuffer.size() ? wstring(detail::ToUnits(content, valueBuffer))
                                                        : platform::Utf16FromUtf8(content));
  return copy;
}

bool XmlTree::Write() const {
  std::string const text = makeText(true);
  return ReportOutOfMemory([&] {
    platform::File file = platform::File::CreateForWriting(filename);
    if (!file.IsOpen()) throw FileIOException(2002, filename);
    bool isWritten;
    if (compression == 0) {
      isWritten = file.Write(text) && file.Close();
    } else {
      detail::GzipFile stream(std::move(file), detail::GzipFile::Mode::write);
      isWritten = stream.Write(text) && stream.Close();
    }
    if (!isWritten) throw FileIOException(2001, filename);
    return true;
  });
}

bool XmlTree::Write(wstring const& path) {
  SetFilename(path);
  return Write();
}

std::string const& XmlTree::WriteBuffer() const {
  static thread_local std::string text;
  return text = makeText(false);
}

std::string XmlTree::makeText(bool isFormatted) const {
  if (!root) throw BaseException(27);
  detail::XmlScope const scope;
  detail::SetKeepBlanks(false);
  return ReportOutOfMemory([&] {
    detail::XmlDocument const document = detail::NewDocument();
    WriteNode(document.get(), root.Get(), nullptr, 1);
    return detail::TextOf(*document, isFormatted);
  });
}

void XmlTree::WriteNode(xmlDoc* document, XmlNode* node, xmlNode* parent, int isRoot) const {
  std::vector<std::pair<XmlNode const*, xmlNode*>> unfinished;
  auto const write = [&](XmlNode const& original, xmlNode* above, bool isTop) {
    if (xmlNode* const element = writeAlone(*document, original, above, isTop)) {
      unfinished.emplace_back(&original, element);
    }
  };
  write(*node, parent, isRoot != 0);
  while (!unfinished.empty()) {
    auto const [original, element] = unfinished.back();
    unfinished.pop_back();
    for (XmlNode const* child : original->GetChildren()) write(*child, element, false);
  }
}

/// Writes a node without its children. Returns the element for them, or null for a text, which has none.
xmlNode* XmlTree::writeAlone(xmlDoc& document, XmlNode const& node, xmlNode* parent, bool isRoot) const {
  if (node.IsContent() && !isRoot) {
    writeContent(*parent, node.GetContent());
    return nullptr;
  }
  xmlNode* const element =
      detail::AddElement(document, parent, detail::ToXmlName(node.GetName(), bytesOf(nameBuffer)).bytes);
  if (!node.GetContent().empty()) writeContent(*element, node.GetContent());
  writeProperties(*element, node);
  return element;
}

void XmlTree::writeProperties(xmlNode& element, XmlNode const& node) const {
  xmlAttr* last = nullptr;
  bool mayRepeat = false;
  for (XmlProperty const* property : node.GetProperties()) {
    auto const [name, isFaithful] = detail::ToXmlName(property->GetName(), bytesOf(nameBuffer));
    std::string_view const value = detail::ToXmlText(property->GetValue(), bytesOf(valueBuffer));
    mayRepeat = mayRepeat || !isFaithful;
    if (!mayRepeat || !detail::ReplaceAttribute(element, name, value)) {
      last = detail::AddAttribute(element, last, name, value);
    }
  }
}

void XmlTree::writeContent(xmlNode& element, wstring const& content) const {
  // A unit takes at most three bytes.
  std::size_t const capacity = content.size() * 3;
  if (capacity <= sizeof valueBuffer) return detail::AddText(element, detail::ToXmlText(content, bytesOf(valueBuffer)));
  auto const area = std::make_unique<char[]>(capacity);
  detail::AddText(element, detail::ToXmlText(content, {area.get(), capacity}));
}

}  // namespace ZaM
