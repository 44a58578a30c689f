#include "report/line_chart.h"

#include <algorithm>
#include <cmath>

#include "report/text.h"

namespace report {

namespace {

// What is at most a sixth of the axis apart, and round.
double TickDistance(double end) {
  constexpr double ticks = 6;
  double const power = std::pow(10, std::floor(std::log10(end / ticks)));
  for (double const factor : {1.0, 2.0, 5.0})
    if (factor * power * ticks >= end) return factor * power;
  return 10 * power;
}

int DigitsOf(double distance) {
  return std::max(0, static_cast<int>(-std::floor(std::log10(distance))));
}

double HighestOf(std::vector<Curve> const& curves) {
  double highest = 0;
  for (Curve const& curve : curves)
    for (Point const& point : curve.points) highest = std::max(highest, point.y);
  return highest > 0 ? highest : 1;
}

// In words, where the curves begin, lie in the middle, and end.
std::string Described(LineChart const& chart) {
  std::string text = chart.title + ": " + chart.yLabel + " over " + chart.xLabel;
  for (Curve const& curve : chart.curves) {
    text += "; " + curve.name;
    std::size_t const count = curve.points.size();
    for (std::size_t i : {std::size_t{0}, count / 2, count - 1})
      if (i < count) text += (i == 0 ? " " : ", ") + Fixed(curve.points[i].y, 1) + " at " + Fixed(curve.points[i].x, 2);
  }
  return text;
}

class Drawing {
 public:
  explicit Drawing(LineChart const& given)
      : chart(given),
        yEnd(given.yEnd > 0 ? given.yEnd : 1.05 * HighestOf(given.curves)),
        width(given.isLarge ? 760 : 360),
        height(given.isLarge ? 420 : 240),
        svg(width, height, Described(given)) {}

  Svg Draw() {
    svg.Text("heading", left, 16, chart.title);
    DrawGrid();
    for (std::size_t i = 0; i < chart.curves.size(); ++i) DrawCurve(i);
    DrawLegend();
    return svg;
  }

 private:
  double X(double value) const { return left + value / chart.xEnd * (width - left - right); }
  double Y(double value) const { return height - bottom - value / yEnd * (height - top - bottom); }

  void DrawGrid() {
    double const xDistance = TickDistance(chart.xEnd);
    for (int tick = 0; tick * xDistance <= chart.xEnd * 1.001; ++tick) {
      double const value = tick * xDistance;
      svg.Line("grid", X(value), Y(0), X(value), top);
      svg.Text("tick middle", X(value), height - bottom + 16, Fixed(value, DigitsOf(xDistance)));
    }
    double const yDistance = TickDistance(yEnd);
    for (int tick = 0; tick * yDistance <= yEnd * 1.001; ++tick) {
      double const value = tick * yDistance;
      svg.Line("grid", left, Y(value), width - right, Y(value));
      svg.Text("tick end", left - 5, Y(value) + 4, Fixed(value, DigitsOf(yDistance)));
    }
    svg.Text("label middle", (left + width - right) / 2, height - 6, chart.xLabel);
    svg.UprightText("label middle", 12, (top + height - bottom) / 2, chart.yLabel);
  }

  void DrawCurve(std::size_t number) {
    Curve const& drawn = chart.curves[number];
    std::string path;
    for (Point const& point : drawn.points)
      path += (path.empty() ? 'M' : 'L') + Length(X(point.x)) + ' ' + Length(Y(point.y));
    svg.Path("curve " + Look(number), path);
    constexpr double apart = 24;
    Mark const* last = nullptr;
    for (Mark const& mark : drawn.marks) {
      if (last && std::hypot(X(mark.point.x) - X(last->point.x), Y(mark.point.y) - Y(last->point.y)) < apart) continue;
      last = &mark;
      svg.Path("dot " + Look(number), 'M' + Length(X(mark.point.x)) + ' ' + Length(Y(mark.point.y)) + "h0");
      // The first curve has its texts above, the second below.
      if (number == 0)
        svg.Text("tick", X(mark.point.x) + 5, Y(mark.point.y) - 6, mark.text);
      else
        svg.Text("tick middle", X(mark.point.x), Y(mark.point.y) + 17, mark.text);
    }
  }

  // At the right upper corner, from the last curve to the first.
  void DrawLegend() {
    constexpr double characterWidth = 6;
    constexpr double sample = 24;
    double end = width - right;
    for (std::size_t i = chart.curves.size(); i-- > 0;) {
      std::string const& name = chart.curves[i].name;
      svg.Text("label end", end, top - 8, name);
      end -= characterWidth * static_cast<double>(Width(name)) + 6;
      svg.Line("curve " + Look(i), end - sample, top - 12, end, top - 12);
      end -= sample + 14;
    }
  }

  static std::string Look(std::size_t number) { return number == 0 ? "first" : "second"; }

  static constexpr double left = 52;
  static constexpr double right = 14;
  static constexpr double top = 44;
  static constexpr double bottom = 42;

  LineChart const& chart;
  double yEnd;
  double width;
  double height;
  Svg svg;
};

}  // namespace

Svg Draw(LineChart const& chart) {
  return Drawing(chart).Draw();
}

}  // namespace report
