#include "zam/foundation/regex.h"

#include <boost/regex.hpp>
#include <cstddef>
#include <utility>

#include "zam/foundation/regex_traits.h"

namespace ZaM {

namespace {

using Expression = boost::basic_regex<wchar, detail::RegexTraits>;

Expression compile(wstring const& pattern, bool ignoreCase) {
  auto const flags = ignoreCase ? boost::regex_constants::icase : boost::regex_constants::normal;
  return Expression(pattern.data(), pattern.data() + pattern.size(), flags);
}

}  // namespace

_Match::_Match(_Match* previous, std::int32_t start, std::int32_t units, bool isMatch)
    : position(start), length(units), matched(isMatch) {
  if (previous) previous->next = this;
}

_Match::~_Match() {
  while (next) {
    _Match* const successor = next;
    next = std::exchange(successor->next, nullptr);
    delete successor;
  }
}

Regex::Regex(wstring expression, bool ignoringCase)
    : pattern(std::move(expression)), ignoreCase(ignoringCase), matches(nullptr) {
  compile(pattern, false);
}

Regex::~Regex() {
  delete matches;
}

_Match* Regex::Match(wstring text) {
  delete std::exchange(matches, nullptr);
  Expression const expression = compile(pattern, ignoreCase);
  _Match* last = nullptr;
  auto const append = [&](std::ptrdiff_t position, std::ptrdiff_t length, bool matched) {
    last = new _Match(last, static_cast<std::int32_t>(position), static_cast<std::int32_t>(length), matched);
    if (!matches) matches = last;
  };
  wchar const* const begin = text.data();
  wchar const* const end = begin + text.size();
  boost::match_results<wchar const*> what;
  for (wchar const* start = begin;
       boost::regex_search(start, end, what, expression, boost::regex_constants::match_not_initial_null);
       start = what[0].second) {
    append(what[0].first - begin, what[0].length(), true);
  }
  append(-1, -1, false);
  return matches;
}

}  // namespace ZaM
