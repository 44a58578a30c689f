#include "zam/xml/xml_event_shaper.h"

#include <algorithm>
#include <utility>

#include "zam/foundation/create_counted.h"

namespace ZaM::detail {

namespace {

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

bool IsAscii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
}

/// The prefix that an attribute declares: `x` for `xmlns:x`, empty for `xmlns`, null for any other.
char const* DeclaredPrefix(std::string_view name) {
  if (name == "xmlns") return "";
  return name.starts_with("xmlns:") ? name.data() + 6 : nullptr;
}

}  // namespace

void XmlEventShaper::ShapeStart(std::string_view name, std::vector<XmlAttribute>& attributes,
                                XmlDeclarations const* declarations) {
  EndText(false);
  CountChild(false);
  ReportOutOfMemory([&] {
    OpenElement(attributes);
    if (options.isModel) DeclarePrefixes(attributes, declarations == nullptr ? nullptr : declarations->Find(name));
    // libxml2 looks for declarations of the name without its prefix.
    auto const* const model = declarations == nullptr ? nullptr : declarations->Find(LocalName(name));
    if (model != nullptr) open.back().content = model->content;
  });
  receiver.OnStartElement({name, LocalName(name), attributes});
}

void XmlEventShaper::OpenElement(std::vector<XmlAttribute> const& attributes) {
  Space space = open.empty() || open.back().space == Space::IsKept ? Space::Unknown : open.back().space;
  for (XmlAttribute const& attribute : attributes) {
    if (attribute.name != "xml:space") continue;
    if (attribute.value == "preserve") space = Space::IsPreserved;
    if (attribute.value == "default") space = Space::IsDefault;
  }
  open.push_back({XmlContent::Undeclared, space});
}

void XmlEventShaper::ShapeEnd() {
  EndText(true);
  ForgetPrefixes(open.back().prefixes);
  open.pop_back();
}

void XmlEventShaper::CData(std::string_view text) {
  EndText(false);
  CountChild(false);
  receiver.OnCData(text);
}

void XmlEventShaper::Comment(std::string_view text) {
  EndText(false);
  CountChild(false);
  receiver.OnComment(text);
}

void XmlEventShaper::ProcessingInstruction(std::string_view target, std::string_view data) {
  EndText(false);
  CountChild(false);
  receiver.OnProcessingInstruction(target, data);
}

void XmlEventShaper::WritePendingBlanks() {
  KeepBlanks();
  HoldText(std::exchange(blanks, {}), false);
}

void XmlEventShaper::Reference(std::string_view name, std::string_view content) {
  KeepPendingBlanks();
  EndText(false);
  CountChild(false);
  receiver.OnEntityReference(name, content);
}

void XmlEventShaper::HoldText(std::string_view text, bool isLiteral) {
  // What stands after a reference is judged by itself.
  if (isLiteral && !isRunLiteral) isRunWritten = false;
  isRunLiteral = isLiteral;
  if (!isRunWritten && isLiteral && IsBlank(text)) return ReportOutOfMemory([&] { blanks += text; });
  bool const beginsWithBlank = !isRunWritten && (!blanks.empty() || IsBlank(text.substr(0, 1)));
  if (!isRunWritten) CountChild(true);
  isRunWritten = true;
  if (!blanks.empty() || (isLiteral && (beginsWithBlank || !IsAscii(text)))) KeepBlanks();
  if (!blanks.empty()) receiver.OnCharacters(std::exchange(blanks, {}));
  receiver.OnCharacters(text);
}

/// Ends a run of text.
void XmlEventShaper::EndText(bool isInFrontOfEnd) {
  isRunWritten = isRunLiteral = false;
  if (blanks.empty() || open.empty()) return;
  std::string const run = std::exchange(blanks, {});
  Open const& element = open.back();
  bool isLeftOut = !element.beginsWithText && !element.endsWithText && (element.hasChild || !isInFrontOfEnd);
  if (element.content != XmlContent::Undeclared) isLeftOut = element.content == XmlContent::ElementsOnly;
  if (isLeftOut && element.space != Space::IsPreserved && element.space != Space::IsKept) return;
  KeepBlanks();
  CountChild(true);
  receiver.OnCharacters(run);
}

void XmlEventShaper::KeepBlanks() {
  if (!open.empty() && open.back().space == Space::Unknown) open.back().space = Space::IsKept;
}

/// Notes what the open element has got.
void XmlEventShaper::CountChild(bool isText) {
  if (open.empty()) return;
  Open& element = open.back();
  if (!element.hasChild) element.beginsWithText = isText;
  element.hasChild = true;
  element.endsWithText = isText;
}

void XmlEventShaper::DeclarePrefixes(std::vector<XmlAttribute>& attributes, XmlDeclarations::Element const* declared) {
  for (XmlAttribute const& attribute : attributes) {
    if (char const* const prefix = DeclaredPrefix(attribute.name)) DeclarePrefix(prefix, attribute.value);
  }
  if (declared != nullptr) {
    for (XmlDeclarations::Default const* const added : declared->prefixes) {
      if (char const* const prefix = DeclaredPrefix(added->name)) DeclarePrefix(prefix, added->value);
    }
  }
  std::erase_if(attributes, [](XmlAttribute const& attribute) { return DeclaredPrefix(attribute.name) != nullptr; });
  for (XmlAttribute& attribute : attributes) attribute.localName = LocalName(attribute.name);
}

/// Those that can't be declared stay as they are.
void XmlEventShaper::DeclarePrefix(std::string_view prefix, std::string_view uri) {
  bool const isReserved =
      uri == "http://www.w3.org/XML/1998/namespace" || uri == "http://www.w3.org/2000/xmlns/" || uri.empty();
  if (prefix.empty() || prefix == "xml" || prefix == "xmlns" || isReserved) return;
  declaredPrefixes.emplace_back(prefix);
  ++prefixes[declaredPrefixes.back()];
  ++open.back().prefixes;
}

void XmlEventShaper::ForgetPrefixes(std::size_t count) {
  for (; count > 0; --count) {
    auto const entry = prefixes.find(declaredPrefixes.back());
    if (--entry->second == 0) prefixes.erase(entry);
    declaredPrefixes.pop_back();
  }
}

std::string_view XmlEventShaper::LocalName(std::string_view name) const {
  if (!options.isModel) return name;
  std::size_t const colon = name.find(':');
  if (colon == std::string_view::npos || colon == 0 || colon + 1 == name.size()) return name;
  std::string_view const prefix = name.substr(0, colon);
  bool const isDeclared = prefix == "xml" || prefixes.contains(prefix);
  return isDeclared ? name.substr(colon + 1) : name;
}

}  // namespace ZaM::detail
