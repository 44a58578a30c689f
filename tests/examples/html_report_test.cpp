#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "fold.h"
#include "html_text.h"
#include "number_text.h"
#include "tests/examples/small_corpus.h"

namespace classify {
namespace {

namespace fs = std::filesystem;
using ZaM::test::ProcessResult;

// What a browser makes of the page: its text after loading, with the number of pictures that were there and weren't.
std::string Browse(fs::path const& folder) {
  std::string page = Read(folder / "index.html");
  page.insert(page.rfind("</body>"), R"(<p id="pictures"></p><script>
    window.onload = () => {
      const drawn = [...document.images].filter(image => image.complete && image.naturalWidth > 100).length;
      document.getElementById("pictures").textContent = drawn + " of " + document.images.length;
    };</script>)");
  std::ofstream(folder / "watched.html") << page;
  return ZaM::test::RunProcess({"timeout", "300", "chromium", "--headless", "--no-sandbox", "--disable-gpu",
                                "--user-data-dir=" + (folder / "profile").string(), "--virtual-time-budget=10000",
                                "--dump-dom", html::FileAddress(folder / "watched.html")})
      .output;
}

// The text of the element with this id.
std::string TextOf(std::string const& page, std::string const& id) {
  std::smatch match;
  return std::regex_search(page, match, std::regex("id=\"" + id + "\">([^<]*)<")) ? match[1].str() : "";
}

std::vector<std::string> AddressesIn(std::string const& page) {
  std::regex const address(R"re((?:src|href)="([^"#]+)")re");
  std::vector<std::string> addresses;
  for (std::sregex_iterator i(page.begin(), page.end(), address), end; i != end; ++i) addresses.push_back((*i)[1]);
  return addresses;
}

class ReportPage : public SmallCorpus {
 protected:
  void SetUp() override {
    if (ZaM::test::RunProcess({"chromium", "--version"}).exitCode != 0) GTEST_SKIP() << "chromium isn't installed";
    WriteClasses(30);
    Put("fish/a & b <odd> 'name'.txt", "violin chord flute");
    fold = std::to_string(FoldOf("a & b <odd> 'name'.txt"));
  }
  fs::path Folder() const { return folder.Path() / "report"; }

  std::string fold;
};

TEST_F(ReportPage, ShowsTheFiguresOfTheRunAndAllPicturesInABrowser) {
  ProcessResult const run = Classify({Corpus(), "--fold", fold, "--report", Folder().string(), "--results", Results()});
  ASSERT_EQ(run.exitCode, 0) << run.output;
  std::string const page = Browse(Folder());
  EXPECT_EQ(TextOf(page, "pictures"), "7 of 7") << page;  // matrix, rejection, map, curves of all and of each class
  EXPECT_TRUE(Contains(run.output, "accuracy " + Right(TextOf(page, "accuracy"), 8))) << run.output;
  EXPECT_TRUE(Contains(run.output, "rejected " + Right(TextOf(page, "rejected"), 8))) << run.output;
  EXPECT_TRUE(Contains(run.output, "macro F1 " + Right(TextOf(page, "macro-f1"), 8))) << run.output;
  EXPECT_TRUE(Contains(page, "<td>fish</td><td>music</td><td>1</td>")) << page;
  EXPECT_TRUE(Contains(run.output, "right    " + Right(TextOf(page, "right"), 8))) << run.output;
  EXPECT_TRUE(Contains(page, "<small>too few: ")) << page;

  ProcessResult const loaded = Classify({"--load-results", Results(), "--report", Part(1, "")});
  ASSERT_EQ(loaded.exitCode, 0) << loaded.output;
  std::string const second = Browse(Part(1, ""));
  EXPECT_EQ(TextOf(second, "pictures"), "6 of 6");
  for (char const* id : {"accuracy", "rejected", "macro-f1"}) EXPECT_EQ(TextOf(second, id), TextOf(page, id));
}

TEST_F(ReportPage, NeedsNothingButItsFolderAndLinksToDocuments) {
  ASSERT_EQ(Classify({Corpus(), "--fold", fold, "--report", Folder().string()}).exitCode, 0);
  std::string const document = html::FileAddress(fs::path(Corpus()) / "fish/a & b <odd> 'name'.txt");
  bool linked = false;
  for (std::string const& address : AddressesIn(Read(Folder() / "index.html"))) {
    linked = linked || address == document;
    EXPECT_TRUE(address == document || fs::exists(Folder() / address)) << address;
  }
  EXPECT_TRUE(linked);
  EXPECT_FALSE(Contains(Read(Folder() / "index.html"), "<odd>"));
}

}  // namespace
}  // namespace classify
