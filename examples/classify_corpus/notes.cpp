#include "notes.h"

#include <algorithm>
#include <ostream>

#include "number_text.h"

namespace classify {

void Notes::Print(std::ostream& stream, bool showNames) const {
  for (auto const& [message, list] : names) {
    stream << "classify_corpus: " << message << " (" << Grouped(list.size()) << ')';
    std::size_t const shown = showNames ? std::min(list.size(), shownNames) : 0;
    for (std::size_t i = 0; i < shown; ++i) stream << (i == 0 ? ": " : ", ") << list[i];
    if (showNames && shown < list.size()) stream << " and " << Grouped(list.size() - shown) << " more";
    stream << '\n';
  }
}

}  // namespace classify
