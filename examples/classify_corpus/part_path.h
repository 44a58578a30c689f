// Where a file is written before it moves to its place.
#ifndef CLASSIFY_CORPUS_PART_PATH_H
#define CLASSIFY_CORPUS_PART_PATH_H

#include <filesystem>

namespace classify {

/// A name beside `target`: what stands there is incomplete, and no other program takes it for the file itself.
inline std::filesystem::path PartOf(std::filesystem::path target) {
  target += ".part";
  return target;
}

}  // namespace classify

#endif
