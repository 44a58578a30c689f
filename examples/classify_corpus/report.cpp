#include "report.h"

#include <algorithm>
#include <string_view>

#include "number_text.h"
#include "utf8.h"

namespace classify {

namespace {

using Names = std::vector<std::string>;

struct ClassCounts {
  double documents;
  double found;      // of these
  double wronglyIn;  // documents of other classes

  double F1() const { return 2 * found / (documents + found + wronglyIn); }
};

ClassCounts CountsOf(ZaM::ErrorMatrix const& matrix, unsigned int id) {
  return {static_cast<double>(matrix.GetClassCount(id)), static_cast<double>(matrix.GetResult(id, id)),
          static_cast<double>(matrix.GetClassImported(id))};
}

std::size_t NameWidth(Names const& names) {
  std::size_t width = 5;
  for (std::string const& name : names) width = std::max(width, Width(name));
  return width;
}

// A column of the matrix. The rejected documents, which have the class id 0, come last.
struct Column {
  unsigned int classId;
  std::vector<std::string> cells;  // the heading first
  std::size_t width;               // with the blank in front
};

Column ColumnOf(ZaM::ErrorMatrix const& matrix, unsigned int classId, std::size_t classes) {
  Column column{classId, {classId == 0 ? "-" : std::to_string(classId)}, 0};
  for (unsigned int row = 1; row <= classes; ++row) {
    unsigned int const count = matrix.GetResult(row, classId);
    column.cells.push_back(count == 0 ? "." : std::to_string(count));
  }
  for (std::string const& cell : column.cells) column.width = std::max(column.width, cell.size() + 1);
  return column;
}

std::vector<Column> ColumnsOf(ZaM::ErrorMatrix const& matrix, std::size_t classes) {
  std::vector<Column> columns;
  for (unsigned int id = 1; id <= classes; ++id) columns.push_back(ColumnOf(matrix, id, classes));
  columns.push_back(ColumnOf(matrix, 0, classes));
  return columns;
}

// How many of the columns from `first` on fit into a line; at least one.
std::size_t ColumnsThatFit(std::vector<Column> const& columns, std::size_t first, std::size_t room) {
  std::size_t end = first;
  for (std::size_t used = 0; end < columns.size() && (end == first || used + columns[end].width <= room); ++end)
    used += columns[end].width;
  return end - first;
}

std::string Block(std::vector<Column> const& columns, std::size_t first, std::size_t count, Names const& labels) {
  std::string text;
  for (std::size_t row = 0; row < labels.size(); ++row) {
    text += labels[row];
    for (std::size_t i = first; i < first + count; ++i) text += Right(columns[i].cells[row], columns[i].width);
    text += '\n';
  }
  return text;
}

// What stands in front of each row, the heading's included: number and name, or the name alone.
Names RowLabels(Names const& names) {
  std::size_t const nameWidth = NameWidth(names);
  std::size_t const numberWidth = std::to_string(names.size() - 1).size();
  Names labels{std::string(numberWidth + 1 + nameWidth, ' ')};
  for (std::size_t id = 1; id < names.size(); ++id)
    labels.push_back(Right(std::to_string(id), numberWidth) + ' ' + Left(names[id], nameWidth));
  return labels;
}

struct Confusion {
  unsigned int count;
  unsigned int trueClass;
  unsigned int assignedClass;
};

std::vector<Confusion> Confusions(ZaM::ErrorMatrix const& matrix, std::size_t classes) {
  std::vector<Confusion> confusions;
  for (unsigned int t = 1; t <= classes; ++t) {
    for (unsigned int a = 1; a <= classes; ++a) {
      unsigned int const count = t == a ? 0 : matrix.GetResult(t, a);
      if (count > 0) confusions.push_back({count, t, a});
    }
  }
  std::stable_sort(confusions.begin(), confusions.end(),
                   [](Confusion const& a, Confusion const& b) { return a.count > b.count; });
  return confusions;
}

double MacroF1(ZaM::ErrorMatrix const& matrix, std::size_t classes) {
  double sum = 0;
  double counted = 0;
  for (unsigned int id = 1; id <= classes; ++id) {
    ClassCounts const counts = CountsOf(matrix, id);
    if (counts.documents + counts.wronglyIn == 0) continue;
    sum += counts.F1();
    ++counted;
  }
  return counted > 0 ? sum / counted : 0;
}

std::string SpeedLine(std::string const& stage, StageClock const& clock) {
  if (clock.Documents() == 0) return "";
  double const seconds = clock.Seconds();
  auto const documents = static_cast<double>(clock.Documents());
  std::string const speed = seconds > 0 ? Grouped(static_cast<std::uint64_t>(documents / seconds)) : "-";
  return Left(stage, 9) + Right(Grouped(clock.Documents()), 10) + Right(Fixed(seconds, 2), 9) + Right(speed, 13) + '\n';
}

}  // namespace

std::string ClassTable(ZaM::ErrorMatrix const& matrix, Names const& names) {
  std::size_t const width = NameWidth(names);
  std::string text = Left("class", width) + "  documents  precision     recall         F1\n";
  for (unsigned int id = 1; id < names.size(); ++id) {
    ClassCounts const counts = CountsOf(matrix, id);
    text += Left(names[id], width) + Right(Grouped(matrix.GetClassCount(id)), 11);
    text += Right(Percent(counts.found, counts.found + counts.wronglyIn), 11);
    text += Right(Percent(counts.found, counts.documents), 11);
    text += Right(Percent(2 * counts.found, counts.documents + counts.found + counts.wronglyIn), 11) + '\n';
  }
  return text;
}

std::string MatrixTable(ZaM::ErrorMatrix const& matrix, Names const& names, std::size_t width) {
  std::size_t const classes = names.size() - 1;
  if (classes > MaxMatrixClasses) return "(left out: more than " + std::to_string(MaxMatrixClasses) + " classes)\n";
  Names const labels = RowLabels(names);
  std::vector<Column> const columns = ColumnsOf(matrix, classes);
  std::size_t const labelWidth = Width(labels[0]);
  std::size_t const room = width == 0 ? std::string::npos : width - std::min(width, labelWidth);

  std::string text;
  for (std::size_t first = 0; first < columns.size();) {
    std::size_t const count = ColumnsThatFit(columns, first, room);
    text += (first > 0 ? "\n" : "") + Block(columns, first, count, labels);
    first += count;
  }
  return text;
}

std::string WorstConfusions(ZaM::ErrorMatrix const& matrix, Names const& names) {
  constexpr std::size_t shown = 10;
  std::vector<Confusion> const confusions = Confusions(matrix, names.size() - 1);
  if (confusions.empty()) return "none\n";
  std::string text;
  for (std::size_t i = 0; i < std::min(shown, confusions.size()); ++i) {
    auto const [count, trueClass, assignedClass] = confusions[i];
    text += Right(Grouped(count), 7) + "  " + names[trueClass] + " taken for " + names[assignedClass] + "  (" +
            Percent(count, matrix.GetClassCount(trueClass)) + " of " + names[trueClass] + ")\n";
  }
  return text;
}

std::string Summary(ZaM::ErrorMatrix const& matrix, std::size_t classes) {
  unsigned int const documents = matrix.GetDocCount();
  std::string const of = " of " + Grouped(documents) + " documents\n";
  return "accuracy " + Right(Percent(matrix.GetCorrect(), documents), 8) + "   " + Grouped(matrix.GetCorrect()) + of +
         "rejected " + Right(Percent(matrix.GetRejected(), documents), 8) + "   " + Grouped(matrix.GetRejected()) + of +
         "macro F1 " + Right(Percent(MacroF1(matrix, classes), 1), 8) + '\n';
}

std::string SpeedTable(StageClocks const& clocks) {
  return "stage     documents  seconds   per second\n" + SpeedLine("load", clocks.load) +
         SpeedLine("read", clocks.read) + SpeedLine("filter", clocks.filter) + SpeedLine("train", clocks.train) +
         SpeedLine("classify", clocks.classify) + SpeedLine("map", clocks.map) + SpeedLine("evaluate", clocks.evaluate);
}

}  // namespace classify
