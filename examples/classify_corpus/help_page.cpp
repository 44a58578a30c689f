#include "help_page.h"

#include <algorithm>
#include <span>

namespace classify {

namespace {

constexpr std::string_view leftOut[] = {"credit", "license", "revision"};

// Elements inside a line of text; all others are blocks.
constexpr std::string_view inlineElements[] = {"app", "cmd",    "code", "em",     "file", "gui", "guiseq", "input",
                                               "key", "keyseq", "link", "output", "span", "sys", "var"};

bool Has(std::span<std::string_view const> names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// Without the prefix of its namespace.
std::string_view LocalName(unsigned char const* name) {
  std::string_view const whole = reinterpret_cast<char const*>(name);
  return whole.substr(whole.rfind(':') + 1);
}

}  // namespace

void HelpPage::OnStartElement(ZaM::XmlSaxParser* parser, unsigned char const* name,
                              unsigned char const** /*attributes*/) {
  TakeText(*parser);
  std::string_view const element = LocalName(name);
  if (Has(leftOut, element)) return;  // the parser passes its content over
  if (!Has(inlineElements, element)) text += u'\n';
  ++depth;
  parser->PushCallback(this);
}

void HelpPage::OnEndElement(ZaM::XmlSaxParser* parser, unsigned char const* name) {
  TakeText(*parser);
  if (!Has(inlineElements, LocalName(name))) text += u'\n';
  isComplete = --depth == 0;
}

void HelpPage::TakeText(ZaM::XmlSaxParser& parser) {
  parser.ConvertString(parser.GetCharacterBuffer(), static_cast<int>(parser.GetCharacterBufferSize()), piece);
  text += piece;
}

std::optional<std::u16string> HelpPageText(std::string_view bytes) {
  HelpPage page;
  ZaM::XmlSaxParser().ParseMemory(bytes.data(), static_cast<unsigned int>(bytes.size()), &page);
  return page.IsComplete() ? std::optional(page.Text()) : std::nullopt;
}

}  // namespace classify
