// A page that shows what a program has found out to a person: data in, HTML out.
//
//     report::Page page{"Mail of May", {{"accuracy", "accuracy", "91.5 %", "1,252 of 1,369"}}, {}};
//     report::Table table{"Kinds of mail", {{"kind", true}, {"letters", false}}, {}, {}};
//     table.rows.push_back({{"offers"}, {"812"}});
//     page.sections.push_back({"kinds", "Kinds", "Kinds", "", {table}});
//     std::ofstream("mail.html") << report::Html(page);
//
// The page is one file that needs no other: styles, script and pictures are in it. All texts are plain ones in UTF-8,
// and stand for themselves, whatever characters they hold.
#ifndef REPORT_PAGE_H
#define REPORT_PAGE_H

#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "report/line_chart.h"
#include "report/matrix.h"
#include "report/scatter.h"

namespace report {

/// A figure that a reader looks for first.
struct Figure {
  std::string id;  // of the element that holds the value
  std::string name;
  std::string value;
  std::string detail;
};

struct Link {
  std::string text;
  std::string address;  // empty: there is nothing to go to
};

struct Cell {
  std::string text = {};
  std::string detail = {};           // below it, smaller
  std::optional<double> order = {};  // what the cell is sorted by, if not the text or the number in it
  std::vector<Link> links = {};      // below each other
};

struct Column {
  std::string heading;
  bool isText = false;  // else figures
};

/// Can be sorted by each column, and filtered by words; without a script it is a plain table.
struct Table {
  std::string caption;
  std::vector<Column> columns;
  std::vector<std::vector<Cell>> rows;  // the first cell says what the row is about
  std::vector<Cell> total = {};         // stays below the rows
};

/// Names and what they stand for.
using Facts = std::vector<std::pair<std::string, std::string>>;

/// A sentence; facts; a table; a picture; or small ones beside each other.
using Content = std::variant<std::string, Facts, Table, Matrix, LineChart, Scatter, std::vector<LineChart>>;

struct Section {
  std::string id;    // what links to it say after the '#'
  std::string name;  // in the list of sections
  std::string heading;
  std::string note;
  std::vector<Content> contents;
};

struct Page {
  std::string title;
  std::vector<Figure> figures;
  std::vector<Section> sections;
};

std::string Html(Page const& page);

}  // namespace report

#endif
