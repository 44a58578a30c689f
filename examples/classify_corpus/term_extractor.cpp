#include "term_extractor.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "number_sort.h"

namespace classify {

// The hash of a term is what `stringhash` gives for its symbols: the sum of their numbers with the weights 1, 3, 5 …
// Terms overlap, so it is cheaper to look each number up once, and to make the hash of a pair of those of its words.

namespace {

constexpr std::size_t fragmentLength = 4;

}  // namespace

TermExtractor::TermExtractor(unsigned char minWordLength, bool useDigits)
    : textFilter(ZaM::AsciiTextFilter::Create(minWordLength, useDigits)) {
  for (std::size_t symbol = 0; symbol < numbers.size(); ++symbol) {
    char const text = static_cast<char>(symbol);
    numbers[symbol] = ZaM::stringhash().GetStringHash(1, &text);
  }
}

Terms TermExtractor::Extract(std::u16string_view text) {
  Filter(text);
  for (auto& hashes : occurrences) hashes.clear();
  auto& words = occurrences[static_cast<std::size_t>(TermKind::Word)];
  auto& pairs = occurrences[static_cast<std::size_t>(TermKind::Pair)];
  // The stream is 0, word, 0, word, 0: a pair of words and the edges of a word are just longer stretches of it.
  Stretch previous;  // word, with all zeros after it; empty before the first one
  char const* const stream = symbols.data();
  for (std::size_t begin = 1, end = 0; begin < length; begin = end + 1) {
    auto const* const zero = static_cast<char const*>(std::memchr(stream + begin, 0, length - begin));
    if (zero == nullptr) break;
    end = static_cast<std::size_t>(zero - stream);
    Stretch const separator = Measure(end, end + 1);
    if (end == begin) {  // a word of nothing but dropped marks
      if (previous.length > 0) previous = Joined(previous, separator);
      continue;
    }
    Stretch const word = Measure(begin, end);
    words.push_back(word.hash);
    if (previous.length > 0) pairs.push_back(Joined(previous, word).hash);
    AddFragments(begin - 1, end + 1);
    previous = Joined(word, separator);
  }
  return MergeEqualTerms();
}

void TermExtractor::Filter(std::u16string_view text) {
  symbols.resize(4 * text.size() + 3);  // takes everything, even if each unit is an ideograph
  length = textFilter->FilterTextW(text.data(), static_cast<unsigned int>(text.size()), symbols.data(),
                                   static_cast<unsigned int>(symbols.size()));
  values.resize(length);
  for (std::size_t i = 0; i < length; ++i) values[i] = numbers[static_cast<unsigned char>(symbols[i])];
}

TermExtractor::Stretch TermExtractor::Measure(std::size_t begin, std::size_t end) const {
  Stretch stretch{0, 0, end - begin};
  std::uint32_t weight = 1;
  for (std::size_t i = begin; i < end; ++i, weight += 2) {
    stretch.hash += weight * values[i];
    stretch.sum += values[i];
  }
  return stretch;
}

// The weights of the second one begin where those of the first one end.
TermExtractor::Stretch TermExtractor::Joined(Stretch const& first, Stretch const& second) {
  auto const offset = static_cast<std::uint32_t>(2 * first.length);
  return {first.hash + second.hash + offset * second.sum, first.sum + second.sum, first.length + second.length};
}

void TermExtractor::AddFragments(std::size_t begin, std::size_t end) {
  auto& fragments = occurrences[static_cast<std::size_t>(TermKind::Fragment)];
  for (std::size_t i = begin; i + fragmentLength <= end; ++i)
    fragments.push_back(values[i] + 3 * values[i + 1] + 5 * values[i + 2] + 7 * values[i + 3]);
}

Terms TermExtractor::MergeEqualTerms() {
  Terms terms;
  for (std::size_t kind = 0; kind < termKindCount; ++kind) {
    SortNumbers(occurrences[kind], scratch);
    ForEachRun(occurrences[kind], [&](std::uint32_t hash, std::size_t count) {
      constexpr std::size_t greatest = std::numeric_limits<std::uint16_t>::max();
      terms.push_back({hash, static_cast<std::uint16_t>(std::min(count, greatest)), static_cast<TermKind>(kind)});
    });
  }
  terms.shrink_to_fit();
  return terms;
}

}  // namespace classify
