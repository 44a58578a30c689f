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
  options.isModel ? EndText() : DropText();
  TakeAttributes(element);
  Ref<XmlNode> made(store.NewElement(NameOf(options.isModel ? element.localName : element.name), attributes));
  ReportOutOfMemory([&] { open.push_back(made.Get()); });
  if (open.size() == 1) {
    root = std::move(made);
  } else {
    open[open.size() - 2]->Link(*made.Detach());
  }
}

void TreeBuilder::TakeAttributes(XmlElement const& element) {
  ReportOutOfMemory([&] { attributes.resize(element.attributes.size()); });
  bool mayRepeat = false;
  auto* taken = attributes.data();
  for (XmlAttribute const& attribute : element.attributes) {
    std::string_view const name = options.isModel ? attribute.localName : attribute.name;
    mayRepeat = mayRepeat || name.size() < attribute.name.size() || name.size() > options.mostNameUnits;
    *taken++ = {NameOf(name), FrontUnits(attribute.value, options.mostValueUnits)};
  }
  if (mayRepeat) DropRepeatedAttributes();
}

/// Of attributes that have become alike the first stays.
void TreeBuilder::DropRepeatedAttributes() {
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

wstring const* TreeBuilder::NameOf(std::string_view name) {
  return store.Name(FrontUnits(name, options.mostNameUnits));
}

void TreeBuilder::OnEndElement(std::string_view /*name*/) {
  EndText();
  open.pop_back();
}

void TreeBuilder::OnCharacters(std::string_view more) {
  Collect(Pending::Characters, more);
}

void TreeBuilder::OnCData(std::string_view more) {
  Collect(options.isModel ? Pending::Cdata : Pending::Characters, more);
}

void TreeBuilder::Collect(Pending kind, std::string_view more) {
  if (pending != kind) EndText();
  pending = kind;
  ReportOutOfMemory([&] { text += more; });
}

/// What was collected becomes a child.
void TreeBuilder::EndText() {
  if (pending == Pending::Characters && !text.empty()) AddChild(textName, text);
  if (pending == Pending::Cdata) AddChild(cdataName, text);
  DropText();
}

void TreeBuilder::DropText() {
  text.clear();
  pending = Pending::Nothing;
}

void TreeBuilder::OnComment(std::string_view comment) {
  AddOther("comment", comment);
}

void TreeBuilder::OnProcessingInstruction(std::string_view target, std::string_view data) {
  AddOther(target, data);
}

void TreeBuilder::OnEntityReference(std::string_view name, std::string_view content) {
  AddOther(name, content);
}

void TreeBuilder::AddOther(std::string_view name, std::string_view content) {
  if (!options.isModel) return;
  EndText();
  AddChild(NameOf(name), content);
}

void TreeBuilder::AddChild(wstring const* name, std::string_view content) {
  open.back()->Link(*store.NewContent(name, content));
}

}  // namespace ZaM::detail
