// How the classes look in pictures.
#ifndef CLASSIFY_CORPUS_CLASS_STYLE_H
#define CLASSIFY_CORPUS_CLASS_STYLE_H

#include <array>
#include <cstddef>
#include <string>

namespace classify {

/// Colour and shape of a class's points, as gnuplot writes them: " pt 7 lc rgb '#1f77b4'". Twelve colours that are told
/// apart also by their lightness, each in five shapes: no two of the first sixty classes look alike.
inline std::string PointStyle(std::size_t classId) {
  constexpr std::array colors{"#1f5fb4", "#e6550d", "#2ca02c", "#d62728", "#7b4fb5", "#8c564b",
                              "#e377c2", "#17a2b8", "#b5a300", "#222222", "#7fbf3f", "#ff9f40"};
  constexpr std::array shapes{"7", "5", "9", "11", "13"};  // filled: circle, square, triangles up and down, diamond
  std::size_t const place = classId - 1;
  return std::string(" pt ") + shapes[place / colors.size() % shapes.size()] + " lc rgb '" +
         colors[place % colors.size()] + "'";
}

}  // namespace classify

#endif
