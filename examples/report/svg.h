// Drawing.
#ifndef REPORT_SVG_H
#define REPORT_SVG_H

#include <string>
#include <string_view>

namespace report {

/// A picture that grows shape by shape. Lengths count from the left upper corner; the picture is scaled as a whole. How
/// shapes look is said by their class, in figures.css.
class Svg {
 public:
  /// `description` stands for the picture where it can't be seen.
  Svg(double pictureWidth, double pictureHeight, std::string_view description);

  void Line(std::string_view look, double x1, double y1, double x2, double y2);
  /// `data` is a path in the notation of SVG.
  void Path(std::string_view look, std::string_view data);
  /// With a text that shows where the mouse is over it.
  void Ring(std::string_view look, double x, double y, double radius, std::string_view text);
  void Text(std::string_view look, double x, double y, std::string_view text);
  /// From the bottom to the top.
  void UprightText(std::string_view look, double x, double y, std::string_view text);

  /// The picture as a part of a page.
  std::string Element() const { return head + '>' + shapes + "</svg>\n"; }
  /// The picture as a file, with its styles.
  std::string File() const;

 private:
  std::string head;
  std::string shapes;
};

/// A length as the pictures write it, to a tenth.
std::string Length(double value);

}  // namespace report

#endif
