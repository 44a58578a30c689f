#include "report/page.h"

#include "report/assets.h"
#include "report/html.h"
#include "report/text.h"

namespace report {

namespace {

std::string Element(std::string const& name, std::string const& content) {
  return '<' + name + '>' + content + "</" + name.substr(0, name.find(' ')) + ">\n";
}

// What may be wider than a narrow screen: it can be moved there, by keys too.
std::string Movable(std::string const& name, std::string const& content) {
  return Element("div class=\"movable\" role=\"region\" tabindex=\"0\" aria-label=\"" + Escaped(name) + '"', content);
}

std::string Inside(Cell const& cell) {
  std::string inside = Escaped(cell.text);
  if (!cell.detail.empty()) inside += "<small>" + Escaped(cell.detail) + "</small>";
  for (auto const& [text, address] : cell.links)
    inside += address.empty() ? "<span class=\"link\">" + Escaped(text) + "</span>"
                              : "<a href=\"" + Escaped(address) + "\">" + Escaped(text) + "</a>";
  return inside;
}

std::string Row(std::vector<Column> const& columns, std::vector<Cell> const& cells) {
  std::string row;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    std::string tag = i == 0 ? "th scope=\"row\"" : "td";
    if (columns[i].isText) tag += " class=\"text\"";
    if (cells[i].order) tag += " data-order=\"" + Fixed(*cells[i].order, 6) + '"';
    row += Element(tag, Inside(cells[i]));
  }
  return Element("tr", row);
}

std::string Shown(std::string const& text) {
  return Element("p", Escaped(text));
}

std::string Shown(Facts const& facts) {
  std::string list;
  for (auto const& [name, value] : facts) list += Element("dt", Escaped(name)) + Element("dd", Escaped(value));
  return Element("dl class=\"facts\"", list);
}

std::string Shown(Table const& table) {
  std::string headings;
  for (Column const& column : table.columns)
    headings +=
        Element(column.isText ? "th scope=\"col\" class=\"text\"" : "th scope=\"col\"", Escaped(column.heading));
  std::string rows;
  for (std::vector<Cell> const& cells : table.rows) rows += Row(table.columns, cells);
  std::string content =
      Element("caption", Escaped(table.caption)) + Element("thead", Element("tr", headings)) + Element("tbody", rows);
  if (!table.total.empty()) content += Element("tfoot", Row(table.columns, table.total));
  return Movable(table.caption, Element("table class=\"sortable\"", content));
}

std::string Shown(Matrix const& matrix) {
  return Movable(matrix.caption, Draw(matrix));
}

std::string Shown(LineChart const& chart) {
  return chart.isLarge ? Movable(chart.title, Element("div class=\"large\"", Draw(chart).Element()))
                       : Draw(chart).Element();
}

std::string Shown(Scatter const& scatter) {
  return Movable(scatter.title, Element("div class=\"large map\"", Draw(scatter).Element()));
}

std::string Shown(std::vector<LineChart> const& charts) {
  std::string pictures;
  for (LineChart const& chart : charts) pictures += Draw(chart).Element();
  return Element("div class=\"charts\"", pictures);
}

std::string Shown(Section const& section) {
  std::string content = Element("h2 id=\"" + section.id + "-heading\"", Escaped(section.heading));
  if (!section.note.empty()) content += Element("p class=\"note\"", Escaped(section.note));
  for (Content const& part : section.contents)
    content += std::visit([](auto const& shown) { return Shown(shown); }, part);
  return Element("section id=\"" + section.id + "\" aria-labelledby=\"" + section.id + "-heading\"", content);
}

std::string Shown(Figure const& figure) {
  return Element("div", Element("dt", Escaped(figure.name)) +
                            Element("dd id=\"" + figure.id + '"', Escaped(figure.value)) +
                            Element("dd class=\"detail\"", Escaped(figure.detail)));
}

}  // namespace

std::string Html(Page const& page) {
  std::string figures;
  for (Figure const& figure : page.figures) figures += Shown(figure);
  std::string links;
  std::string sections;
  for (Section const& section : page.sections) {
    links += Element("li", "<a href=\"#" + section.id + "\">" + Escaped(section.name) + "</a>");
    sections += Shown(section);
  }
  std::string const head =
      "<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n" +
      Element("title", Escaped(page.title)) + Element("style", std::string(figureStyle) + pageStyle);
  std::string const body = Element("header", Element("h1", Escaped(page.title))) +
                           Element("nav aria-label=\"Sections\"", Element("ul", links)) +
                           Element("main", Element("dl class=\"figures\"", figures) + sections) +
                           Element("script", pageScript);
  return "<!DOCTYPE html>\n" + Element("html lang=\"en\"", Element("head", head) + Element("body", body));
}

}  // namespace report
