#include "report.h"

#include <algorithm>

#include "class_figures.h"
#include "number_text.h"
#include "utf8.h"

namespace classify {

namespace {

using Names = std::vector<std::string>;

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
    ClassFigures const figures(matrix, id);
    text += Left(names[id], width) + Right(Grouped(matrix.GetClassCount(id)), 11);
    text += Right(Percent(figures.found, figures.Assigned()), 11);
    text += Right(Percent(figures.found, figures.documents), 11);
    text += Right(Percent(2 * figures.found, figures.Involved()), 11) + '\n';
  }
  return text;
}

std::string MatrixTable(ZaM::ErrorMatrix const& matrix, Names const& names, std::size_t width) {
  std::size_t const classes = names.size() - 1;
  if (classes > maxMatrixClasses) return "(left out: more than " + std::to_string(maxMatrixClasses) + " classes)\n";
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
  std::string text;
  for (auto const& [count, trueClass, assignedClass] : WorstOf(matrix, names.size() - 1, shown)) {
    text += Right(Grouped(count), 7) + "  " + names[trueClass] + " taken for " + names[assignedClass] + "  (" +
            Percent(count, matrix.GetClassCount(trueClass)) + " of " + names[trueClass] + ")\n";
  }
  return text.empty() ? "none\n" : text;
}

std::string Summary(ZaM::ErrorMatrix const& matrix, std::size_t classes) {
  unsigned int const documents = matrix.GetDocCount();
  unsigned int const accepted = documents - matrix.GetRejected();
  std::string const of = " of " + Grouped(documents) + " documents\n";
  return "accuracy " + Right(Percent(matrix.GetCorrect(), documents), 8) + "   " + Grouped(matrix.GetCorrect()) + of +
         "rejected " + Right(Percent(matrix.GetRejected(), documents), 8) + "   " + Grouped(matrix.GetRejected()) + of +
         "right    " + Right(Percent(matrix.GetCorrect(), accepted), 8) + "   " + Grouped(matrix.GetCorrect()) +
         " of " + Grouped(accepted) + " accepted documents\n" + "macro F1 " +
         Right(Percent(MacroF1(matrix, classes), 1), 8) + '\n';
}

std::string SpeedTable(StageClocks const& clocks) {
  std::string table = "stage     documents  seconds   per second\n";
  for (auto const& [stage, clock] : clocks.Stages()) table += SpeedLine(stage, *clock);
  return table;
}

}  // namespace classify
