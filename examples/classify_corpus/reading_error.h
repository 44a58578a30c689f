// Which failures to read concern a single file, and which the machine.
#ifndef CLASSIFY_CORPUS_READING_ERROR_H
#define CLASSIFY_CORPUS_READING_ERROR_H

#include <filesystem>
#include <system_error>

#include "run_error.h"
#include "utf8.h"

namespace classify {

/// What is missing or forbidden may be left out. All else, such as a damaged disk or too many open files, would leave
/// out any number of documents, and nobody could trust the figures: then throws RunError, which names the path.
inline void CheckMayLeaveOut(std::filesystem::path const& path, std::error_code error) {
  for (std::errc const harmless :
       {std::errc::no_such_file_or_directory, std::errc::permission_denied, std::errc::operation_not_permitted,
        std::errc::not_a_directory, std::errc::is_a_directory, std::errc::too_many_symbolic_link_levels,
        std::errc::filename_too_long})
    if (error == harmless) return;
  throw RunError{"can't read " + Printable(path.native()) + ": " + error.message()};
}

}  // namespace classify

#endif
