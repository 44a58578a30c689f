// Text that looks real to a filter: the word lengths of English, its punctuation, capitals and numbers, in several
// alphabets. The same on every run.
#ifndef ZAM_BENCHMARKS_SAMPLE_TEXT_H
#define ZAM_BENCHMARKS_SAMPLE_TEXT_H

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace sample {

/// The letters of one script, in two cases that correspond.
struct Script {
  std::u16string_view small;
  std::u16string_view capital;
};

inline constexpr Script english{u"eeeetttaaaooiinnsshhrrdlucmfwypvbgkjqxz", u"EEEETTTAAAOOIINNSSHHRRDLUCMFWYPVBGKJQXZ"};
inline constexpr Script german{u"eeeennniissrraattdhulcgmobwfkzvpüäößjyxq",
                               u"EEEENNNIISSRRAATTDHULCGMOBWFKZVPÜÄÖSJYXQ"};
inline constexpr Script russian{u"ооееааиинтсрвлкмдпуяыьгзбчйхжшюцщэф", u"ООЕЕААИИНТСРВЛКМДПУЯЫЬГЗБЧЙХЖШЮЦЩЭФ"};
inline constexpr Script greek{u"ααοοιιεετσνηυρπκμλωςδγχθφβξζψ", u"ΑΑΟΟΙΙΕΕΤΣΝΗΥΡΠΚΜΛΩΣΔΓΧΘΦΒΞΖΨ"};

/// Makes text of the given scripts, a paragraph at a time.
class Writer {
 public:
  /// At least `length` units.
  std::u16string Write(std::vector<Script> const& scripts, std::size_t length) {
    std::u16string text;
    while (text.size() < length) {
      auto const& script = scripts[Below(scripts.size())];
      for (auto sentences = 3 + Below(8); sentences > 0; --sentences) Sentence(script, text);
      text += u"\n\n";
    }
    return text;
  }

  /// At least `length` units of ideographs, in phrases with their punctuation and a number now and then.
  std::u16string WriteIdeographs(std::size_t length) {
    std::u16string text;
    while (text.size() < length) {
      for (auto characters = 4 + Below(12); characters > 0; --characters) text += Ideograph();
      text += Below(3) == 0 ? u"。" : u"、";
      if (Below(12) == 0) text += u" 2024 ";
    }
    return text;
  }

 private:
  std::size_t Below(std::size_t bound) { return engine() % bound; }

  char16_t Ideograph() { return static_cast<char16_t>(Below(3) == 0 ? 0x3042 + Below(80) : 0x4E00 + Below(3000)); }

  std::size_t WordLength() {
    constexpr unsigned char lengths[] = {1, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 4, 4, 4,  4,
                                         4, 5, 5, 5, 5, 6, 6, 6, 7, 7, 8, 8, 9, 9, 10, 12};
    return lengths[Below(std::size(lengths))];
  }

  void Word(Script const& script, bool capital, std::u16string& text) {
    if (Below(40) == 0) {
      for (auto digits = 1 + Below(4); digits > 0; --digits) text += static_cast<char16_t>(u'0' + Below(10));
      return;
    }
    auto const length = WordLength();
    for (std::size_t i = 0; i < length; ++i) {
      auto const letter = Below(script.small.size());
      text += capital && i == 0 ? script.capital[letter] : script.small[letter];
    }
  }

  void Sentence(Script const& script, std::u16string& text) {
    auto const words = 5 + Below(20);
    for (std::size_t i = 0; i < words; ++i) {
      Word(script, i == 0 || Below(12) == 0, text);
      if (i + 1 == words) break;
      constexpr std::u16string_view joints[] = {u", ", u" (", u") ", u"-", u": ", u"\n", u"/", u"; "};
      text += Below(8) == 0 ? joints[Below(std::size(joints))] : u" ";
    }
    text += Below(10) == 0 ? u"? " : u". ";
  }

  std::mt19937 engine{20240229};
};

/// Text of 16-bit units below 256 as bytes.
inline std::string ToLatin1(std::u16string_view text) {
  std::string bytes;
  for (char16_t const unit : text) bytes += static_cast<char>(unit);
  return bytes;
}

}  // namespace sample

#endif
