// Any pattern on any text: places lie in the text and follow each other, a literal is found where a plain search finds
// it, and no search takes longer than the bound on its steps allows; libFuzzer's time limit sees to that.
//
// The first byte is the length of the pattern, bit 7 whether case is ignored.
#include <boost/regex.hpp>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "fuzz/require.h"
#include "fuzz/units.h"
#include "zam/foundation/regex.h"

namespace {

using namespace ZaM;

void Find(wstring const& pattern, bool ignoresCase, wstring const& text) {
  try {
    Regex regex(pattern, ignoresCase);
    auto const units = static_cast<std::int32_t>(text.size());
    for (int round = 0; round < 2; ++round) {
      std::int32_t end = 0;
      _Match const* match = regex.Match(text);
      for (; match->matched; match = match->next) {
        // `\K` in a lookahead moves the start after the end.
        Require(match->position >= 0 && match->position + match->length >= end);
        end = match->position + match->length;
        Require(end <= units && match->position <= units);
      }
      Require(match->position == -1 && match->length == -1 && !match->next);
    }
  } catch (boost::regex_error const&) {
    // Malformed, or given up.
  }
}

void FindsLiterally(wstring const& literal, wstring const& text) {
  if (literal.empty()) return;
  wstring pattern;
  for (wchar const unit : literal) {
    pattern += u"\\x{";
    for (int shift = 12; shift >= 0; shift -= 4) pattern += u"0123456789abcdef"[unit >> shift & 15];
    pattern += u'}';
  }
  Regex regex(pattern, false);
  _Match const* match = regex.Match(text);
  for (std::size_t at = 0; (at = text.find(literal, at)) != wstring::npos; at += literal.size(), match = match->next) {
    Require(match->matched && std::cmp_equal(match->position, at) && std::cmp_equal(match->length, literal.size()));
  }
  Require(!match->matched);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  Bytes bytes(data, size);
  unsigned int const head = bytes.Take();
  wstring const pattern = bytes.TakeText(head & 0x7F);
  wstring const text = bytes.TakeText(2000);
  Find(pattern, (head & 0x80) != 0, text);
  FindsLiterally(pattern.substr(0, 3), text);
  return 0;
}
