#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "fold.h"
#include "number_text.h"
#include "report/html.h"
#include "report/scatter.h"
#include "tests/examples/small_corpus.h"

namespace classify {
namespace {

namespace fs = std::filesystem;
using ZaM::test::ProcessResult;

// What page_check.js has to say of the page in a frame of this width, by day (1) or by night (0).
std::string Browse(fs::path const& folder, std::string const& width, std::string const& scheme) {
  std::string page = Read(folder / "index.html");
  page.insert(page.find("<title>"), "<script>" + Read(PAGE_CHECK) + "</script>");
  std::ofstream(folder / "frame.html") << "<meta name=color-scheme content='light dark'><iframe height=900 width="
                                       << width << " srcdoc=\"" << report::Escaped(page) << "\"></iframe>";
  std::string const drawn =
      ZaM::test::RunProcess({"timeout", "300", "chromium", "--headless", "--no-sandbox", "--disable-gpu",
                             "--user-data-dir=" + (folder / "profile").string(), "--virtual-time-budget=10000",
                             "--window-size=1400,1000", "--blink-settings=preferredColorScheme=" + scheme, "--dump-dom",
                             "file://" + (folder / "frame.html").string()})
          .output;
  std::smatch title;
  return std::regex_search(drawn, title, std::regex("<title>([^<]*)<")) ? title[1].str() : drawn;
}

class ReportPage : public SmallCorpus {
 protected:
  void SetUp() override {
    WriteClasses(30);
    Put("fish/" + odd, "violin chord flute");
    run = Classify({Corpus(), "--fold", std::to_string(FoldOf(odd)), "--report", Folder().string(), "--results",
                    Results(), "--map", Part(1, ".svg")});
    ASSERT_EQ(run.exitCode, 0) << run.output;
    page = Read(Folder() / "index.html");
  }
  fs::path Folder() const { return folder.Path() / "report"; }

  std::string const odd = "a & b <odd> 'name'.txt";
  ProcessResult run;
  std::string page;
};

TEST_F(ReportPage, ShowsTheFiguresOfTheRun) {
  ASSERT_EQ(Classify({"--load-results", Results(), "--report", Part(1, "")}).exitCode, 0);
  for (std::string const& text : {page, Read(Part(1, "/index.html"))}) {
    for (auto const& [id, name] : {std::pair("accuracy", "accuracy "), std::pair("rejected", "rejected "),
                                   std::pair("right", "right    "), std::pair("macro-f1", "macro F1 ")}) {
      std::smatch value;
      ASSERT_TRUE(std::regex_search(text, value, std::regex("id=\"" + std::string(id) + "\">([^<]*)<")));
      EXPECT_TRUE(Contains(run.output, name + Right(value[1], 8))) << run.output << value[1];
    }
    EXPECT_TRUE(Contains(text, "title=\"fish \u2192 music\">1</td>")) << text;
    EXPECT_TRUE(Contains(text, "<small>too few: ")) << text;
  }
  for (std::string const& text : {page, Read(Part(1, ".svg"))})
    EXPECT_TRUE(Contains(text, "<title>fish/" + report::Escaped(odd) + ": fish taken for music</title>")) << text;
}

TEST_F(ReportPage, NeedsNothingButLinksToDocuments) {
  std::set<std::string> addresses;
  std::regex const address(R"re((?:src|href|url)[=(]"?([^"#)]+))re");
  for (std::sregex_iterator i(page.begin(), page.end(), address), end; i != end; ++i) addresses.insert((*i)[1]);
  EXPECT_EQ(addresses, std::set<std::string>{"../corpus/fish/a%20%26%20b%20%3Codd%3E%20%27name%27.txt"});
  EXPECT_FALSE(Contains(page, "<odd>"));
}

TEST_F(ReportPage, ServesReadersOnNarrowAndWideScreensByNightToo) {
  if (ZaM::test::RunProcess({"chromium", "--version"}).exitCode != 0) GTEST_SKIP() << "chromium isn't installed";
  EXPECT_EQ(Browse(Folder(), "400", "1"), "400 pixels by day: ");
  EXPECT_EQ(Browse(Folder(), "1280", "0"), "1280 pixels by night: ");
}

using DocumentMapFile = SmallCorpus;

TEST_F(DocumentMapFile, ComesOutOfItsModelUnchangedAndOutOfNoOther) {
  WriteClasses(30);
  std::string const model = Part(1, ".pca");
  auto const draw = [&](std::string const& picture, std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {Corpus(), "--map", picture, "--model", model});
    return Classify(arguments);
  };
  ASSERT_EQ(draw(Part(1, ".svg"), {}).exitCode, 0);
  ASSERT_EQ(draw(Part(2, ".svg"), {}).exitCode, 0);
  EXPECT_TRUE(Contains(Read(Part(1, ".svg")), "fish ("));
  EXPECT_EQ(Read(Part(1, ".svg")), Read(Part(2, ".svg")));

  std::string const bytes = Read(model);
  std::ofstream(model, std::ios::binary) << bytes.substr(0, bytes.size() - 1);
  EXPECT_TRUE(Contains(draw(Part(2, ".svg"), {}).output, model + ": it isn't a whole model"));
  std::ofstream(model, std::ios::binary) << bytes;
  Put("fish/0.txt", "shark");
  ProcessResult const other = draw(Part(2, ".svg"), {"--fold", "1"});
  EXPECT_EQ(other.exitCode, 1);
  EXPECT_TRUE(Contains(other.output, model + ": it was learned from other documents")) << other.output;
}

TEST(Scatter, LetsOnlyTheSmallestGroupShareAColourInAnotherShape) {
  report::Scatter scatter{"", "", "", {"-"}, {}};
  for (std::size_t group = 1; group <= report::colorCount + 1; ++group) {
    scatter.groups.push_back("g" + std::to_string(group));
    for (std::size_t i = 0; i < group; ++i) scatter.dots.push_back({0, 0, group, group, ""});
  }
  std::string const picture = Draw(scatter).File();
  std::regex const entry(R"re(class="dots (color\d+)" d="M[\d.]+ [\d.]+([^"]*)"/>\n<text class="label"[^>]*>(g\d+))re");
  std::map<std::string, std::string> looks;
  for (std::sregex_iterator i(picture.begin(), picture.end(), entry), end; i != end; ++i)
    looks[(*i)[1].str() + (*i)[2].str()] = (*i)[3];
  EXPECT_EQ(looks.size(), report::colorCount + 1);
  std::set<std::string> colors;
  for (auto const& [look, group] : looks)
    if (group != "g1") colors.insert(look.substr(0, look.find('m')));
  EXPECT_EQ(colors.size(), report::colorCount);
}

}  // namespace
}  // namespace classify
