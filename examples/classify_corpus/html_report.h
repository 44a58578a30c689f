// The page that shows a run to a person.
#ifndef CLASSIFY_CORPUS_HTML_REPORT_H
#define CLASSIFY_CORPUS_HTML_REPORT_H

#include <zam/zam.h>

#include <filesystem>
#include <vector>

#include "confidence_curves.h"
#include "findings.h"
#include "options.h"
#include "pending_file.h"
#include "stage_clock.h"

namespace classify {

/// A folder with `index.html` and its pictures. It needs no network, and can be moved as a whole.
class HtmlReport {
 public:
  /// Makes the folder, and makes sure that pictures can be drawn and a page can be written there, so that a long run
  /// isn't lost. Throws RunError if that fails.
  explicit HtmlReport(std::filesystem::path path);
  HtmlReport(HtmlReport const&) = delete;
  HtmlReport& operator=(HtmlReport const&) = delete;
  /// Takes a folder away again that it has made, if nothing has come into it.
  ~HtmlReport();

  /// Draws the pictures and writes the page; what is left to do is to commit these files. Throws RunError if that
  /// fails.
  std::vector<PendingFile> Write(Findings const& findings, ZaM::ErrorMatrix const& matrix, Options const& options,
                                 StageClocks const& clocks) const;

 private:
  std::filesystem::path folder;
  std::vector<std::filesystem::path> made;  // folders, the outer ones first
};

}  // namespace classify

#endif
