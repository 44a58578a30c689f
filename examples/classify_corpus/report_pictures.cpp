#include "report_pictures.h"

#include <algorithm>
#include <cmath>

#include "gnuplot.h"
#include "number_text.h"
#include "utf8.h"

namespace classify {

namespace {

// Left to right and top to bottom, as gnuplot counts them: rows downwards with a reversed axis.
class MatrixCells {
 public:
  MatrixCells(ZaM::ErrorMatrix const& matrix, std::size_t classes) {
    for (unsigned int row = 1; row <= classes; ++row) {
      for (unsigned int column = 1; column <= classes; ++column) add(matrix, row, column, column);
      add(matrix, row, 0, static_cast<unsigned int>(classes) + 1);
    }
  }

  std::string Script() const {
    return "$cells << EOD\n" + colors + "EOD\n$light << EOD\n" + onLight + "EOD\n$dark << EOD\n" + onDark + "EOD\n";
  }

 private:
  // The root of the share: few documents in the wrong place are what a reader looks for.
  void add(ZaM::ErrorMatrix const& matrix, unsigned int row, unsigned int assigned, unsigned int column) {
    unsigned int const count = matrix.GetResult(row, assigned);
    double const documents = std::max(matrix.GetClassCount(row), 1U);
    double const depth = std::sqrt(count / documents);
    std::string const place = std::to_string(column) + ' ' + std::to_string(row) + ' ';
    // The documents that are right have a colour scale of their own.
    colors += place + Fixed(row == assigned ? depth : -depth, 4) + '\n';
    constexpr double darkDepth = 0.7;
    if (count > 0) (depth > darkDepth ? onDark : onLight) += place + std::to_string(count) + '\n';
  }

  std::string colors;
  std::string onLight;
  std::string onDark;
};

std::string Ticks(std::vector<std::string> const& classNames) {
  std::string ticks;
  for (std::size_t id = 1; id < classNames.size(); ++id)
    ticks += (id > 1 ? ", " : "(") + Quoted(classNames[id]) + ' ' + std::to_string(id);
  return ticks;
}

// A square picture with room for the names at its left and its upper edge. All in pixels.
class MatrixLayout {
 public:
  explicit MatrixLayout(std::vector<std::string> const& classNames) {
    constexpr std::size_t cell = 30;
    constexpr std::size_t character = 8;
    std::size_t longest = 8;  // "rejected"
    for (std::string const& name : classNames) longest = std::max(longest, Width(name));
    names = 50 + character * longest;
    side = cell * classNames.size();
  }

  unsigned int Size() const { return static_cast<unsigned int>(names + side + margin); }

  std::string Script() const {
    return "set lmargin at screen " + share(names) + "\nset rmargin at screen " + share(names + side) +
           "\nset bmargin at screen " + share(margin) + "\nset tmargin at screen " + share(margin + side) + '\n';
  }

 private:
  std::string share(std::size_t pixels) const { return Fixed(static_cast<double>(pixels) / Size(), 4); }

  static constexpr std::size_t margin = 20;  // at the other edges
  std::size_t names;
  std::size_t side;  // of the matrix
};

std::string CellBorders(std::size_t classes) {
  std::string lines;
  for (std::size_t i = 1; i <= classes; ++i) {
    std::string const place = Fixed(static_cast<double>(i) + 0.5, 1);
    std::string const look = " nohead front lw 0.5 lc rgb '#e0e0e0'\n";
    lines += "set arrow from " + place + ", graph 0 to " + place + ", graph 1" + look;
    if (i < classes) lines += "set arrow from graph 0, first " + place + " to graph 1, first " + place + look;
  }
  return lines;
}

std::string CurveData(std::string const& name, std::vector<double> const& shares) {
  std::string data = name + " << EOD\n";
  for (std::size_t i = 0; i < shares.size(); ++i)
    data += Fixed(static_cast<double>(i) / 100, 2) + ' ' + Fixed(100 * shares[i], 4) + '\n';
  return data + "EOD\n";
}

std::string RejectionData(std::string const& name, std::vector<RejectionPoint> const& points) {
  std::string data = name + " << EOD\n";
  for (RejectionPoint const& point : points)
    data += Fixed(100 * point.rejected, 4) + ' ' + Fixed(100 * point.wrong, 4) + '\n';
  return data + "EOD\n";
}

// At a few thresholds, so that a point of the curve can be set on the command line.
std::string RejectionMarks(std::string const& name, std::vector<RejectionPoint> const& points) {
  std::string data = name + " << EOD\n";
  for (std::size_t i = 10; i < points.size(); i += 10)
    data += Fixed(100 * points[i].rejected, 4) + ' ' + Fixed(100 * points[i].wrong, 4) + ' ' +
            Fixed(points[i].threshold, 1) + '\n';
  return data + "EOD\n";
}

}  // namespace

std::string DrawMatrix(ZaM::ErrorMatrix const& matrix, std::vector<std::string> const& classNames) {
  std::size_t const classes = classNames.size() - 1;
  MatrixLayout const layout(classNames);
  std::string const end = Fixed(static_cast<double>(classes) + 0.5, 1);
  std::string const columns = Fixed(static_cast<double>(classes) + 1.5, 1);
  return DrawPicture(layout.Size(), layout.Size(),
                     MatrixCells(matrix, classes).Script() + layout.Script() +
                         "set palette defined (-1 '#8b1a00', -0.5 '#f08a4b', 0 '#ffffff', 0.5 '#9ec9e8', 1 '#08519c')\n"
                         "set cbrange [-1:1]\nunset colorbox\nunset key\nunset xtics\nset xrange [0.5:" +
                         columns + "]\nset x2range [0.5:" + columns + "]\nset yrange [" + end +
                         ":0.5]\nset x2tics rotate by 90 scale 0 " + Ticks(classNames) + ", 'rejected' " +
                         std::to_string(classes + 1) + ") font ',11'\nset ytics scale 0 " + Ticks(classNames) +
                         ") font ',11'\nset x2label 'taken for'\nset ylabel 'class'\n" + CellBorders(classes) +
                         "plot $cells with image pixels, $light with labels font ',9' tc rgb '#000000', "
                         "$dark with labels font ',9' tc rgb '#ffffff'");
}

std::string DrawCurve(std::string const& title, ConfidenceCurve const& curve) {
  return DrawPicture(420, 280,
                     CurveData("$right", curve.Right()) + CurveData("$wrong", curve.Wrong()) + "set title " +
                         Quoted(title) +
                         "\nset xlabel 'confidence asked for'\nset ylabel '% of documents'\nset xrange [0:1]\n"
                         "set yrange [0:105]\nset grid lc rgb '#e4e4e4'\nset key outside below horizontal\n"
                         "plot $right with lines lw 2 lc rgb '#08519c' title 'right', "
                         "$wrong with lines lw 2 lc rgb '#d62728' title 'wrong'");
}

std::string DrawRejection(std::vector<RejectionPoint> const& best, std::vector<RejectionPoint> const& distance) {
  return DrawPicture(
      860, 480,
      RejectionData("$best", best) + RejectionMarks("$bestMarks", best) + RejectionData("$distance", distance) +
          RejectionMarks("$distanceMarks", distance) +
          "set xlabel '% of all documents that are rejected'\n"
          "set ylabel '% of the accepted documents that are wrong'\nset xrange [0:100]\nset yrange [0:*]\n"
          "set grid lc rgb '#e4e4e4'\nset key right top\n"
          "plot $best with lines lw 2 lc rgb '#08519c' title '--best-threshold', "
          "$bestMarks with points pt 7 ps 0.6 lc rgb '#08519c' notitle, "
          "$bestMarks with labels offset 0,0.9 font ',9' tc rgb '#08519c' notitle, "
          "$distance with lines lw 2 lc rgb '#e6550d' title '--distance-threshold', "
          "$distanceMarks with points pt 7 ps 0.6 lc rgb '#e6550d' notitle, "
          "$distanceMarks with labels offset 0,-0.9 font ',9' tc rgb '#e6550d' notitle");
}

}  // namespace classify
