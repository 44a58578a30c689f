// Points on a plane.
#ifndef REPORT_SCATTER_H
#define REPORT_SCATTER_H

#include <cstddef>
#include <string>
#include <vector>

#include "report/svg.h"

namespace report {

/// A member of a group, and the group that it was taken for.
struct Dot {
  double x;
  double y;
  std::size_t group;
  std::size_t takenFor;  // 0: for none
  std::string name;
};

struct Scatter {
  std::string title;
  std::string xLabel;
  std::string yLabel;
  std::vector<std::string> groups;  // from 1 on
  std::vector<Dot> dots;
};

/// How many groups, the largest ones, have a colour of their own. Smaller ones share these, in other shapes.
inline constexpr std::size_t colorCount = 12;

/// The dots coloured by group, the name of each group in the middle of its dots, and a legend with how many they are.
/// A ring in the colour of the group that a dot was taken for is around each that isn't its own.
///
/// Most dots lie in the middle of the plane, and a few far out: the scales are nearly linear in the middle and
/// logarithmic farther out, so that both can be seen.
Svg Draw(Scatter const& scatter);

}  // namespace report

#endif
