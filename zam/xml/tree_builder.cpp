#include "zam/xml/tree_builder.h"

#include <algorithm>
#include <unordered_set>

#include "zam/foundation/create_counted.h"
#include "zam/xml/xml_conversion.h"

namespace ZaM::detail {

namespace {

/// Up to so many attributes are compared with each other faster than through a set.
constexpr std::size_t fewAttributes = 8;

}  // namespace

TreeBuilder::TreeBuilder(Ref<XmlNode>& builtRoot, TreeOptions const& treeOptions)
    : root(builtRoot),
      options(treeOptions),
      store(options.mostBytes),
      textName(store.Name("text")),
      cdataName(store.Name("")) {}

void TreeBuilder::OnStartElement(XmlElement const& element) {
  options.isModel ? endText() : dropText();
  takeAttributes(element);
  Ref<XmlNode> made(store.NewElement(nameOf(options.isModel ? element.localName : element.name), attributes));
  ReportOutOfMemory([&] { open.push_back(made.Get()); });
  if (open.size() == 1) {
    root = std::move(made);
  } else {
    open[open.size() - 2]->link(*made.Detach());
  }
}

void TreeBuilder::takeAttributes(XmlElement const& element) {
  ReportOutOfMemory([&] { attributes.resize(element.attributes.size()); });
  bool mayRepeat = false;
  auto* taken = attributes.data();
  for (XmlAttribute const& attribute : element.attributes) {
    std::string_view const name = options.isModel ? attribute.localName : attribute.name;
    mayRepeat = mayRepeat || name.size() < attribute.name.size() || name.size() > options.mostNameUnits;
    *taken++ = {nameOf(name), FrontUnits(attribute.value, options.mostValueUnits)};
  }
  if (mayRepeat) dropRepeatedAttributes();
}

/// Of attributes that have become alike the first stays.
void TreeBuilder::dropRepeatedAttributes() {
  if (attributes.size() <= fewAttributes) {
    for (auto next = attributes.begin(); next != attributes.end();) {
      bool const isRepeated =
          std::any_of(attributes.begin(), next, [&](auto const& one) { return one.name == next->name; });
      next = isRepeated ? attributes.erase(next) : next + 1;
    }
    return;
  }
  ReportOutOfMemory([&] {
    std::unordered_set<wstring const*> names;
    std::erase_if(attributes, [&](NodeStore::Attribute const& one) { return !names.insert(one.name).second; });
  });
}

wstring const* TreeBuilder::nameOf(std::string_view name) {
  return store.Name(FrontUnits(name, options.mostNameUnits));
}

void TreeBuilder::OnEndElement(std::string_view /*name*/) {
  endText();
  open.pop_back();
}

void TreeBuilder::OnCharacters(std::string_view more) {
  collect(Pending::characters, more);
}

void TreeBuilder::OnCData(std::string_view more) {
  collect(options.isModel ? Pending::cdata : Pending::characters, more);
}

void TreeBuilder::collect(Pending kind, std::string_view more) {
  if (pending != kind) endText();
  pending = kind;
  ReportOutOfMemory([&] { text += more; });
}

/// What was collected becomes a child.
void TreeBuilder::endText() {
  if (pending == Pending::characters && !text.empty()) addChild(textName, text);
  if (pending == Pending::cdata) addChild(cdataName, text);
  dropText();
}

void TreeBuilder::dropText() {
  text.clear();
  pending = Pending::nothing;
}

void TreeBuilder::OnComment(std::string_view comment) {
  addOther("comment", comment);
}

void TreeBuilder::OnProcessingInstruction(std::string_view target, std::string_view data) {
  addOther(target, data);
}

void TreeBuilder::OnEntityReference(std::string_view name, std::string_view content) {
  addOther(name, content);
}

void TreeBuilder::addOther(std::string_view name, std::string_view content) {
  if (!options.isModel) return;
  endText();
  addChild(nameOf(name), content);
}

void TreeBuilder::addChild(wstring const* name, std::string_view content) {
  open.back()->link(*store.NewContent(name, content));
}

}  // namespace ZaM::detail
