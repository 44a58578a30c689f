#include "translations/po_file.h"

#include <algorithm>
#include <utility>

#include "zam/platform/unicode.h"

namespace ZaM::translations {

namespace {

struct Escape {
  char letter;
  char character;
};

constexpr Escape escapes[] = {{'n', '\n'}, {'t', '\t'}, {'r', '\r'}, {'"', '"'}, {'\\', '\\'}};

constexpr std::string_view blanks = " \t\r";

std::string_view WithoutBlanks(std::string_view text) {
  std::size_t const first = text.find_first_not_of(blanks);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Builds the entries line by line.
class Parser {
 public:
  void TakeLine(std::string_view text) {
    ++line;
    if (platform::Utf8FromUtf16(platform::Utf16FromUtf8(text)) != text) Fail("not UTF-8");
    text = WithoutBlanks(text);
    if (text.empty() || text.starts_with('#')) {
      TakeComment(text);
    } else if (text.starts_with('"')) {
      if (part == Part::None) Fail("a string without a keyword");
      PartText() += Unquote(text);
    } else {
      TakeKeyword(text);
    }
  }

  std::vector<PoEntry> Finish() {
    EndEntry();
    return std::move(entries);
  }

 private:
  /// The part of the current entry that the last keyword opened.
  enum class Part { None, Context, Source, Translation };

  /// What stands behind a whole entry belongs to the next one, as do its flags.
  void TakeComment(std::string_view comment) {
    if (part == Part::Translation) EndEntry();
    if (comment.starts_with("#,") && comment.find("fuzzy") != comment.npos) entry.fuzzy = true;
  }

  void TakeKeyword(std::string_view text) {
    std::size_t const length = std::min(text.find_first_of(" \t\""), text.size());
    std::string_view const keyword = text.substr(0, length);
    if (keyword == "msgctxt") {
      EndEntry();
      part = Part::Context;
      entry.context.emplace();
    } else if (keyword == "msgid") {
      if (part != Part::Context) EndEntry();
      part = Part::Source;
    } else if (keyword == "msgstr") {
      if (part != Part::Source) Fail("msgstr without a msgid before it");
      part = Part::Translation;
    } else {
      Fail("unknown keyword \"" + std::string(keyword) + "\"");
    }
    if (entry.line == 0) entry.line = line;
    PartText() = Unquote(WithoutBlanks(text.substr(length)));
  }

  void EndEntry() {
    if (part == Part::Context || part == Part::Source) Fail("an entry without its msgstr");
    bool const header = !entry.context && entry.source.empty();
    if (part == Part::Translation && !header) entries.push_back(std::move(entry));
    if (part == Part::Translation) entry = {};
    part = Part::None;
  }

  std::string& PartText() {
    return part == Part::Context ? *entry.context : part == Part::Source ? entry.source : entry.translation;
  }

  std::string Unquote(std::string_view quoted) const {
    if (quoted.size() < 2 || !quoted.starts_with('"')) Fail("a string in quotes is missing");
    std::string text;
    std::size_t i = 1;
    for (; i < quoted.size() && quoted[i] != '"'; ++i) {
      text += quoted[i] == '\\' && i + 1 < quoted.size() ? Unescape(quoted[++i]) : quoted[i];
    }
    if (i + 1 != quoted.size()) Fail(i < quoted.size() ? "text behind a string" : "a string without its closing quote");
    if (text.find('\0') != text.npos) Fail("a string with a zero in it");
    return text;
  }

  char Unescape(char letter) const {
    auto const* const escape = std::ranges::find(escapes, letter, &Escape::letter);
    if (escape == std::end(escapes)) Fail(std::string("unknown escape \"\\") + letter + "\"");
    return escape->character;
  }

  [[noreturn]] void Fail(std::string message) const {
    throw PoError{line, entry.context.value_or(""), std::move(message)};
  }

  std::vector<PoEntry> entries;
  PoEntry entry;
  Part part = Part::None;
  std::size_t line = 0;
};

}  // namespace

std::vector<PoEntry> ParsePo(std::string_view bytes) {
  Parser parser;
  while (!bytes.empty()) {
    std::size_t const length = std::min(bytes.find('\n'), bytes.size());
    parser.TakeLine(bytes.substr(0, length));
    bytes.remove_prefix(std::min(length + 1, bytes.size()));
  }
  return parser.Finish();
}

std::string EscapePo(std::string_view text) {
  std::string escaped;
  for (char const character : text) {
    auto const* const escape = std::ranges::find(escapes, character, &Escape::character);
    if (escape == std::end(escapes)) {
      escaped += character;
    } else {
      escaped += {'\\', escape->letter};
    }
  }
  return escaped;
}

}  // namespace ZaM::translations
