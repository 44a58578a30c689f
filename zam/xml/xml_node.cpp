#include "zam/xml/xml_node.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/foundation/never_destroyed.h"
#include "zam/foundation/ref.h"
#include "zam/xml/list_iterator.h"
#include "zam/xml/node_children.h"
#include "zam/xml/number_text.h"
#include "zam/xml/stored_node.h"
#include "zam/xml/xml_conversion.h"
#include "zam/xml/xml_sax_parser.h"

namespace ZaM {

namespace {

wstring const& EmptyText() {
  static detail::NeverDestroyed<wstring> empty;
  return empty.Get();
}

/// The name of what `OnEndElement` makes.
wstring const& TextName() {
  static detail::NeverDestroyed<wstring> name(u"text");
  return name.Get();
}

/// The room for a double's text that every program reading these documents counts on: 31 units and a terminator.
constexpr std::size_t doubleCapacity = 32;

/// Up to so many properties are found faster, and in less memory, by looking at each than through a map. (See
/// xml_tree_benchmark: with a map in every node a document takes a sixth more.)
constexpr std::size_t mostUnmapped = 8;

wstring TextOf(bool value) {
  return value ? u"1" : u"0";
}

bool BoolOf(wstring const& text, bool defaultValue) {
  if (text.starts_with(u'1')) return true;
  if (text.starts_with(u'0')) return false;
  return defaultValue;
}

/// The UTF-8 text of an event, as a wide string; null is empty.
void Convert(XmlSaxParser& parser, unsigned char const* text, wstring& result) {
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
  if (!source) throw BaseException(ErrorId::InvalidArgument);
  return CreateCounted([=] { return new XmlNode(source); });
}

/// What stands for a node's attributes once somebody has looked at them.
struct XmlNode::Properties {
  Properties() = default;
  Properties(Properties const&) = delete;
  Properties& operator=(Properties const&) = delete;
  ~Properties() {
    for (XmlProperty* property : list) delete property;
  }

  [[nodiscard]] XmlProperty* Find(wstring const& propertyName) const {
    if (byName) {
      auto const found = byName->find(propertyName);
      return found == byName->end() ? nullptr : found->second;
    }
    auto const found = std::find_if(list.begin(), list.end(),
                                    [&](XmlProperty const* property) { return property->GetName() == propertyName; });
    return found == list.end() ? nullptr : *found;
  }

  /// The name is new here.
  XmlProperty* Add(std::unique_ptr<XmlProperty> property) {
    std::list<XmlProperty*> entry{property.get()};
    if (!byName && list.size() >= mostUnmapped) Map();
    if (byName) byName->emplace(property->GetName(), property.get());
    list.splice(list.end(), entry);
    return property.release();
  }

  void Remove(wstring const& propertyName) {
    list.remove(Find(propertyName));
    if (byName) byName->erase(propertyName);
  }

  /// What XmlNode::attributeWord says; null where nobody has looked.
  static Properties* In(std::uintptr_t held) {
    return (held & 1) == 0 ? nullptr : reinterpret_cast<Properties*>(held - 1);
  }
  /// What nobody has looked at; null where somebody has, or where there is nothing.
  static detail::StoredAttributes const* StoredIn(std::uintptr_t held) {
    return (held & 1) != 0 ? nullptr : reinterpret_cast<detail::StoredAttributes const*>(held);
  }
  [[nodiscard]] std::uintptr_t Tagged() const { return reinterpret_cast<std::uintptr_t>(this) + 1; }

  std::list<XmlProperty*> list;  // ours, under unique names

 private:
  void Map() {
    auto all = std::make_unique<std::map<wstring, XmlProperty*>>();
    for (XmlProperty* property : list) all->emplace(property->GetName(), property);
    byName = std::move(all);
  }

  std::unique_ptr<std::map<wstring, XmlProperty*>> byName;  // the same; null while there are few
};

XmlNode::XmlNode(wstring const& elementName)
    : name(elementName.empty() ? &EmptyText() : new wstring(elementName)),
      initialized(!elementName.empty()),
      isContent(false),
      ownsName(!elementName.empty()),
      isInRing(false) {}

XmlNode::XmlNode(wstring const& /*ignoredName*/, wstring const& text)
    : name(&EmptyText()), content(text), initialized(true), isContent(true), ownsName(false), isInRing(false) {}

XmlNode::XmlNode(wstring const& sharedName, detail::StoredAttributes const* stored, detail::StoredText const* text)
    : name(&sharedName),
      content(text),
      attributeWord(reinterpret_cast<std::uintptr_t>(stored)),
      initialized(!sharedName.empty()),
      isContent(text != nullptr),
      ownsName(false),
      isInRing(false) {}

// Once the delegate is done, the destructor frees what a failure in the body leaves behind.
XmlNode::XmlNode(XmlNode const* source) : XmlNode(*source->name) {
  CopyOwnData(*source);

  // No recursion, since a tree may be deeper than the stack.
  std::vector<std::pair<XmlNode const*, XmlNode*>> unfinished{{source, this}};
  while (!unfinished.empty()) {
    auto const [original, copy] = unfinished.back();
    unfinished.pop_back();
    for (XmlNode const& child : Children(*original)) {
      XmlNode* const added = copy->AddChild(*child.name);
      added->CopyOwnData(child);
      if (!Children(child).Empty()) unfinished.emplace_back(&child, added);
    }
  }
}

void XmlNode::CopyOwnData(XmlNode const& source) {
  if (!source.content.IsEmpty()) SetContent(source.content.Copy());
  initialized = source.initialized;
  source.ForEachAttribute([this](wstring const& propertyName, wstring const& value) {
    ReportOutOfMemory([&] { MakeProperties().Add(std::make_unique<XmlProperty>(propertyName, value)); });
  });
}

XmlNode::~XmlNode() {
  bool const isRing = lastChild != nullptr;
  while (XmlNode* const first = UnlinkFirst()) ReleaseOwned(first);
  if (std::list<XmlNode*>* const list = childList.load(std::memory_order_relaxed)) {
    // Walked once, since the entries of a large one have left the cache at its end.
    for (; !isRing && !list->empty(); list->pop_front()) ReleaseOwned(list->front());
    delete list;
  }
  delete Properties::In(attributeWord.load(std::memory_order_relaxed));
  if (ownsName) delete name;
}

/// Calls `use` with the name and the value of each, without making properties of them.
void XmlNode::ForEachAttribute(std::function<void(wstring const&, wstring const&)> const& use) const {
  std::uintptr_t const held = attributeWord.load(std::memory_order_acquire);
  if (Properties const* const made = Properties::In(held)) {
    for (XmlProperty const* property : made->list) use(property->GetName(), property->GetValue());
  } else if (detail::StoredAttributes const* const stored = Properties::StoredIn(held)) {
    for (auto const& entry : stored->Entries()) use(*entry.name, detail::ToWide(stored->Value(entry)));
  }
}

XmlProperty* XmlNode::GetProperty(wstring const& propertyName) {
  return const_cast<XmlProperty*>(std::as_const(*this).GetProperty(propertyName));
}

XmlProperty const* XmlNode::GetProperty(wstring const& propertyName) const {
  bool const hasAny = attributeWord.load(std::memory_order_relaxed) != 0;
  return hasAny ? MakeProperties().Find(propertyName) : nullptr;
}

std::list<XmlProperty*> const& XmlNode::GetProperties() const {
  return MakeProperties().list;
}

/// The properties, made of what was read unless they are there already. Of several threads that come here at once, one
/// gets its own in, and the others take those.
XmlNode::Properties& XmlNode::MakeProperties() const {
  std::uintptr_t held = attributeWord.load(std::memory_order_acquire);
  if (Properties* const before = Properties::In(held)) return *before;
  auto made = ReportOutOfMemory([=] {
    auto properties = std::make_unique<Properties>();
    if (detail::StoredAttributes const* const stored = Properties::StoredIn(held)) {
      for (auto const& entry : stored->Entries()) {
        wstring value = detail::ToWide(stored->Value(entry));
        properties->Add(std::unique_ptr<XmlProperty>(new XmlProperty(*entry.name, std::move(value))));
      }
    }
    return properties;
  });
  if (!attributeWord.compare_exchange_strong(held, made->Tagged(), std::memory_order_acq_rel)) {
    return *Properties::In(held);
  }
  return *made.release();
}

std::list<XmlNode*> const& XmlNode::GetChildren() const {
  return MakeChildList();
}

/// The list of children, made of the ring unless it is there already; for several threads as above.
std::list<XmlNode*>& XmlNode::MakeChildList() const {
  std::list<XmlNode*>* list = childList.load(std::memory_order_acquire);
  if (list) return *list;
  auto made = ReportOutOfMemory([this] {
    auto all = std::make_unique<std::list<XmlNode*>>();
    for (XmlNode& child : Children(*this)) all->push_back(&child);
    return all;
  });
  if (!childList.compare_exchange_strong(list, made.get(), std::memory_order_acq_rel)) return *list;
  return *made.release();
}

/// The list, in which alone the children are from now on.
std::list<XmlNode*>& XmlNode::TakeChildList() {
  std::list<XmlNode*>& list = MakeChildList();
  while (UnlinkFirst()) {
  }
  return list;
}

/// Puts `child`, which is in no ring, after the others in this one's.
void XmlNode::Link(XmlNode& child) {
  XmlNode* const first = lastChild ? lastChild->nextInRing : &child;
  if (lastChild) lastChild->nextInRing = &child;
  child.nextInRing = first;
  child.isInRing = true;
  lastChild = &child;
  ++ringSize;
}

/// Takes the first child out of the ring; null if there is none.
XmlNode* XmlNode::UnlinkFirst() {
  if (!lastChild) return nullptr;
  XmlNode* const first = lastChild->nextInRing;
  if (first == lastChild) {
    lastChild = nullptr;
  } else {
    lastChild->nextInRing = first->nextInRing;
  }
  first->nextInRing = nullptr;
  first->isInRing = false;
  --ringSize;
  return first;
}

wstring const& XmlNode::SetContent(wstring const& text) {
  wstring const& stored = content.Set(text);
  isContent = !stored.empty();
  return stored;
}

void XmlNode::AddChild(Node* child) {
  AddChild(dynamic_cast<XmlNode*>(child));
}

XmlNode* XmlNode::AddChild(XmlNode* child) {
  if (!child) return nullptr;
  bool const staysRing = !child->isInRing && !childList.load(std::memory_order_relaxed);
  if (staysRing) {
    Link(*child);
  } else {
    ReportOutOfMemory([&] { TakeChildList().push_back(child); });
  }
  return child;
}

XmlNode* XmlNode::AddChild(wstring const& childName) {
  return Adopt(Ref<XmlNode>(ReportOutOfMemory([&] { return new XmlNode(childName); })));
}

XmlNode* XmlNode::AddContent(wstring const& text) {
  return Adopt(Ref<XmlNode>(ReportOutOfMemory([&] { return new XmlNode(wstring(), text); })));
}

/// Adds a child that ends here if there is no room for it.
XmlNode* XmlNode::Adopt(Ref<XmlNode> child) {
  AddChild(child.Get());
  return child.Detach();
}

void XmlNode::RemoveChild(XmlNode* child) {
  bool const hasList = childList.load(std::memory_order_relaxed) != nullptr;
  if (!child || !(hasList || child->isInRing)) return;
  if (hasList) return static_cast<void>(TakeChildList().remove(child));
  for (std::uint32_t rest = ringSize; rest > 0; --rest) {
    XmlNode* const first = UnlinkFirst();
    if (first != child) Link(*first);
  }
}

unsigned int XmlNode::ChildCount() const {
  std::list<XmlNode*> const* const list = childList.load(std::memory_order_acquire);
  return list ? static_cast<unsigned int>(list->size()) : ringSize;
}

Iterator* XmlNode::CreateIterator() {
  Iterator* const walk = ListIterator::Create(MakeChildList());
  if (!walk) throw BaseException(ErrorId::OutOfMemory);
  return walk;
}

XmlProperty* XmlNode::AddProperty(wstring const& propertyName, wstring const& value) {
  return ReportOutOfMemory([&] {
    Properties& properties = MakeProperties();
    if (properties.Find(propertyName)) return static_cast<XmlProperty*>(nullptr);
    return properties.Add(std::make_unique<XmlProperty>(propertyName, value));
  });
}

void XmlNode::RemoveProperty(wstring const& propertyName) {
  if (GetProperty(propertyName)) MakeProperties().Remove(propertyName);
}

void XmlNode::FilterChildren(std::list<XmlNode*>& result, wstring const& childName) const {
  std::list<XmlNode*> selected;
  ReportOutOfMemory([&] {
    for (XmlNode& child : Children(*this)) {
      if (childName.empty() || *child.name == childName) selected.push_back(&child);
    }
  });
  result.swap(selected);
}

void XmlNode::InitializeProperties(XmlSaxParser* parser, unsigned char const** attributes) {
  if (!attributes) return;
  wstring propertyName;
  wstring value;
  for (; *attributes; attributes += 2) {
    Convert(*parser, attributes[0], propertyName);
    Convert(*parser, attributes[1], value);
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
  AddProperty(propertyName, TextOf(value));
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
  return BoolOf(GetPropertyText(propertyName), defaultValue);
}

double XmlNode::GetPropertyDouble(wstring const& propertyName, double defaultValue) const {
  return detail::ScanDouble(GetPropertyText(propertyName)).value_or(defaultValue);
}

wstring const& XmlNode::GetPropertyText(wstring const& propertyName) const {
  XmlProperty const* const property = GetProperty(propertyName);
  return property ? property->GetValue() : EmptyText();
}

void XmlNode::AddSubNodeText(wstring const& childName, wstring const& text) {
  Ref<XmlNode> child(Create(childName));
  child->Adopt(Ref<XmlNode>(Create(wstring(), text)));
  Adopt(std::move(child));
}

void XmlNode::AddSubNodeDouble(wstring const& childName, double value) {
  AddSubNodeText(childName, detail::FormatDouble(value, doubleCapacity));
}

void XmlNode::AddSubNodeBool(wstring const& childName, bool value) {
  AddSubNodeText(childName, TextOf(value));
}

void XmlNode::AddSubNodeSizet(wstring const& childName, unsigned int value) {
  AddSubNodeText(childName, detail::FormatNumber(value));
}

void XmlNode::AddSubNodeLong(wstring const& childName, std::int32_t value) {
  AddSubNodeText(childName, detail::FormatNumber(value));
}

/// The only child that `FilterChildren` would select, or null.
XmlNode const* XmlNode::FindOnlyChild(wstring const& childName) const {
  XmlNode const* found = nullptr;
  for (XmlNode const& child : Children(*this)) {
    if (!childName.empty() && *child.name != childName) continue;
    if (found) return nullptr;
    found = &child;
  }
  return found;
}

wstring const& XmlNode::GetSubNodeText(wstring const& childName, wstring const& defaultValue, bool required) const {
  XmlNode const* const child = FindOnlyChild(childName);
  if (!child && required)
    throw ReportOutOfMemory([&] { return XMLFormatException(ErrorId::InvalidNodeFormat, childName); });
  if (!child) return defaultValue;
  return child->ChildCount() == 1 ? (*Children(*child).begin()).GetContent() : EmptyText();
}

wstring const& XmlNode::GetSubNodeText(wstring const& childName) const {
  return GetSubNodeText(childName, EmptyText(), true);
}

double XmlNode::GetSubNodeDouble(wstring const& childName, double defaultValue) const {
  return detail::ScanDouble(GetSubNodeText(childName, EmptyText(), false)).value_or(defaultValue);
}

bool XmlNode::GetSubNodeBool(wstring const& childName, bool defaultValue) const {
  return BoolOf(GetSubNodeText(childName, EmptyText(), false), defaultValue);
}

unsigned int XmlNode::GetSubNodeSizet(wstring const& childName, unsigned int defaultValue) const {
  return detail::ScanUInt32(GetSubNodeText(childName, EmptyText(), false)).value_or(defaultValue);
}

std::int32_t XmlNode::GetSubNodeLong(wstring const& childName, std::int32_t defaultValue) const {
  return detail::ScanInt32(GetSubNodeText(childName, EmptyText(), false)).value_or(defaultValue);
}

void XmlNode::OnStartElement(XmlSaxParser* parser, unsigned char const* childName, unsigned char const** attributes) {
  wstring converted;
  Convert(*parser, childName, converted);
  Ref<XmlNode> child(Create(converted));
  child->InitializeProperties(parser, attributes);
  parser->PushCallback(Adopt(std::move(child)));
}

void XmlNode::OnEndElement(XmlSaxParser* parser, unsigned char const* /*elementName*/) {
  unsigned int const size = parser->GetCharacterBufferSize();
  if (size == 0) return;
  RequireAtMost(u"bytes of text", size, std::numeric_limits<int>::max());  // what is converted at once
  wstring converted;
  parser->ConvertString(parser->GetCharacterBuffer(), static_cast<int>(size), converted);
  Ref<XmlNode> text(CreateCounted([] { return new XmlNode(TextName(), nullptr, nullptr); }));
  text->SetContent(converted);
  Adopt(std::move(text));
}

}  // namespace ZaM
