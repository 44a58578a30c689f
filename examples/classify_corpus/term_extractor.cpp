#include "term_extractor.h"

#include <algorithm>
#include <limits>

namespace classify {

namespace {

constexpr std::size_t fragmentLength = 4;

}  // namespace

TermExtractor::TermExtractor(unsigned char minWordLength, bool useDigits)
    : textFilter(ZaM::AsciiTextFilter::Create(minWordLength, useDigits)) {}

Terms TermExtractor::Extract(std::u16string_view text) {
  std::string_view const stream = filter(text);
  occurrences.clear();
  // The stream is 0, word, 0, word, 0: a pair of words and the edges of a word are just longer stretches of it.
  std::size_t previous = 0;
  std::size_t begin = 1;
  for (std::size_t end; (end = stream.find('\0', begin)) != std::string_view::npos; begin = end + 1) {
    if (end == begin) continue;  // a word of nothing but dropped marks
    addWord(stream, begin, end);
    if (previous > 0) add(TermKind::Pair, stream.substr(previous, end - previous));
    previous = begin;
  }
  return mergeEqualTerms();
}

std::string_view TermExtractor::filter(std::u16string_view text) {
  symbols.resize(4 * text.size() + 3);  // takes everything, even if each unit is an ideograph
  unsigned int const count = textFilter->FilterTextW(text.data(), static_cast<unsigned int>(text.size()),
                                                     symbols.data(), static_cast<unsigned int>(symbols.size()));
  return {symbols.data(), count};
}

void TermExtractor::addWord(std::string_view stream, std::size_t begin, std::size_t end) {
  add(TermKind::Word, stream.substr(begin, end - begin));
  for (std::size_t i = begin - 1; i + fragmentLength <= end + 1; ++i)
    add(TermKind::Fragment, stream.substr(i, fragmentLength));
}

void TermExtractor::add(TermKind kind, std::string_view stretch) {
  occurrences.push_back({hasher.GetStringHash(static_cast<std::uint32_t>(stretch.size()), stretch.data()), 1, kind});
}

Terms TermExtractor::mergeEqualTerms() {
  std::sort(occurrences.begin(), occurrences.end(), [](Term const& a, Term const& b) { return a.Key() < b.Key(); });
  Terms terms;
  for (Term const& term : occurrences) {
    if (terms.empty() || terms.back().Key() != term.Key()) {
      terms.push_back(term);
    } else if (terms.back().count < std::numeric_limits<std::uint16_t>::max()) {
      ++terms.back().count;
    }
  }
  terms.shrink_to_fit();
  return terms;
}

}  // namespace classify
