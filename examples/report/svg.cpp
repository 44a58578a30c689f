#include "report/svg.h"

#include "report/assets.h"
#include "report/html.h"
#include "report/text.h"

namespace report {

namespace {

std::string Attribute(std::string_view name, std::string_view value) {
  return ' ' + std::string(name) + "=\"" + std::string(value) + '"';
}

std::string Place(double x, double y) {
  return Attribute("x", Length(x)) + Attribute("y", Length(y));
}

}  // namespace

std::string Length(double value) {
  std::string text = Fixed(value, 1);
  if (text.ends_with(".0")) text.resize(text.size() - 2);
  return text == "-0" ? "0" : text;
}

Svg::Svg(double pictureWidth, double pictureHeight, std::string_view description)
    : head("<svg" + Attribute("xmlns", "http://www.w3.org/2000/svg") + Attribute("role", "img") +
           Attribute("viewBox", "0 0 " + Length(pictureWidth) + ' ' + Length(pictureHeight)) +
           Attribute("aria-label", Escaped(description))) {}

void Svg::Line(std::string_view look, double x1, double y1, double x2, double y2) {
  Path(look, 'M' + Length(x1) + ' ' + Length(y1) + 'L' + Length(x2) + ' ' + Length(y2));
}

void Svg::Path(std::string_view look, std::string_view data) {
  shapes += "<path" + Attribute("class", look) + Attribute("d", data) + "/>\n";
}

void Svg::Ring(std::string_view look, double x, double y, double radius, std::string_view text) {
  shapes += "<circle" + Attribute("class", look) + Attribute("cx", Length(x)) + Attribute("cy", Length(y)) +
            Attribute("r", Length(radius)) + "><title>" + Escaped(text) + "</title></circle>\n";
}

void Svg::Text(std::string_view look, double x, double y, std::string_view text) {
  shapes += "<text" + Attribute("class", look) + Place(x, y) + '>' + Escaped(text) + "</text>\n";
}

void Svg::UprightText(std::string_view look, double x, double y, std::string_view text) {
  std::string const turned = "rotate(-90 " + Length(x) + ' ' + Length(y) + ')';
  shapes += "<text" + Attribute("class", look) + Place(x, y) + Attribute("transform", turned) + '>' + Escaped(text) +
            "</text>\n";
}

std::string Svg::File() const {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + head + ">\n<style>" + Escaped(figureStyle) +
         "</style>\n<rect class=\"ground\" width=\"100%\" height=\"100%\"/>\n" + shapes + "</svg>\n";
}

}  // namespace report
