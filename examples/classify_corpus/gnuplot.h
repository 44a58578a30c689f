// Pictures, drawn by gnuplot.
#ifndef CLASSIFY_CORPUS_GNUPLOT_H
#define CLASSIFY_CORPUS_GNUPLOT_H

#include <filesystem>
#include <string>
#include <string_view>

namespace classify {

/// A text as a string of a gnuplot script: whatever it holds stands for itself.
std::string Quoted(std::string_view text);

/// Makes sure that a picture can be made at this place, so that a long run isn't lost. Throws RunError if gnuplot isn't
/// installed or the folder can't be written to.
void CheckPicture(std::filesystem::path const& target);

/// Lets gnuplot draw what `script` plots into an SVG file of so many pixels. The picture moves to its place when it is
/// complete. Throws RunError, with what gnuplot said, if that isn't installed or fails.
void DrawPicture(std::filesystem::path const& target, unsigned int width, unsigned int height,
                 std::string const& script);

}  // namespace classify

#endif
