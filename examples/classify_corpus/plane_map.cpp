#include "plane_map.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "class_style.h"
#include "gnuplot.h"
#include "number_text.h"
#include "run_error.h"
#include "utf8.h"

namespace classify {

namespace {

// The picture, in pixels, and the edges of the plot in it, as shares of the picture.
namespace layout {
constexpr unsigned int width = 1280;
constexpr unsigned int height = 960;
constexpr double left = 0.07;
constexpr double right = 0.84;
constexpr double bottom = 0.07;
constexpr double top = 0.94;
}  // namespace layout

float Quantile(std::vector<MapPoint>& points, float PlanePoint::*axis, std::size_t part, std::size_t parts) {
  auto const place = points.begin() + static_cast<std::ptrdiff_t>((points.size() - 1) * part / parts);
  std::nth_element(points.begin(), place, points.end(),
                   [axis](auto const& a, auto const& b) { return a.place.*axis < b.place.*axis; });
  return place->place.*axis;
}

/// What an axis shows, and where. Most documents lie in the middle of the plane, and a few far out: the scale is nearly
/// linear in the middle and logarithmic farther out, by the inverse hyperbolic sine, so that both can be seen.
class Axis {
 public:
  Axis(char axisName, std::vector<MapPoint> points, float PlanePoint::*axis)
      : name(axisName), middle(Quantile(points, axis, 1, 2)) {
    float const quarters = Quantile(points, axis, 3, 4) - Quantile(points, axis, 1, 4);
    unit = quarters > 0 ? quarters / 2 : 1.0F;
    constexpr double margin = 0.15;
    low = Scale(Quantile(points, axis, 0, 1)) - margin;
    high = Scale(Quantile(points, axis, 1, 1)) + margin;
  }

  double Scale(float value) const { return std::asinh((value - middle) / unit); }

  /// Where a value lies between the ends of the axis.
  double Share(float value) const { return (Scale(value) - low) / (high - low); }

  std::string Script() const {
    std::string const m = Fixed(middle, 8);
    std::string const u = Fixed(unit, 8);
    std::string const variable(1, name);
    return "set nonlinear " + variable + " via asinh((" + variable + "-(" + m + "))/" + u + ") inverse (" + m + ")+" +
           u + "*sinh(" + variable + ")\nset " + variable + "range [" + Fixed(Value(low), 8) + ':' +
           Fixed(Value(high), 8) + "]\n";
  }

 private:
  double Value(double scaled) const { return middle + unit * std::sinh(scaled); }

  char name;
  float middle;
  float unit;
  double low;
  double high;
};

/// Class names on the plot, moved up or down where they would cover each other. All in pixels.
class Labels {
 public:
  std::string Place(double x, double y, std::string const& text) {
    constexpr double characterWidth = 8.5;
    constexpr double lineHeight = 17;
    double const width = characterWidth * static_cast<double>(Width(text));
    auto const covers = [&](double height) {
      return std::any_of(boxes.begin(), boxes.end(), [&](Box const& box) {
        return std::abs(box.x - x) < (box.width + width) / 2 && std::abs(box.y - height) < lineHeight;
      });
    };
    double moved = y;
    for (int step = 1; step < 60 && covers(moved); ++step) {
      moved = y + (step % 2 == 0 ? 1 : -1) * (step + 1) / 2 * lineHeight / 2;
    }
    boxes.push_back({x, moved, width});
    return "set label " + Quoted(text) + " at screen " + Fixed(x / layout::width, 4) + ", screen " +
           Fixed(moved / layout::height, 4) + " center front boxed font ',11'\n";
  }

 private:
  struct Box {
    double x;
    double y;
    double width;
  };

  std::vector<Box> boxes;
};

std::string Frame(std::string const& title, Axis const& x, Axis const& y) {
  return "set title " + Quoted(title) + " font ',14'\nset lmargin at screen " + Fixed(layout::left, 3) +
         "\nset rmargin at screen " + Fixed(layout::right, 3) + "\nset bmargin at screen " + Fixed(layout::bottom, 3) +
         "\nset tmargin at screen " + Fixed(layout::top, 3) +
         "\nset key at screen 0.99, screen 0.94 right top Left reverse spacing 1.1 width -4 samplen 1 font ',11'\n"
         "set style textbox opaque noborder fillcolor rgb '#40ffffff' margins 0.5,0.5\n"
         "set xlabel 'first principal component (scale stretched in the middle)'\n"
         "set ylabel 'second principal component (scale stretched in the middle)' offset 1\n"
         "set grid lc rgb '#e4e4e4'\nset tics scale 0.5 font ',10' format '%.3f'\n" +
         x.Script() + y.Script();
}

// One class: its points, its entry in the legend and its name among the points.
class ClassLayer {
 public:
  ClassLayer(std::size_t id, std::vector<MapPoint> members, std::string const& name)
      : points(std::move(members)), block("$class" + std::to_string(id)), style(PointStyle(id)), className(name) {}

  std::string Data() const {
    std::string lines = block + " << EOD\n";
    for (MapPoint const& point : points) lines += Fixed(point.place.x, 6) + ' ' + Fixed(point.place.y, 6) + '\n';
    return lines + "EOD\n";
  }

  // The legend shows larger points than the plot.
  std::string Plot() const {
    return block + " with points ps 0.5" + style + " notitle, NaN with points ps 1" + style + " title " +
           Quoted(className + " (" + Grouped(points.size()) + ')');
  }

  std::string Label(Axis const& x, Axis const& y, Labels& labels) {
    using namespace layout;
    return labels.Place((left + x.Share(Quantile(points, &PlanePoint::x, 1, 2)) * (right - left)) * width,
                        (bottom + y.Share(Quantile(points, &PlanePoint::y, 1, 2)) * (top - bottom)) * height,
                        className);
  }

 private:
  std::vector<MapPoint> points;
  std::string block;
  std::string style;
  std::string className;
};

std::vector<ClassLayer> LayersOf(std::vector<MapPoint> const& points, std::vector<std::string> const& classNames) {
  std::vector<std::vector<MapPoint>> byClass(classNames.size());
  for (MapPoint const& point : points) byClass[point.classId].push_back(point);
  std::vector<ClassLayer> layers;
  for (std::size_t id = 1; id < byClass.size(); ++id) {
    if (!byClass[id].empty()) layers.emplace_back(id, std::move(byClass[id]), classNames[id]);
  }
  return layers;
}

}  // namespace

std::string DrawMap(std::string const& corpus, DocumentMap const& map, std::vector<std::string> const& classNames) {
  if (map.points.empty()) throw RunError{"there is nothing to draw a map of: no tested document has a known word"};
  Axis const x('x', map.points, &PlanePoint::x);
  Axis const y('y', map.points, &PlanePoint::y);
  std::string data;
  std::string names;
  std::string plots;
  Labels labels;
  for (ClassLayer& layer : LayersOf(map.points, classNames)) {
    data += layer.Data();
    names += layer.Label(x, y, labels);
    plots += (plots.empty() ? "plot " : ", ") + layer.Plot();
  }
  std::string const title = corpus + ": " + Grouped(map.points.size()) + " documents of fold " +
                            std::to_string(map.fold) + " on the plane of " + Grouped(map.examples) + " others";
  return DrawPicture(layout::width, layout::height, data + Frame(title, x, y) + names + plots);
}

}  // namespace classify
