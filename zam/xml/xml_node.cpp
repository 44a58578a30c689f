#include "zam/xml/xml_node.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/foundation/never_destroyed.h"
#include "zam/foundation/ref.h"
#include "zam/xml/freed_blocks.h"
#include "zam/xml/list_iterator.h"
#include "zam/xml/number_text.h"
#include "zam/xml/xml_sax_parser.h"

namespace ZaM {

namespace {

wstring const& emptyText() {
  static detail::NeverDestroyed<wstring> empty;
  return empty.Get();
}

/// The room for a double's text that every program reading these documents counts on: 31 units and a terminator.
constexpr std::size_t doubleCapacity = 32;

/// Up to so many properties are found faster, and in less memory, by looking at each than through a map. (See
/// xml_tree_benchmark: with a map in every node a document takes a sixth more.)
constexpr std::size_t mostUnmapped = 8;

wstring textOf(bool value) {
  return value ? u"1" : u"0";
}

bool boolOf(wstring const& text, bool defaultValue) {
  if (text.starts_with(u'1')) return true;
  if (text.starts_with(u'0')) return false;
  return defaultValue;
}

/// The UTF-8 text of an event, as a wide string; null is empty.
void convert(XmlSaxParser& parser, unsigned char const* text, wstring& result) {
  int const length = text ? static_cast<int>(std::strlen(reinterpret_cast<char const*>(text))) : 0;
  parser.ConvertString(text, length, result);
}

}  // namespace

XmlNode* XmlNode::Create(wstring const& name) {
  return CreateCounted([&] { return new XmlNode(name); });
}

XmlNode* XmlNode::Create(wstring const& name, wstring const& content) {
  return CreateCounted([&] { return new XmlNode(name, content); });
}

XmlNode* XmlNode::Create(XmlNode const* source) {
  if (!source) throw BaseException(1);
  return CreateCounted([=] { return new XmlNode(source); });
}

XmlNode::XmlNode(wstring const& elementName) : initialized(!elementName.empty()), name(elementName) {}

XmlNode::XmlNode(wstring const& /*ignoredName*/, wstring const& text)
    : initialized(true), isContent(true), content(text) {}

// Once the delegate is done, the destructor frees what a failure in the body leaves behind.
XmlNode::XmlNode(XmlNode const* source) : XmlNode(source->name) {
  copyOwnData(*source);

  // No recursion, since a tree may be deeper than the stack.
  std::vector<std::pair<XmlNode const*, XmlNode*>> unfinished{{source, this}};
  while (!unfinished.empty()) {
    auto const [original, copy] = unfinished.back();
    unfinished.pop_back();
    for (XmlNode const* child : original->children) {
      XmlNode* const added = copy->AddChild(child->name);
      added->copyOwnData(*child);
      if (!child->children.empty()) unfinished.emplace_back(child, added);
    }
  }
}

void XmlNode::copyOwnData(XmlNode const& source) {
  SetContent(source.content);
  initialized = source.initialized;
  for (XmlProperty const* property : source.properties) AddProperty(property->GetName(), property->GetValue());
}

XmlNode::~XmlNode() {
  // Each list is walked once, since the entries of a large one have left the cache at its end.
  for (; !children.empty(); children.pop_front()) ReleaseOwned(children.front());
  for (; !properties.empty(); properties.pop_front()) delete properties.front();
  detail::JoinFreedBlocks();
}

XmlProperty* XmlNode::GetProperty(wstring const& propertyName) {
  return const_cast<XmlProperty*>(std::as_const(*this).GetProperty(propertyName));
}

XmlProperty const* XmlNode::GetProperty(wstring const& propertyName) const {
  if (!propertyMap.empty()) {
    auto const found = propertyMap.find(propertyName);
    return found == propertyMap.end() ? nullptr : found->second;
  }
  auto const found = std::find_if(properties.begin(), properties.end(),
                                  [&](XmlProperty const* property) { return property->GetName() == propertyName; });
  return found == properties.end() ? nullptr : *found;
}

wstring const& XmlNode::SetContent(wstring const& text) {
  ReportOutOfMemory([&] { content = text; });
  isContent = !content.empty();
  return content;
}

void XmlNode::AddChild(Node* child) {
  AddChild(dynamic_cast<XmlNode*>(child));
}

XmlNode* XmlNode::AddChild(XmlNode* child) {
  if (child) ReportOutOfMemory([&] { children.push_back(child); });
  return child;
}

XmlNode* XmlNode::AddChild(wstring const& childName) {
  return adopt(Ref<XmlNode>(ReportOutOfMemory([&] { return new XmlNode(childName); })));
}

XmlNode* XmlNode::AddContent(wstring const& text) {
  return adopt(Ref<XmlNode>(ReportOutOfMemory([&] { return new XmlNode(wstring(), text); })));
}

/// Adds a child that ends here if there is no room for it.
XmlNode* XmlNode::adopt(Ref<XmlNode> child) {
  AddChild(child.Get());
  return child.Detach();
}

void XmlNode::RemoveChild(XmlNode* child) {
  children.remove(child);
}

unsigned int XmlNode::ChildCount() const {
  return static_cast<unsigned int>(children.size());
}

Iterator* XmlNode::CreateIterator() {
  return ListIterator::Create(children);
}

XmlProperty* XmlNode::AddProperty(wstring const& propertyName, wstring const& value) {
  if (GetProperty(propertyName)) return nullptr;
  return ReportOutOfMemory([&] {
    auto property = std::make_unique<XmlProperty>(propertyName, value);
    std::list<XmlProperty*> entry{property.get()};
    if (propertyMap.empty() && properties.size() >= mostUnmapped) mapProperties();
    if (!propertyMap.empty()) propertyMap.emplace(propertyName, property.get());
    properties.splice(properties.end(), entry);
    return property.release();
  });
}

void XmlNode::mapProperties() {
  std::map<wstring, XmlProperty*> byName;
  for (XmlProperty* property : properties) byName.emplace(property->GetName(), property);
  propertyMap.swap(byName);
}

void XmlNode::RemoveProperty(wstring const& propertyName) {
  XmlProperty* const property = GetProperty(propertyName);
  if (!property) return;
  properties.remove(property);
  propertyMap.erase(propertyName);
}

void XmlNode::FilterChildren(std::list<XmlNode*>& result, wstring const& childName) const {
  std::list<XmlNode*> selected;
  ReportOutOfMemory([&] {
    std::copy_if(children.begin(), children.end(), std::back_inserter(selected),
                 [&](XmlNode const* child) { return childName.empty() || child->name == childName; });
  });
  result.swap(selected);
}

void XmlNode::InitializeProperties(XmlSaxParser* parser, unsigned char const** attributes) {
  if (!attributes) return;
  wstring propertyName;
  wstring value;
  for (; *attributes; attributes += 2) {
    convert(*parser, attributes[0], propertyName);
    convert(*parser, attributes[1], value);
    AddProperty(propertyName, value);
  }
}

void XmlNode::AddPropertyLong(wstring const& propertyName, std::int32_t value) {
  AddProperty(propertyName, detail::FormatNumber(value));
}

void XmlNode::AddPropertySizet(wstring const& propertyName, unsigned int value) {
  AddProperty(propertyName, detail::FormatNumber(value));
}

void XmlNode::AddPropertyTimet(wstring const& propertyName, std::int64_t value) {
  AddProperty(propertyName, detail::FormatNumber(static_cast<std::uint64_t>(value)));
}

void XmlNode::AddPropertyBool(wstring const& propertyName, bool value) {
  AddProperty(propertyName, textOf(value));
}

void XmlNode::AddPropertyDouble(wstring const& propertyName, double value) {
  AddProperty(propertyName, detail::FormatDouble(value, doubleCapacity));
}

std::int32_t XmlNode::GetPropertyLong(wstring const& propertyName, std::int32_t defaultValue) const {
  return detail::ScanInt32(GetPropertyText(propertyName)).value_or(defaultValue);
}

unsigned int XmlNode::GetPropertySizet(wstring const& propertyName, unsigned int defaultValue) const {
  return detail::ScanUInt32(GetPropertyText(propertyName)).value_or(defaultValue);
}

std::int64_t XmlNode::GetPropertyTimet(wstring const& propertyName, std::int64_t defaultValue) const {
  auto const bits = detail::ScanUInt64(GetPropertyText(propertyName));
  return bits ? static_cast<std::int64_t>(*bits) : defaultValue;
}

bool XmlNode::GetPropertyBool(wstring const& propertyName, bool defaultValue) const {
  return boolOf(GetPropertyText(propertyName), defaultValue);
}

double XmlNode::GetPropertyDouble(wstring const& propertyName, double defaultValue) const {
  return detail::ScanDouble(GetPropertyText(propertyName)).value_or(defaultValue);
}

wstring const& XmlNode::GetPropertyText(wstring const& propertyName) const {
  XmlProperty const* const property = GetProperty(propertyName);
  return property ? property->GetValue() : emptyText();
}

void XmlNode::AddSubNodeText(wstring const& childName, wstring const& text) {
  Ref<XmlNode> child(Create(childName));
  child->adopt(Ref<XmlNode>(Create(wstring(), text)));
  adopt(std::move(child));
}

void XmlNode::AddSubNodeDouble(wstring const& childName, double value) {
  AddSubNodeText(childName, detail::FormatDouble(value, doubleCapacity));
}

void XmlNode::AddSubNodeBool(wstring const& childName, bool value) {
  AddSubNodeText(childName, textOf(value));
}

void XmlNode::AddSubNodeSizet(wstring const& childName, unsigned int value) {
  AddSubNodeText(childName, detail::FormatNumber(value));
}

void XmlNode::AddSubNodeLong(wstring const& childName, std::int32_t value) {
  AddSubNodeText(childName, detail::FormatNumber(value));
}

/// The only child that `FilterChildren` would select, or null.
XmlNode const* XmlNode::findOnlyChild(wstring const& childName) const {
  XmlNode const* found = nullptr;
  for (XmlNode const* child : children) {
    if (!childName.empty() && child->name != childName) continue;
    if (found) return nullptr;
    found = child;
  }
  return found;
}

wstring const& XmlNode::GetSubNodeText(wstring const& childName, wstring const& defaultValue, bool required) const {
  XmlNode const* const child = findOnlyChild(childName);
  if (!child && required) throw ReportOutOfMemory([&] { return XMLFormatException(9, childName); });
  if (!child) return defaultValue;
  return child->children.size() == 1 ? child->children.front()->content : emptyText();
}

wstring const& XmlNode::GetSubNodeText(wstring const& childName) const {
  return GetSubNodeText(childName, emptyText(), true);
}

double XmlNode::GetSubNodeDouble(wstring const& childName, double defaultValue) const {
  return detail::ScanDouble(GetSubNodeText(childName, emptyText(), false)).value_or(defaultValue);
}

bool XmlNode::GetSubNodeBool(wstring const& childName, bool defaultValue) const {
  return boolOf(GetSubNodeText(childName, emptyText(), false), defaultValue);
}

unsigned int XmlNode::GetSubNodeSizet(wstring const& childName, unsigned int defaultValue) const {
  return detail::ScanUInt32(GetSubNodeText(childName, emptyText(), false)).value_or(defaultValue);
}

std::int32_t XmlNode::GetSubNodeLong(wstring const& childName, std::int32_t defaultValue) const {
  return detail::ScanInt32(GetSubNodeText(childName, emptyText(), false)).value_or(defaultValue);
}

void XmlNode::OnStartElement(XmlSaxParser* parser, unsigned char const* childName, unsigned char const** attributes) {
  wstring converted;
  convert(*parser, childName, converted);
  Ref<XmlNode> child(Create(converted));
  child->InitializeProperties(parser, attributes);
  parser->PushCallback(adopt(std::move(child)));
}

void XmlNode::OnEndElement(XmlSaxParser* parser, unsigned char const* /*elementName*/) {
  unsigned int const size = parser->GetCharacterBufferSize();
  if (size == 0) return;
  if (size > std::numeric_limits<int>::max()) throw BaseException(5);  // more than is converted at once
  Ref<XmlNode> text(Create(u"text"));
  parser->ConvertString(parser->GetCharacterBuffer(), static_cast<int>(size), text->content);
  text->isContent = !text->content.empty();
  adopt(std::move(text));
}

}  // namespace ZaM
