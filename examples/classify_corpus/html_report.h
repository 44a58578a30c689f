// The page that shows a run to a person.
#ifndef CLASSIFY_CORPUS_HTML_REPORT_H
#define CLASSIFY_CORPUS_HTML_REPORT_H

#include <zam/zam.h>

#include <filesystem>
#include <vector>

#include "findings.h"
#include "options.h"
#include "pending_file.h"
#include "report/scatter.h"
#include "stage_clock.h"

namespace classify {

/// Folders that are made where there are none. Those that are empty at the end are taken away again.
class MadeFolders {
 public:
  /// Makes the folder with those that it lies in. Throws RunError if that fails.
  explicit MadeFolders(std::filesystem::path const& path);
  MadeFolders(MadeFolders const&) = delete;
  MadeFolders& operator=(MadeFolders const&) = delete;
  ~MadeFolders();

 private:
  std::vector<std::filesystem::path> made;  // the outer ones first
};

/// A folder with `index.html`, which needs nothing else but the documents that it links to.
class HtmlReport {
 public:
  /// Makes the folder, and makes sure that a page can be written there, so that a long run isn't lost. Throws RunError
  /// if that fails.
  explicit HtmlReport(std::filesystem::path path)
      : folder(std::move(path)), folders(folder), page(folder / "index.html") {}

  /// The page, which is left to be committed. Throws RunError if it can't be written.
  PendingFile Write(Findings const& findings, ZaM::ErrorMatrix const& matrix, Options const& options,
                    StageClocks const& clocks) &&;

 private:
  std::filesystem::path folder;
  MadeFolders folders;
  PendingFile page;
};

/// The map of the findings: their documents as dots, with their classes and those that they are given. Throws RunError
/// if there are none.
report::Scatter MapOf(Findings const& findings, Options const& options);

}  // namespace classify

#endif
