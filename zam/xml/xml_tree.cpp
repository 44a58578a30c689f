#include "zam/xml/xml_tree.h"

#include <libxml/tree.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <typeinfo>
#include <utility>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/platform/file.h"
#include "zam/platform/unicode.h"
#include "zam/xml/gzip_file.h"
#include "zam/xml/node_children.h"
#include "zam/xml/tree_builder.h"
#include "zam/xml/xml_conversion.h"
#include "zam/xml/xml_document.h"
#include "zam/xml/xml_events.h"
#include "zam/xml/xml_library.h"
#include "zam/xml/xml_sax_parser.h"

namespace ZaM {

namespace {

/// How much of a file is inflated at once.
constexpr std::size_t pieceSize = 65536;

template <class Unit, std::size_t size>
std::span<char> BytesOf(std::array<Unit, size>& area) {
  return {reinterpret_cast<char*>(area.data()), sizeof area};
}

/// Where so many units become UTF-8: in a fixed area, which cuts them where they may be cut, or in one that is large
/// enough.
struct Area {
  Area(std::size_t units, std::span<char> fixed, bool mayCut) : bytes(fixed) {
    std::size_t const needed = units * 3;  // a unit takes at most three bytes
    if (mayCut || needed <= fixed.size()) return;
    large = std::make_unique_for_overwrite<char[]>(needed);
    bytes = {large.get(), needed};
  }

  std::unique_ptr<char[]> large;
  std::span<char> bytes;
};

/// What of a document SetMaxBytes bounds, beside the nodes.
constexpr wchar documentSize[] = u"bytes of an XML document";

/// What names and values are cut to on the ways through a document model.
constexpr std::size_t mostNameUnits = 512;
constexpr std::size_t mostValueUnits = 1024;

}  // namespace

XmlTree::XmlTree() = default;

// Once the delegate is done, the destructor frees what a failure in the body leaves behind.
XmlTree::XmlTree(wstring const& path) : XmlTree() {
  Read(path);
}

XmlTree::XmlTree(XmlTree const* source) : XmlTree() {
  if (!source) throw BaseException(ErrorId::InvalidArgument);
  SetFilename(source->filename);
  compression = source->compression;
  doCutValues = source->doCutValues;
  maxBytes = source->maxBytes;
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
  detail::XmlScope const scope;  // before anything else, since libxml2 needs memory on a new thread
  root = nullptr;
  detail::SetKeepBlanks(false);
  detail::SetSubstituteEntities(true);
  if (typeid(*this) == typeid(XmlTree)) {
    detail::TreeBuilder builder(root, {.mostBytes = maxBytes});
    ParseFile(builder, {});
  } else {
    // The events are told to a derived class, which may take them itself.
    XmlSaxParser parser;
    parser.SetMaxBytes(maxBytes);
    parser.ParseFile(filename, this);
  }
  return true;
}

/// Returns whether the file is well-formed. It is read to its end in any case, so that damage in it is always reported.
bool XmlTree::ParseFile(detail::TreeBuilder& builder, detail::XmlEventOptions const& options) const {
  platform::File file = ReportOutOfMemory([this] { return platform::File::OpenForReading(filename); });
  if (!file.IsOpen()) throw ReportOutOfMemory([this] { return FileIOException(ErrorId::FileOpen, filename); });
  detail::GzipFile stream(std::move(file), detail::GzipFile::Mode::Read);
  detail::XmlEventParser parser(builder, options);
  auto const buffer = ReportOutOfMemory([] { return std::make_unique_for_overwrite<char[]>(pieceSize); });
  for (std::uint64_t size = 0;;) {
    auto const count = stream.Read({buffer.get(), pieceSize});
    if (!count) throw ReportOutOfMemory([this] { return FileIOException(ErrorId::FileRead, filename); });
    if (*count == 0) break;
    RequireAtMost(documentSize, size += *count, maxBytes);
    parser.Feed({buffer.get(), *count});
  }
  parser.Finish();
  return parser.IsWellFormed();
}

bool XmlTree::Read(wstring const& path) {
  SetFilename(path);
  return Read();
}

void XmlTree::OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) {
  root = nullptr;
  wstring converted;
  parser->ConvertString(name, static_cast<int>(std::strlen(reinterpret_cast<char const*>(name))), converted);
  root = Ref<XmlNode>(XmlNode::Create(converted));
  root->InitializeProperties(parser, attributes);
  parser->PushCallback(root.Get());
}

void XmlTree::OnEndElement(XmlSaxParser* /*parser*/, unsigned char const* /*name*/) {}

bool XmlTree::Read2() {
  detail::SetKeepBlanks(false);
  return ReadModel([this](auto& builder, auto const& options) { return ParseFile(builder, options); });
}

bool XmlTree::ReadBuffer(std::string const& text) {
  filename.clear();
  return ReadModel([&](auto& builder, auto const& options) {
    RequireAtMost(documentSize, text.size(), maxBytes);
    detail::XmlEventParser parser(builder, options);
    parser.Feed(text);
    parser.Finish();
    return parser.IsWellFormed();
  });
}

/// Replaces the tree by what `parse` reads; drops it where that isn't well-formed or can't be read.
template <class Parse>
bool XmlTree::ReadModel(Parse parse) {
  detail::XmlScope const scope;  // as above
  root = nullptr;
  Ref<XmlNode> read;
  bool isWellFormed;
  {
    detail::TreeOptions options{.isModel = true, .mostBytes = maxBytes};
    if (doCutValues) options.mostNameUnits = mostNameUnits, options.mostValueUnits = mostValueUnits;
    detail::TreeBuilder builder(read, options);
    detail::XmlEventOptions const events{.substitutesEntities = detail::GetSubstituteEntities(),
                                         .keepsBlanks = detail::GetKeepBlanks(),
                                         .isModel = true};
    isWellFormed = parse(builder, events);
  }
  if (isWellFormed) root = std::move(read);
  return isInitialized = isWellFormed;
}

bool XmlTree::Write() const {
  std::string const text = MakeText(true);
  return ReportOutOfMemory([&] {
    platform::File file = platform::File::CreateForWriting(filename);
    if (!file.IsOpen()) throw FileIOException(ErrorId::FileCreate, filename);
    bool isWritten;
    if (compression == 0) {
      isWritten = file.Write(text) && file.Close();
    } else {
      detail::GzipFile stream(std::move(file), detail::GzipFile::Mode::Write);
      isWritten = stream.Write(text) && stream.Close();
    }
    if (!isWritten) throw FileIOException(ErrorId::FileWrite, filename);
    return true;
  });
}

bool XmlTree::Write(wstring const& path) {
  SetFilename(path);
  return Write();
}

std::string const& XmlTree::WriteBuffer() const {
  static thread_local std::string text;
  return text = MakeText(false);
}

std::string XmlTree::MakeText(bool isFormatted) const {
  if (!root) throw BaseException(ErrorId::InvalidXmlNode);
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
    if (xmlNode* const element = WriteAlone(*document, original, above, isTop)) {
      unfinished.emplace_back(&original, element);
    }
  };
  write(*node, parent, isRoot != 0);
  while (!unfinished.empty()) {
    auto const [original, element] = unfinished.back();
    unfinished.pop_back();
    for (XmlNode const& child : XmlNode::Children(*original)) write(child, element, false);
  }
}

/// Writes a node without its children. Returns the element for them, or null for a text, which has none.
xmlNode* XmlTree::WriteAlone(xmlDoc& document, XmlNode const& node, xmlNode* parent, bool isRoot) const {
  if (node.IsContent() && !isRoot) {
    WriteContent(*parent, node.content.Copy());
    return nullptr;
  }
  Area area(node.GetName().size(), BytesOf(nameBuffer), doCutValues);
  xmlNode* const element = detail::AddElement(document, parent, detail::ToXmlName(node.GetName(), area.bytes).bytes);
  if (!node.content.IsEmpty()) WriteContent(*element, node.content.Copy());
  WriteProperties(*element, node);
  return element;
}

void XmlTree::WriteProperties(xmlNode& element, XmlNode const& node) const {
  xmlAttr* last = nullptr;
  bool mayRepeat = false;
  node.ForEachAttribute([&](wstring const& propertyName, wstring const& propertyValue) {
    Area nameArea(propertyName.size(), BytesOf(nameBuffer), doCutValues);
    Area valueArea(propertyValue.size(), BytesOf(valueBuffer), doCutValues);
    auto const [name, isFaithful] = detail::ToXmlName(propertyName, nameArea.bytes);
    std::string_view const value = detail::ToXmlText(propertyValue, valueArea.bytes);
    mayRepeat = mayRepeat || !isFaithful;
    if (!mayRepeat || !detail::ReplaceAttribute(element, name, value)) {
      last = detail::AddAttribute(element, last, name, value);
    }
  });
}

void XmlTree::WriteContent(xmlNode& element, wstring const& content) const {
  Area area(content.size(), BytesOf(valueBuffer), false);
  detail::AddText(element, detail::ToXmlText(content, area.bytes));
}

}  // namespace ZaM
