// From the entries of a translation file to the texts of a satellite.
#ifndef ZAM_TRANSLATIONS_CHECK_TEXTS_H
#define ZAM_TRANSLATIONS_CHECK_TEXTS_H

#include <vector>

#include "translations/po_file.h"
#include "zam/foundation/satellite_file.h"

namespace ZaM::translations {

/// The texts of a file under the numbers that its contexts name, with everything that is wrong with them.
struct CheckedTexts {
  detail::TextMap texts;
  std::vector<PoError> errors;
};

/// The sources of the entries: what a component's own module holds. Wrong is a context that isn't a number, and a
/// number that stands twice.
[[nodiscard]] CheckedTexts SourceTexts(std::vector<PoEntry> const& entries);

/// The translations of the entries. Wrong are, beside the above, a number that `builtIn` doesn't have, a source that
/// isn't the built-in text any more, a translation that is too long for a satellite, and one whose placeholders differ
/// from the built-in text's in number, kind or order. What isn't translated, or only by a guess, is left out.
[[nodiscard]] CheckedTexts Translations(std::vector<PoEntry> const& entries, detail::TextMap const& builtIn);

}  // namespace ZaM::translations

#endif
