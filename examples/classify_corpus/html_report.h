// The page that shows a run to a person.
#ifndef CLASSIFY_CORPUS_HTML_REPORT_H
#define CLASSIFY_CORPUS_HTML_REPORT_H

#include <zam/zam.h>

#include <filesystem>
#include <string>
#include <vector>

#include "confidence_curves.h"
#include "findings.h"
#include "options.h"
#include "stage_clock.h"

namespace classify {

/// A folder with `index.html` and its pictures. It needs no network, and can be moved as a whole.
class HtmlReport {
 public:
  /// Makes the folder, and makes sure that pictures can be drawn there, so that a long run isn't lost. An empty name
  /// writes nothing. Throws RunError if that fails.
  explicit HtmlReport(std::filesystem::path path);

  /// Draws the pictures and writes the page. Throws RunError if that fails.
  void Write(Findings const& findings, ZaM::ErrorMatrix const& matrix, Options const& options,
             StageClocks const& clocks) const;

 private:
  void drawPictures(Findings const& findings, ZaM::ErrorMatrix const& matrix,
                    std::vector<ConfidenceCurve> const& curves) const;

  std::filesystem::path folder;
};

}  // namespace classify

#endif
