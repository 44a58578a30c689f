#include "html_report.h"

#include <array>
#include <system_error>
#include <utility>

#include "class_figures.h"
#include "evaluation.h"
#include "gnuplot.h"
#include "html_text.h"
#include "number_text.h"
#include "plane_map.h"
#include "report_pictures.h"
#include "run_error.h"
#include "sure_thresholds.h"
#include "utf8.h"

namespace classify {

namespace fs = std::filesystem;
using html::Escaped;

namespace {

constexpr std::array sharesRight{0.95, 0.98, 0.99};

// Files of the page.
std::string CurveFile(std::size_t classId) {
  return classId == 0 ? "confidence.svg" : "confidence-" + std::to_string(classId) + ".svg";
}
constexpr char pageFile[] = "index.html";
constexpr char matrixFile[] = "matrix.svg";
constexpr char rejectionFile[] = "rejection.svg";
constexpr char mapFile[] = "map.svg";

std::string Section(std::string const& id, std::string const& heading, std::string const& note,
                    std::string const& content) {
  std::string const paragraph = note.empty() ? "" : "<p class=\"note\">" + note + "</p>\n";
  return "<section id=\"" + id + "\">\n<h2>" + heading + "</h2>\n" + paragraph + content + "</section>\n";
}

std::string Setup(Findings const& findings, Options const& options) {
  FoldSize const total = findings.Total();
  Settings const& settings = findings.settings;
  std::string const kept = settings.maxResults == 0 ? "all" : std::to_string(settings.maxResults);
  std::vector<std::vector<std::string>> rows{
      {"Corpus", Escaped(findings.corpus)},
      {"Documents", Grouped(findings.documents) + " in " + Grouped(findings.ClassCount()) + " classes"},
      {"Tested",
       Grouped(findings.Tested().size()) + " of " + Grouped(total.tested) + " documents of " + findings.FoldNames()},
      {"Learned from", Grouped(total.learned) + " documents of the other folds"},
      {"Words", "of " + std::to_string(settings.minWordLength) + " or more characters; " +
                    (settings.useDigits ? "digits are parts of them" : "digits separate them")},
      {"Classes kept per document", kept},
      {"Thresholds", "confidence " + Fixed(options.bestThreshold, 2) + ", distance to the second class " +
                         Fixed(options.distanceThreshold, 2)}};
  for (fs::path const& file : options.loadResults) rows.push_back({"Results from", Escaped(Printable(file.native()))});
  return html::Table({"", ""}, rows);
}

std::string Figure(std::string const& id, std::string const& value, std::string const& meaning) {
  return "<div><b id=\"" + id + "\">" + value + "</b>" + meaning + "</div>\n";
}

std::string Figures(ZaM::ErrorMatrix const& matrix, std::size_t classes) {
  unsigned int const documents = matrix.GetDocCount();
  unsigned int const accepted = documents - matrix.GetRejected();
  return "<div class=\"figures\">\n" +
         Figure("accuracy", Percent(matrix.GetCorrect(), documents),
                "accuracy: " + Grouped(matrix.GetCorrect()) + " of " + Grouped(documents)) +
         Figure("rejected", Percent(matrix.GetRejected(), documents), "rejected: " + Grouped(matrix.GetRejected())) +
         Figure("right", Percent(matrix.GetCorrect(), accepted),
                "right among accepted: " + Grouped(matrix.GetCorrect()) + " of " + Grouped(accepted)) +
         Figure("macro-f1", Percent(MacroF1(matrix, classes), 1), "macro F1") + "</div>\n";
}

std::string Interval(Outcome const& outcome) {
  return Fixed(100 * outcome.Low(), 0) + "&ndash;" + Percent(outcome.High(), 1);
}

std::string ThresholdCell(AssignedDocuments const& assigned, double share) {
  if (auto const threshold = assigned.ThresholdFor(share)) {
    auto const& [hundredths, outcome] = *threshold;
    return "&ge; " + Fixed(hundredths / 100.0, 2) + "<br><small>" + Grouped(outcome.right) + " of " +
           Grouped(outcome.accepted) + " (" + Interval(outcome) + ")</small>";
  }
  Outcome const all = assigned.All();
  if (all.accepted >= AssignedDocuments::FewestDocuments) return "&ndash;";
  return "<small>too few: " + Grouped(all.right) + " of " + Grouped(all.accepted) + " (" + Interval(all) + ")</small>";
}

std::string ClassRows(Findings const& findings, ZaM::ErrorMatrix const& matrix) {
  std::vector<AssignedDocuments> const assigned = AssignedIn(findings);
  std::vector<std::vector<std::string>> rows;
  for (unsigned int id = 1; id <= findings.ClassCount(); ++id) {
    ClassFigures const figures(matrix, id);
    rows.push_back({Escaped(findings.ClassNames()[id]), Grouped(matrix.GetClassCount(id)),
                    Percent(figures.found, figures.Assigned()), Percent(figures.found, figures.documents),
                    Percent(2 * figures.found, figures.Involved())});
    for (double const share : sharesRight) rows.back().push_back(ThresholdCell(assigned[id], share));
  }
  rows.push_back({"<b>all</b>", Grouped(matrix.GetDocCount()), "", "", ""});
  for (double const share : sharesRight) rows.back().push_back(ThresholdCell(assigned[0], share));
  return html::Table({"class", "documents", "precision", "recall", "F1", "95 % right", "98 % right", "99 % right"},
                     rows);
}

// With a link, if the document is at hand.
std::string DocumentLink(Findings const& findings, TestedDocument const& document) {
  fs::path const file = fs::path(findings.corpus) / document.name;
  std::error_code unknown;
  std::string const name = Escaped(document.name);
  return fs::exists(file, unknown) ? "<a href=\"" + html::FileAddress(file) + "\">" + name + "</a>" : name;
}

std::string Confusions(Findings const& findings, ZaM::ErrorMatrix const& matrix, Options const& options) {
  constexpr std::size_t shown = 20;
  constexpr std::size_t examples = 3;
  std::vector<std::vector<std::string>> rows;
  for (Confusion const& confusion : WorstOf(matrix, findings.ClassCount(), shown)) {
    std::string links;
    for (TestedDocument const* document :
         MisplacedDocuments(findings, confusion, options.bestThreshold, options.distanceThreshold, examples))
      links += (links.empty() ? "" : "<br>") + DocumentLink(findings, *document);
    rows.push_back({Escaped(findings.ClassNames()[confusion.trueClass]),
                    Escaped(findings.ClassNames()[confusion.assignedClass]), Grouped(confusion.count),
                    Percent(confusion.count, matrix.GetClassCount(confusion.trueClass)), links});
  }
  if (rows.empty()) return "<p>None.</p>\n";
  return html::Table({"class", "taken for", "documents", "of the class", "such as"}, rows);
}

std::string CurvePictures(Findings const& findings) {
  std::string pictures = html::Picture(CurveFile(0), "Curves of all documents") + "<div class=\"plots\">\n";
  for (std::size_t id = 1; id <= findings.ClassCount(); ++id)
    pictures += html::Picture(CurveFile(id), "Curves of the class " + findings.ClassNames()[id]);
  return pictures + "</div>\n";
}

std::string Times(StageClocks const& clocks) {
  std::vector<std::vector<std::string>> rows;
  for (auto const& [stage, clock] : clocks.Stages()) {
    if (clock->Documents() == 0) continue;
    double const speed = clock->Seconds() > 0 ? static_cast<double>(clock->Documents()) / clock->Seconds() : 0;
    rows.push_back({stage, Grouped(clock->Documents()), Fixed(clock->Seconds(), 2),
                    speed > 0 ? Grouped(static_cast<std::uint64_t>(speed)) : "&ndash;"});
  }
  return html::Table({"stage", "documents", "seconds", "per second"}, rows);
}

std::string Map(Findings const& findings) {
  if (findings.map.points.empty()) return "<p>There is none: these results were loaded, without the documents.</p>\n";
  return html::Picture(mapFile, "Tested documents as points, coloured by class");
}

std::string Body(Findings const& findings, ZaM::ErrorMatrix const& matrix, Options const& options,
                 StageClocks const& clocks) {
  return "<h1>Classification of " + Escaped(findings.corpus) + "</h1>\n" + Figures(matrix, findings.ClassCount()) +
         "<nav><a href=\"#classes\">Classes</a><a href=\"#matrix\">Confusion matrix</a>"
         "<a href=\"#confusions\">Worst confusions</a><a href=\"#confidence\">Confidence</a>"
         "<a href=\"#rejection\">Rejection</a><a href=\"#map\">Map</a><a href=\"#times\">Times</a></nav>\n" +
         Section("setup", "What was run", "", Setup(findings, options)) +
         Section(
             "classes", "Classes",
             "Precision: of the documents that were given the class, those that belong to it. Recall: of the "
             "documents of the class, those that were given it. The last columns are for deciding on new documents: "
             "the lowest confidence to ask of those that are given the class if that share of them has to be right; "
             "how many of the tested ones that accepts, and how many of these were right; and where their share "
             "lies among more documents, with a probability of 95 %. Fewer than 30 documents are too few to tell.",
             ClassRows(findings, matrix)) +
         Section(
             "matrix", "Confusion matrix",
             "A row for each class, a column for what its documents were taken for. Blue is right, red is wrong; the "
             "darker, the more of the row.",
             html::Picture(matrixFile, "Confusion matrix")) +
         Section("confusions", "Worst confusions", "With some of the documents that were misplaced.",
                 Confusions(findings, matrix, options)) +
         Section(
             "confidence", "How far a confidence can be trusted",
             "For each confidence that may be asked for, the share of the documents that have it and are in their "
             "own class, and of those that have it and are in another one. All documents, then those of each class.",
             CurvePictures(findings)) +
         Section("rejection", "What rejecting unsure documents gains",
                 "The options <code>--best-threshold</code> and <code>--distance-threshold</code> leave documents to a "
                 "person: how many, and how many of the others are still wrong. The figures at the points are the "
                 "thresholds.",
                 html::Picture(rejectionFile, "Wrong documents over rejected documents")) +
         Section("map", "Map",
                 "The tested documents on the plane of the first two principal components of training documents.",
                 Map(findings)) +
         Section("times", "Times", "", Times(clocks));
}

}  // namespace

HtmlReport::HtmlReport(fs::path path) : folder(std::move(path)) {
  std::error_code error;
  for (fs::path part; fs::path const& name : fs::absolute(folder, error)) {
    part /= name;
    std::error_code unknown;
    if (!fs::exists(part, unknown) && fs::create_directory(part, error)) made.push_back(part);
    if (error) throw RunError{"can't make the folder " + Printable(folder.native()) + ": " + error.message()};
  }
  CheckGnuplot();
  PendingFile const writable(folder / pageFile);
}

HtmlReport::~HtmlReport() {
  std::error_code isFull;
  for (auto part = made.rbegin(); part != made.rend(); ++part) fs::remove(*part, isFull);
}

std::vector<PendingFile> HtmlReport::Write(Findings const& findings, ZaM::ErrorMatrix const& matrix,
                                           Options const& options, StageClocks const& clocks) const {
  std::vector<PendingFile> files;
  auto const add = [&](std::string const& name, std::string const& content) {
    files.emplace_back(folder / name).Write(content);
  };
  std::vector<ConfidenceCurve> const curves = CurvesOf(findings);
  add(matrixFile, DrawMatrix(matrix, findings.ClassNames()));
  add(CurveFile(0), DrawCurve("all classes", curves[0]));
  for (std::size_t id = 1; id <= findings.ClassCount(); ++id)
    add(CurveFile(id), DrawCurve(findings.ClassNames()[id], curves[id]));
  add(rejectionFile,
      DrawRejection(RejectionCurve(findings, ThresholdKind::Best), RejectionCurve(findings, ThresholdKind::Distance)));
  if (!findings.map.points.empty()) add(mapFile, DrawMap(findings.corpus, findings.map, findings.ClassNames()));
  // The page comes last, so that it never shows pictures that aren't there yet.
  add(pageFile, html::Page("Classification of " + findings.corpus, Body(findings, matrix, options, clocks)));
  return files;
}

}  // namespace classify
