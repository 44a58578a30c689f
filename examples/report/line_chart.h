// Curves over an axis.
#ifndef REPORT_LINE_CHART_H
#define REPORT_LINE_CHART_H

#include <string>
#include <vector>

#include "report/svg.h"

namespace report {

struct Point {
  double x;
  double y;
};

/// A point of a curve with a text beside it.
struct Mark {
  Point point;
  std::string text;
};

struct Curve {
  std::string name;
  std::vector<Point> points;  // from left to right
  std::vector<Mark> marks;    // left out where they would cover the one before
};

/// Both axes begin at 0.
struct LineChart {
  std::string title;
  std::string xLabel;
  std::string yLabel;
  double xEnd;
  double yEnd;                // 0: as high as the curves
  std::vector<Curve> curves;  // two have looks of their own
  bool isLarge = false;
};

Svg Draw(LineChart const& chart);

}  // namespace report

#endif
