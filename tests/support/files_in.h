// Counts what is in a folder.
#ifndef TESTS_SUPPORT_FILES_IN_H
#define TESTS_SUPPORT_FILES_IN_H

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace ZaM::test {

/// How many entries a folder has; of /proc/self/fd, how many files are open and one more.
inline std::ptrdiff_t FilesIn(std::filesystem::path const& folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

}  // namespace ZaM::test

#endif
