#include "html_report.h"

#include <array>
#include <system_error>
#include <utility>

#include "class_figures.h"
#include "confidence_curves.h"
#include "decision.h"
#include "evaluation.h"
#include "number_text.h"
#include "report/html.h"
#include "report/page.h"
#include "run_error.h"
#include "sure_thresholds.h"
#include "utf8.h"

namespace classify {

namespace fs = std::filesystem;
using report::Cell;

namespace {

constexpr std::array sharesRight{0.95, 0.98, 0.99};

// More would make a page of megabytes, which nobody can read.
constexpr std::size_t mostMatrixClasses = 250;

Cell Count(std::uint64_t number) {
  return {Grouped(number)};
}

report::Facts Setup(Findings const& findings, Options const& options) {
  FoldSize const total = findings.Total();
  Settings const& settings = findings.settings;
  std::string const kept = settings.maxResults == 0 ? "all" : std::to_string(settings.maxResults);
  report::Facts facts{{"Corpus", findings.corpus},
                      {"Documents", Grouped(findings.documents) + " in " + Grouped(findings.ClassCount()) + " classes"},
                      {"Tested", Grouped(findings.Tested().size()) + " of " + Grouped(total.tested) + " documents of " +
                                     findings.FoldNames()},
                      {"Learned from", Grouped(total.learned) + " documents of the other folds"},
                      {"Words", "of " + std::to_string(settings.minWordLength) + " or more characters; " +
                                    (settings.useDigits ? "digits are parts of them" : "digits separate them")},
                      {"Classes kept per document", kept},
                      {"Thresholds", "confidence " + Fixed(options.bestThreshold, 2) +
                                         ", distance to the second class " + Fixed(options.distanceThreshold, 2)}};
  for (fs::path const& file : options.loadResults) facts.push_back({"Results from", Printable(file.native())});
  return facts;
}

std::vector<report::Figure> Figures(ZaM::ErrorMatrix const& matrix, std::size_t classes) {
  unsigned int const documents = matrix.GetDocCount();
  unsigned int const accepted = documents - matrix.GetRejected();
  auto const share = [](char const* id, char const* name, unsigned int part, unsigned int whole) {
    return report::Figure{id, name, Percent(part, whole), Grouped(part) + " of " + Grouped(whole)};
  };
  return {share("accuracy", "accuracy", matrix.GetCorrect(), documents),
          share("rejected", "rejected", matrix.GetRejected(), documents),
          share("right", "right among accepted", matrix.GetCorrect(), accepted),
          {"macro-f1", "macro F1", Percent(MacroF1(matrix, classes), 1), "mean of the classes"}};
}

std::string Ratio(Outcome const& outcome) {
  return Grouped(outcome.right) + " of " + Grouped(outcome.accepted) + " (" + Fixed(100 * outcome.Low(), 0) + "\u2013" +
         Fixed(100 * outcome.High(), 0) + " %)";
}

Cell Threshold(AssignedDocuments const& assigned, double share) {
  if (auto const threshold = assigned.ThresholdFor(share)) {
    double const confidence = threshold->hundredths / 100.0;
    return {"\u2265 " + Fixed(confidence, 2), Ratio(threshold->outcome), confidence};
  }
  Outcome const all = assigned.All();
  if (all.accepted >= AssignedDocuments::fewestDocuments) return {"\u2013"};
  return {"", "too few: " + Ratio(all)};
}

report::Table Classes(Findings const& findings, ZaM::ErrorMatrix const& matrix) {
  report::Table table{"Figures by class",
                      {{"class", true},
                       {"documents"},
                       {"precision"},
                       {"recall"},
                       {"F1"},
                       {"95 % right"},
                       {"98 % right"},
                       {"99 % right"}},
                      {}};
  std::vector<AssignedDocuments> const assigned = AssignedIn(findings);
  for (unsigned int id = 1; id <= findings.ClassCount(); ++id) {
    ClassFigures const figures(matrix, id);
    table.rows.push_back({{findings.ClassNames()[id]},
                          Count(matrix.GetClassCount(id)),
                          {Percent(figures.found, figures.Assigned())},
                          {Percent(figures.found, figures.documents)},
                          {Percent(2 * figures.found, figures.Involved())}});
    for (double const share : sharesRight) table.rows.back().push_back(Threshold(assigned[id], share));
  }
  table.total = {{"all"}, Count(matrix.GetDocCount()), {}, {}, {}};
  for (double const share : sharesRight) table.total.push_back(Threshold(assigned[0], share));
  return table;
}

report::Content ConfusionMatrix(Findings const& findings, ZaM::ErrorMatrix const& matrix) {
  auto const classes = static_cast<unsigned int>(findings.ClassCount());
  if (classes > mostMatrixClasses)
    return "It is left out: there are more than " + std::to_string(mostMatrixClasses) + " classes.";
  std::vector<std::string> const names(findings.ClassNames().begin() + 1, findings.ClassNames().end());
  report::Matrix table{"Documents by class, and by what they were taken for", names, names, {}};
  table.columns.emplace_back("rejected");
  for (unsigned int row = 1; row <= classes; ++row) {
    table.counts.emplace_back();
    for (unsigned int column = 1; column <= classes; ++column)
      table.counts.back().push_back(matrix.GetResult(row, column));
    table.counts.back().push_back(matrix.GetResult(row, 0));
  }
  return table;
}

// The first documents of one class that are given another; with a link, if they are at hand.
std::vector<report::Link> Misplaced(Findings const& findings, Confusion const& confusion, Options const& options) {
  constexpr std::size_t limit = 3;
  std::vector<report::Link> links;
  for (TestedDocument const& document : findings.Tested()) {
    if (links.size() == limit) break;
    if (document.classId != confusion.trueClass) continue;
    Decision const decision(document.Result(), options);
    if (decision.isRejected || decision.classId != confusion.assignedClass) continue;
    fs::path const file = fs::path(findings.corpus) / document.name;
    std::error_code unknown;
    links.push_back({document.name, fs::exists(file, unknown) ? report::RelativeAddress(file, options.report) : ""});
  }
  return links;
}

report::Content Confusions(Findings const& findings, ZaM::ErrorMatrix const& matrix, Options const& options) {
  constexpr std::size_t shown = 20;
  report::Table table{"Most frequent mistakes",
                      {{"class", true}, {"taken for", true}, {"documents"}, {"of the class"}, {"such as", true}},
                      {}};
  for (Confusion const& confusion : WorstOf(matrix, findings.ClassCount(), shown)) {
    table.rows.push_back({{findings.ClassNames()[confusion.trueClass]},
                          {findings.ClassNames()[confusion.assignedClass]},
                          Count(confusion.count),
                          {Percent(confusion.count, matrix.GetClassCount(confusion.trueClass))},
                          {}});
    table.rows.back().back().links = Misplaced(findings, confusion, options);
  }
  if (table.rows.empty()) return "None.";
  return table;
}

report::LineChart ConfidenceChart(std::string const& title, ConfidenceCurve const& curve) {
  auto const points = [](std::vector<double> const& shares) {
    std::vector<report::Point> all;
    for (std::size_t i = 0; i < shares.size(); ++i) all.push_back({static_cast<double>(i) / 100, 100 * shares[i]});
    return all;
  };
  return {title,
          "confidence asked for",
          "% of documents",
          1,
          100,
          {{"right", points(curve.Right()), {}}, {"wrong", points(curve.Wrong()), {}}}};
}

std::vector<report::LineChart> ConfidenceCharts(Findings const& findings) {
  std::vector<ConfidenceCurve> const curves = CurvesOf(findings);
  std::vector<report::LineChart> charts{ConfidenceChart("all classes", curves[0])};
  for (std::size_t id = 1; id < curves.size(); ++id)
    charts.push_back(ConfidenceChart(findings.ClassNames()[id], curves[id]));
  return charts;
}

// Marks at a few thresholds, so that a point of the curve can be set on the command line.
report::Curve Rejection(std::string const& name, std::vector<RejectionPoint> const& points) {
  report::Curve curve{name, {}, {}};
  for (std::size_t i = 0; i < points.size(); ++i) {
    report::Point const point{100 * points[i].rejected, 100 * points[i].wrong};
    curve.points.push_back(point);
    if (i % 10 == 0 && i > 0) curve.marks.push_back({point, Fixed(points[i].threshold, 1)});
  }
  return curve;
}

report::LineChart RejectionChart(Findings const& findings) {
  return {"Wrong documents over rejected ones",
          "% of all documents that are rejected",
          "% of the accepted documents that are wrong",
          100,
          0,
          {Rejection("--best-threshold", RejectionCurve(findings, ThresholdKind::Best)),
           Rejection("--distance-threshold", RejectionCurve(findings, ThresholdKind::Distance))},
          true};
}

report::Content Times(StageClocks const& clocks) {
  report::Table table{"Stages of the run", {{"stage", true}, {"documents"}, {"seconds"}, {"per second"}}, {}};
  for (auto const& [stage, clock] : clocks.Stages()) {
    if (clock->Documents() == 0) continue;
    double const speed = clock->Seconds() > 0 ? static_cast<double>(clock->Documents()) / clock->Seconds() : 0;
    table.rows.push_back({{stage},
                          Count(clock->Documents()),
                          {Fixed(clock->Seconds(), 2)},
                          {speed > 0 ? Grouped(static_cast<std::uint64_t>(speed)) : "\u2013"}});
  }
  return table;
}

report::Content Map(Findings const& findings, Options const& options) {
  bool const areLoaded = !options.loadResults.empty();
  if (findings.map.points.empty() && areLoaded)
    return "There is none: these results were loaded, without the documents.";
  if (findings.map.points.empty()) return "There is none: too few documents, or none with a known word.";
  return MapOf(findings, options);
}

report::Page PageOf(Findings const& findings, ZaM::ErrorMatrix const& matrix, Options const& options,
                    StageClocks const& clocks) {
  return {
      "Classification of " + findings.corpus,
      Figures(matrix, findings.ClassCount()),
      {{"setup", "Setup", "What was run", "", {Setup(findings, options)}},
       {"classes",
        "Classes",
        "Classes",
        "Precision: of the documents that were given the class, those that belong to it. Recall: of the documents of "
        "the class, those that were given it. The last columns are for deciding on new documents: the lowest "
        "confidence to ask of those that are given the class if that share of them has to be right; how many of the "
        "tested ones that accepts, and how many of these were right; and where their share lies among more documents, "
        "with a probability of 95 %. Fewer than 30 documents are too few to tell.",
        {Classes(findings, matrix)}},
       {"matrix",
        "Confusion matrix",
        "Confusion matrix",
        "A row for each class, a column for what its documents were taken for. Blue is right, red is wrong; the "
        "stronger, the more of the row.",
        {ConfusionMatrix(findings, matrix)}},
       {"confusions",
        "Worst confusions",
        "Worst confusions",
        "With some of the documents that were misplaced.",
        {Confusions(findings, matrix, options)}},
       {"confidence",
        "Confidence",
        "How far a confidence can be trusted",
        "For each confidence that may be asked for, the share of the documents that have it and are in their own "
        "class, and of those that have it and are in another one. All documents, then those of each class.",
        {ConfidenceCharts(findings)}},
       {"rejection",
        "Rejection",
        "What rejecting unsure documents gains",
        "The options --best-threshold and --distance-threshold leave documents to a person: how many, and how many of "
        "the others are still wrong. The figures at the points are the thresholds.",
        {RejectionChart(findings)}},
       {"map",
        "Map",
        "Map",
        "The tested documents on the plane of the first two principal components of training documents. A ring marks "
        "those that are misplaced or rejected; the mouse shows which they are.",
        {Map(findings, options)}},
       {"times", "Times", "Times", "", {Times(clocks)}}}};
}

}  // namespace

MadeFolders::MadeFolders(fs::path const& path) {
  std::error_code error;
  for (fs::path part; fs::path const& name : fs::absolute(path, error)) {
    part /= name;
    std::error_code unknown;
    if (!fs::exists(part, unknown) && fs::create_directory(part, error)) made.push_back(part);
    if (error) throw RunError{"can't make the folder " + Printable(path.native()) + ": " + error.message()};
  }
}

MadeFolders::~MadeFolders() {
  std::error_code isFull;
  for (auto part = made.rbegin(); part != made.rend(); ++part) fs::remove(*part, isFull);
}

PendingFile HtmlReport::Write(Findings const& findings, ZaM::ErrorMatrix const& matrix, Options const& options,
                              StageClocks const& clocks) && {
  page.Write(report::Html(PageOf(findings, matrix, options, clocks)));
  return std::move(page);
}

report::Scatter MapOf(Findings const& findings, Options const& options) {
  if (findings.map.points.empty())
    throw RunError{"there is nothing to draw a map of: no tested document has a known word"};
  report::Scatter map{findings.corpus + ": " + Grouped(findings.map.points.size()) + " documents of fold " +
                          std::to_string(findings.map.fold) + " on the plane of " + Grouped(findings.map.examples) +
                          " others",
                      "first principal component",
                      "second principal component",
                      findings.ClassNames(),
                      {}};
  for (TestedDocument const& document : findings.Tested()) {
    auto const point = findings.map.points.find(document.node);
    if (point == findings.map.points.end()) continue;
    Decision const decision(document.Result(), options);
    map.dots.push_back({point->second.x, point->second.y, document.classId, decision.isRejected ? 0 : decision.classId,
                        document.name});
  }
  return map;
}

}  // namespace classify
