// From a document's text to the terms that stand in it.
#ifndef CLASSIFY_CORPUS_TERM_EXTRACTOR_H
#define CLASSIFY_CORPUS_TERM_EXTRACTOR_H

#include <zam/zam.h>

#include <array>
#include <compare>
#include <cstdint>
#include <string_view>
#include <vector>

#include "settings.h"

namespace classify {

/// What a term is a stretch of. All three are hashed from the symbols that the text filter gives.
enum class TermKind : std::uint8_t {
  Word,
  Pair,      ///< two words in a row: what ideographs, each a word of its own, need to say anything
  Fragment,  ///< four symbols in a row, the edges of the word among them: what compounds and endings have in common
};
inline constexpr std::array allTermKinds{TermKind::Word, TermKind::Pair, TermKind::Fragment};
inline constexpr std::size_t termKindCount = allTermKinds.size();

struct TermKey {
  TermKind kind;
  std::uint32_t hash;

  friend auto operator<=>(TermKey const&, TermKey const&) = default;  // NOLINT(modernize-use-nullptr): there is none
};

/// A term and how often it occurs; what occurs more often than a count can tell counts as the greatest.
struct Term {
  std::uint32_t hash;
  std::uint16_t count;
  TermKind kind;

  TermKey Key() const { return {kind, hash}; }
};

/// The different terms of a text, in the order of their keys.
using Terms = std::vector<Term>;

/// Turns texts into terms.
///
/// Threads: one thread at a time: the buffers are reused from text to text.
class TermExtractor {
 public:
  /// Words of fewer than `minWordLength` characters leave no trace, but ideographs do. Without digits these separate.
  TermExtractor(unsigned char minWordLength, bool useDigits);
  explicit TermExtractor(Settings const& settings)
      : TermExtractor(static_cast<unsigned char>(settings.minWordLength), settings.useDigits) {}

  /// The terms of a text of at most `maxUnits` units. A text in a script that the filter doesn't know has none.
  Terms Extract(std::u16string_view text);

  /// What the filter's 32-bit sizes have room for, with a wide margin.
  static constexpr std::size_t maxUnits = std::size_t{1} << 28;

 private:
  // A stretch of the stream by what its hash and that of longer ones are made of.
  struct Stretch {
    std::uint32_t hash = 0;
    std::uint32_t sum = 0;
    std::size_t length = 0;
  };

  void Filter(std::u16string_view text);
  Stretch Measure(std::size_t begin, std::size_t end) const;
  static Stretch Joined(Stretch const& first, Stretch const& second);
  void AddFragments(std::size_t begin, std::size_t end);
  Terms MergeEqualTerms();

  ZaM::Ref<ZaM::AsciiTextFilter> textFilter;
  std::array<std::uint32_t, 256> numbers;                             // the hash of each symbol by itself
  std::vector<char> symbols;                                          // the stream
  std::size_t length = 0;                                             // of it
  std::vector<std::uint32_t> values;                                  // the number of each of its symbols
  std::array<std::vector<std::uint32_t>, termKindCount> occurrences;  // hashes
  std::vector<std::uint32_t> scratch;
};

/// One for each job.
inline std::vector<TermExtractor> MakeExtractors(std::size_t jobs, Settings const& settings) {
  std::vector<TermExtractor> extractors;
  for (std::size_t i = 0; i < jobs; ++i) extractors.emplace_back(settings);
  return extractors;
}

}  // namespace classify

#endif
