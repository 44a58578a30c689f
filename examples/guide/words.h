// The words of a text, as symbols.
#ifndef GUIDE_WORDS_H
#define GUIDE_WORDS_H

#include <zam/zam.h>

#include <string>
#include <vector>

namespace guide {

inline ZaM::wstring TextOf(std::string const& bytes) {
  if (auto const text = ZaM::DecodeText(bytes)) return *text;  // UTF-8, or what a byte order mark says
  return ZaM::DecodeText(bytes, "windows-1252").value_or(ZaM::FromUtf8(bytes));
}

inline std::vector<std::string> WordsOf(ZaM::wstring const& text) {
  ZaM::Ref filter(ZaM::AsciiTextFilter::Create(2, false));  // words of two letters and more, digits separate
  std::vector<char> symbols(4 * text.size() + 6);           // a unit gives at most four bytes
  auto const length = static_cast<unsigned int>(text.size());
  unsigned int const count =
      filter->FilterTextW(text.data(), length, symbols.data(), static_cast<unsigned int>(symbols.size()));

  std::vector<std::string> words;  // the stream is 0, word, 0, word, 0 …
  for (char const* word = symbols.data() + 1; word < symbols.data() + count; word += words.back().size() + 1) {
    words.emplace_back(word);
  }
  return words;
}

}  // namespace guide

#endif
