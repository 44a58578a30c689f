#include "report/scatter.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "report/text.h"

namespace report {

namespace {

// The picture, and the edges of the plot in it.
namespace layout {
constexpr double width = 1100;
constexpr double leastHeight = 780;
constexpr double left = 34;
constexpr double right = 880;
constexpr double top = 34;
constexpr double bottom = 56;  // from the lower edge
constexpr double legendLine = 20;
}  // namespace layout

double Quantile(std::vector<double>& values, std::size_t part, std::size_t parts) {
  auto const place = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) * part / parts);
  std::nth_element(values.begin(), place, values.end());
  return *place;
}

std::vector<double> Values(std::vector<Dot const*> const& dots, double Dot::*axis) {
  std::vector<double> values;
  values.reserve(dots.size());
  for (Dot const* dot : dots) values.push_back(dot->*axis);
  return values;
}

/// Where values lie between the ends of the picture, by the inverse hyperbolic sine.
class Axis {
 public:
  Axis(std::vector<double> values, double lowPlace, double highPlace)
      : middle(Quantile(values, 1, 2)), begin(lowPlace), end(highPlace) {
    double const quarters = Quantile(values, 3, 4) - Quantile(values, 1, 4);
    unit = quarters > 0 ? quarters / 2 : 1;
    constexpr double margin = 0.15;
    low = Scaled(Quantile(values, 0, 1)) - margin;
    high = Scaled(Quantile(values, 1, 1)) + margin;
  }

  double Place(double value) const { return begin + (Scaled(value) - low) / (high - low) * (end - begin); }

 private:
  double Scaled(double value) const { return std::asinh((value - middle) / unit); }

  double middle;
  double unit;
  double low;
  double high;
  double begin;
  double end;
};

/// Names on the plot, moved up or down where they would cover each other.
class Labels {
 public:
  double HeightFor(double x, double y, std::string const& text) {
    constexpr double characterWidth = 8;
    constexpr double lineHeight = 17;
    double const width = characterWidth * static_cast<double>(Width(text));
    auto const covers = [&](double height) {
      return std::any_of(boxes.begin(), boxes.end(), [&](Box const& box) {
        return std::abs(box.x - x) < (box.width + width) / 2 && std::abs(box.y - height) < lineHeight;
      });
    };
    double moved = y;
    for (int step = 1; step < 60 && covers(moved); ++step) {
      int const halves = (step + 1) / 2;  // of a line
      moved = y + (step % 2 == 0 ? halves : -halves) * lineHeight / 2;
    }
    boxes.push_back({x, moved, width});
    return moved;
  }

 private:
  struct Box {
    double x;
    double y;
    double width;
  };

  std::vector<Box> boxes;
};

/// The members of a group, and their look by its place among the groups, the largest of which is the first.
struct Layer {
  std::size_t group;
  std::vector<Dot const*> dots;
};

std::vector<Layer> LayersOf(Scatter const& scatter) {
  std::vector<Layer> layers(scatter.groups.size());
  for (std::size_t i = 0; i < layers.size(); ++i) layers[i].group = i;
  for (Dot const& dot : scatter.dots) layers[dot.group].dots.push_back(&dot);
  std::stable_sort(layers.begin(), layers.end(),
                   [](Layer const& a, Layer const& b) { return a.dots.size() > b.dots.size(); });
  return layers;
}

// Round a place that was moved to: circle, square, triangles, diamond.
std::string Shape(std::size_t rank, double size) {
  std::string const s = Length(size);
  std::string const twice = Length(2 * size);
  std::array const shapes{
      "m-" + s + " 0a" + s + ' ' + s + " 0 1 0 " + twice + " 0a" + s + ' ' + s + " 0 1 0-" + twice + " 0",
      "m-" + s + '-' + s + 'h' + twice + 'v' + twice + "h-" + twice + 'z',
      "m0-" + twice + 'l' + twice + ' ' + twice + ' ' + "0h-" + twice + "z",
      "m0 " + twice + 'l' + s + "-" + twice + "h-" + twice + 'z',
      "m0-" + twice + 'l' + s + ' ' + twice + "l-" + s + ' ' + twice + "l-" + s + "-" + twice + 'z'};
  return shapes[rank / colorCount % shapes.size()];
}

std::string Color(std::size_t rank) {
  return "color" + std::to_string(rank % colorCount);
}

class Drawing {
 public:
  explicit Drawing(Scatter const& given)
      : scatter(given),
        layers(LayersOf(given)),
        ranks(layers.size()),
        height(
            std::max(layout::leastHeight, layout::top + static_cast<double>(layers.size() + 4) * layout::legendLine)),
        svg(layout::width, height, given.title) {
    for (std::size_t rank = 0; rank < layers.size(); ++rank) ranks[layers[rank].group] = rank;
  }

  Svg Draw() {
    DrawFrame();
    std::vector<Dot const*> all;
    for (Dot const& dot : scatter.dots) all.push_back(&dot);
    Axis const x(Values(all, &Dot::x), layout::left, layout::right);
    Axis const y(Values(all, &Dot::y), height - layout::bottom, layout::top);
    for (std::size_t rank = 0; rank < layers.size(); ++rank) DrawDots(rank, x, y);
    for (Dot const& dot : scatter.dots) DrawRing(dot, x, y);
    Labels labels;
    for (Layer const& layer : layers) {
      if (layer.dots.empty()) continue;
      std::vector<double> columns = Values(layer.dots, &Dot::x);
      std::vector<double> rows = Values(layer.dots, &Dot::y);
      double const column = x.Place(Quantile(columns, 1, 2));
      std::string const& name = scatter.groups[layer.group];
      svg.Text("name middle", column, labels.HeightFor(column, y.Place(Quantile(rows, 1, 2)), name) + 4, name);
    }
    return svg;
  }

 private:
  void DrawFrame() {
    using namespace layout;
    double const lower = height - bottom;
    svg.Text("heading", left, 20, scatter.title);
    svg.Path("grid", 'M' + Length(left) + ' ' + Length(top) + 'H' + Length(right) + 'V' + Length(lower) + 'H' +
                         Length(left) + 'z');
    svg.Text("label middle", (left + right) / 2, lower + 18, scatter.xLabel + " (scale stretched in the middle)");
    svg.UprightText("label middle", 20, (top + lower) / 2, scatter.yLabel + " (scale stretched in the middle)");
    for (std::size_t rank = 0; rank < layers.size(); ++rank) DrawLegend(rank);
    double const line = height - 12;
    svg.Ring("ring", left + 6, line - 4, 5, "");
    svg.Text("label", left + 18, line,
             "not in its class: the ring has the colour of the class that it was taken for, grey for none");
  }

  void DrawLegend(std::size_t rank) {
    if (layers[rank].dots.empty()) return;
    double const line = layout::top + 6 + static_cast<double>(rank) * layout::legendLine;
    svg.Path("dots " + Color(rank), 'M' + Length(layout::right + 20) + ' ' + Length(line) + Shape(rank, 5));
    svg.Text("label", layout::right + 34, line + 4,
             scatter.groups[layers[rank].group] + " (" + Grouped(layers[rank].dots.size()) + ')');
  }

  void DrawDots(std::size_t rank, Axis const& x, Axis const& y) {
    std::string const shape = Shape(rank, 2.4);
    std::string path;
    for (Dot const* dot : layers[rank].dots)
      path += 'M' + Length(x.Place(dot->x)) + ' ' + Length(y.Place(dot->y)) + shape;
    if (!path.empty()) svg.Path("dots " + Color(rank), path);
  }

  void DrawRing(Dot const& dot, Axis const& x, Axis const& y) {
    if (dot.takenFor == dot.group) return;
    std::string const what = dot.takenFor == 0 ? "rejected" : "taken for " + scatter.groups[dot.takenFor];
    svg.Ring("ring " + (dot.takenFor == 0 ? "rejected" : Color(ranks[dot.takenFor])), x.Place(dot.x), y.Place(dot.y),
             4.5, dot.name + ": " + scatter.groups[dot.group] + ' ' + what);
  }

  Scatter const& scatter;
  std::vector<Layer> layers;
  std::vector<std::size_t> ranks;  // by group
  double height;
  Svg svg;
};

}  // namespace

Svg Draw(Scatter const& scatter) {
  return Drawing(scatter).Draw();
}

}  // namespace report
