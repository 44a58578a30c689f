// Which of five folds a document falls into, fixed by its file name.
#ifndef CLASSIFY_CORPUS_FOLD_H
#define CLASSIFY_CORPUS_FOLD_H

#include <cstdint>
#include <string_view>

namespace classify {

/// The 32-bit FNV-1a hash of the bytes; offset basis and prime are those of its authors Fowler, Noll and Vo.
constexpr std::uint32_t Fnv1a(std::string_view bytes) {
  std::uint32_t hash = 2166136261U;
  for (char const byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
  return hash;
}

inline constexpr unsigned int foldCount = 5;

/// The fold of a document by the last part of its path, extension included. A name keeps its fold whatever other
/// documents there are, so that results stay comparable while a corpus grows.
constexpr unsigned int FoldOf(std::string_view baseName) {
  return Fnv1a(baseName) % foldCount;
}

}  // namespace classify

#endif
