// Pictures, drawn by gnuplot.
#ifndef CLASSIFY_CORPUS_GNUPLOT_H
#define CLASSIFY_CORPUS_GNUPLOT_H

#include <string>
#include <string_view>

namespace classify {

/// A text as a string of a gnuplot script: whatever it holds stands for itself.
std::string Quoted(std::string_view text);

/// Throws RunError if gnuplot isn't installed or doesn't run.
void CheckGnuplot();

/// The picture, in SVG and of so many pixels, that gnuplot makes of what `script` plots. Throws RunError, with what
/// gnuplot said, if that isn't installed or fails, or if the picture isn't whole; UserCanceledException(20) if the user
/// wants to stop.
std::string DrawPicture(unsigned int width, unsigned int height, std::string const& script);

}  // namespace classify

#endif
