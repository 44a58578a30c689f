// Finds all places in a text that match a regular expression.
#ifndef ZAM_FOUNDATION_REGEX_H
#define ZAM_FOUNDATION_REGEX_H

#include <cstdint>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// One record in the list of what was found; the last one of each list says that there is no more. Owns its successor;
/// but the records of a Regex all belong to the Regex, and none may be destroyed alone.
class ZAM_EXPORT _Match {
 public:
  /// If `previous` isn't null, the new record becomes its successor, in place of none.
  _Match(_Match* previous, std::int32_t start, std::int32_t units, bool isMatch);
  _Match(_Match const&) = delete;
  _Match& operator=(_Match const&) = delete;
  /// Destroys all that follow as well, with the same little stack for a list of any length.
  virtual ~_Match();

  /// The following record; null in the last one.
  _Match* next = nullptr;
  /// Where the match starts and how long it is, in 16-bit units from the start of the text; -1 in the last record. A
  /// `\K` in a lookahead moves the start past the end, and the length is negative then.
  std::int32_t position;
  std::int32_t length;
  /// True for a match, false in the last record.
  bool matched;
};

/// A regular expression in the Perl syntax of Boost.Regex.
///
///     Regex regex(u"\\d+", false);
///     for (_Match const* match = regex.Match(text); match->matched; match = match->next) {
///       use(text.substr(match->position, match->length));
///     }
///
/// Works on 16-bit units: `.` takes one, and a character that is made of two surrogates is two. Classes such as `\w`
/// and `[[:alpha:]]` know the letters of all scripts, and case is that of ZamToLower; no locale has a say in either.
///
/// Each search begins at the end of the match before, as if the text began there: `^` matches there too, and `\b` and
/// lookbehind see nothing in front. A search finds an empty match only after its beginning. `^` and `$` also match at
/// the lines of the text.
///
/// A pattern can take far more steps than its text is long: `(a+)+$` tries all ways to part a row of `a`. Match gives
/// up where it takes more than 10,000,000 + 100 n steps for a text of n units, or where one search passes the engine's
/// own bound, which is lower for short texts. Ordinary patterns take less than 30 steps for a unit.
///
/// Owning:  owns the list of the last Match.
/// Threads: one thread at a time; separate objects are independent.
/// Errors:  boost::regex_error, from the constructor for a malformed pattern; from Match for a pattern that only
///          without regard to case is malformed (such as `[Z-a]`), or, with the code error_complexity or error_stack,
///          where it gives up. A program that catches it includes <boost/regex.hpp>; others need nothing of Boost.
///          BaseException with id 5 when memory runs out.
class ZAM_EXPORT Regex {
 public:
  /// `ignoringCase` is heeded by Match alone.
  Regex(wstring expression, bool ignoringCase);
  Regex(Regex const&) = delete;
  Regex& operator=(Regex const&) = delete;
  virtual ~Regex();

  /// Finds all matches in `text`, which has fewer than 2^31 units, from left to right. They don't overlap. The list,
  /// never null, is valid until the next call or the end of the Regex, and may not be destroyed by the caller.
  _Match* Match(wstring text);

 private:
  wstring pattern;
  bool ignoreCase;
  _Match* matches;  // null before the first Match; without its last record after a Match that threw
};

}  // namespace ZaM

#endif
