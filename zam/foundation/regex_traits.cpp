#include "zam/foundation/regex_traits.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <string_view>

#include "zam/platform/case_mapping.h"
#include "zam/platform/character_class.h"

namespace ZaM::detail {

namespace {

// What the engine knows about ASCII, whatever the type of its characters.
namespace defaults = boost::BOOST_REGEX_DETAIL_NS;

constexpr bool IsAscii(wchar unit) {
  return unit < 0x80;
}

struct NamedClass {
  std::u16string_view name;
  std::uint32_t classes;
};

constexpr std::uint32_t horizontalSpaceClass = platform::BlankClass | platform::TabulatorClass;
constexpr std::uint32_t spaceClass = horizontalSpaceClass | platform::VerticalSpaceClass;
constexpr std::uint32_t wordClass = platform::AlphaClass | platform::DigitClass | platform::UnderscoreClass;

constexpr NamedClass namedClasses[] = {
    {u"alnum", platform::AlphaClass | platform::DigitClass},
    {u"alpha", platform::AlphaClass},
    {u"blank", horizontalSpaceClass},
    {u"cntrl", platform::CntrlClass},
    {u"d", platform::DigitClass},
    {u"digit", platform::DigitClass},
    {u"graph", platform::GraphClass},
    {u"h", horizontalSpaceClass},
    {u"l", platform::LowerClass},
    {u"lower", platform::LowerClass},
    {u"print", platform::GraphClass | platform::BlankClass},
    {u"punct", platform::PunctClass},
    {u"s", spaceClass},
    {u"space", spaceClass},
    {u"u", platform::UpperClass},
    {u"unicode", platform::BeyondLatin1Class},
    {u"upper", platform::UpperClass},
    {u"v", platform::VerticalSpaceClass},
    {u"w", wordClass},
    {u"word", wordClass},
    {u"xdigit", platform::HexDigitClass},
};

}  // namespace

boost::regex_constants::syntax_type RegexTraits::syntax_type(wchar unit) {
  return IsAscii(unit) ? defaults::get_default_syntax_type(static_cast<char>(unit))
                       : boost::regex_constants::syntax_char;
}

boost::regex_constants::escape_syntax_type RegexTraits::escape_syntax_type(wchar unit) {
  return IsAscii(unit) ? defaults::get_default_escape_syntax_type(static_cast<char>(unit))
                       : boost::regex_constants::escape_type_identity;
}

wchar RegexTraits::tolower(wchar unit) {
  return platform::LowerCase(unit);
}

wchar RegexTraits::toupper(wchar unit) {
  return platform::UpperCase(unit);
}

wstring RegexTraits::transform_primary(wchar const* begin, wchar const* end) {
  wstring key(begin, end);
  for (wchar& unit : key) unit = tolower(platform::BaseLetter(unit));
  return key;
}

RegexTraits::char_class_type RegexTraits::lookup_classname(wchar const* begin, wchar const* end) {
  wstring name(begin, end);
  std::transform(name.begin(), name.end(), name.begin(), tolower);
  auto const* const found = std::ranges::find(namedClasses, name, &NamedClass::name);
  return found == std::end(namedClasses) ? 0 : found->classes;
}

wstring RegexTraits::lookup_collatename(wchar const* begin, wchar const* end) {
  if (end - begin == 1) return {begin, end};
  if (!std::all_of(begin, end, IsAscii)) return {};
  std::string name;
  std::transform(begin, end, std::back_inserter(name), [](wchar unit) { return static_cast<char>(unit); });
  std::string const characters = defaults::lookup_default_collate_name(name);
  return {characters.begin(), characters.end()};
}

bool RegexTraits::isctype(wchar unit, char_class_type classes) {
  return (platform::ClassesOf(unit) & classes) != 0;
}

int RegexTraits::value(wchar unit, int radix) {
  wchar const small = IsAscii(unit) ? tolower(unit) : u'\0';
  int digit = -1;
  if (small >= u'0' && small <= u'9') digit = small - u'0';
  if (small >= u'a' && small <= u'f') digit = small - u'a' + 10;
  return digit < radix ? digit : -1;
}

std::intmax_t RegexTraits::toi(wchar const*& begin, wchar const* end, int radix) {
  if (begin == end || value(*begin, radix) < 0) return -1;
  std::intmax_t number = 0;
  for (; begin != end && value(*begin, radix) >= 0; ++begin) {
    if (number > (std::numeric_limits<std::intmax_t>::max() - radix) / radix) return -1;
    number = number * radix + value(*begin, radix);
  }
  return number;
}

std::string RegexTraits::error_string(boost::regex_constants::error_type error) {
  return defaults::get_default_error_string(error);
}

}  // namespace ZaM::detail
