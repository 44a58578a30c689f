#include "result_file.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>

#include "result_loader.h"
#include "run_error.h"
#include "tests/support/temporary_folder.h"

namespace classify {
namespace {

namespace fs = std::filesystem;
using ZaM::IndexedResult;
using ZaM::Ref;

struct Entry {
  unsigned int classId;
  float value;
};

// By the C library, which the program doesn't use for it.
float SixDigits(float value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.6f", static_cast<double>(value));
  return std::strtof(text, nullptr);
}

class ResultFiles : public testing::Test {
 protected:
  fs::path File(std::string const& name) const { return folder.Path() / name; }

  Findings Load(std::vector<fs::path> const& files) {
    Progress progress(false);
    return LoadResults(files, progress, notes);
  }

  // What is said of files that can't be loaded; nothing if they can.
  std::string WhyNot(std::vector<fs::path> const& files) {
    try {
      Load(files);
    } catch (RunError const& error) {
      return error.message;
    }
    return "";
  }

  // As a run would leave it: folds in their order, documents in that of classes and names.
  static Findings Example() {
    Findings findings;
    findings.corpus = "a \"b\" & <c>";
    findings.documents = 40;
    findings.settings = {2, false, 5};
    for (char const* name : {"b\xC3\xA4r & co", "\\xFF\\x0A", "\xF0\x9F\x98\x80"}) findings.AddClass(name);
    findings.folds = {{0, {30, 2}}, {3, {35, 1}}};
    Add(findings, "b\xC3\xA4r & co/<'1'>.txt", 1, 0, {{3, 0.9123461F}, {1, 0.9123459F}, {2, 0.0000004F}});
    Add(findings, "\\xFF\\x0A/ \xE2\x82\xAC", 2, 0, {});
    Add(findings, "z", 3, 3,
        {{1, 1234.5678F},
         {2, 1.0F / 3},
         {3, 0.0000006F},
         {1, std::numeric_limits<float>::infinity()},
         {2, NAN},
         {3, -1}});
    return findings;
  }

  static void Add(Findings& findings, char const* name, unsigned int classId, unsigned int fold,
                  std::vector<Entry> const& entries) {
    Ref<ZaM::SparseResult> result(ZaM::SparseResult::Create());
    std::vector<IndexedResult> items(entries.size());
    for (std::size_t i = 0; i < items.size(); ++i) items[i].Set(entries[i].classId, entries[i].value);
    result->SetResults(items);
    findings.Add(name, classId, fold, result.Get());
  }

  static void Write(Findings const& findings, fs::path const& file) { ResultFile(file).Write(findings).Commit(); }

  std::string Bytes(fs::path const& file) const {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  ZaM::test::TemporaryFolder folder;
  Notes notes;
};

void ExpectEqual(std::vector<IndexedResult> const& loaded, std::vector<Entry> const& expected) {
  ASSERT_EQ(loaded.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(loaded[i].GetIndex(), expected[i].classId);
    EXPECT_EQ(loaded[i].GetValue(), SixDigits(expected[i].value));
    EXPECT_EQ(loaded[i].GetResType(), ZaM::ResultTypeScored);
  }
}

TEST_F(ResultFiles, ComeBackValueForValue) {
  for (char const* name : {"r.xml", "r.xml.gz"}) {
    Findings const written = Example();
    Write(written, File(name));
    EXPECT_EQ(Bytes(File(name)).starts_with("\x1F\x8B"), std::string(name).ends_with(".gz"));
    Findings const loaded = Load({File(name)});
    EXPECT_EQ(loaded.corpus, written.corpus);
    EXPECT_EQ(loaded.documents, written.documents);
    EXPECT_EQ(loaded.settings, written.settings);
    EXPECT_EQ(loaded.folds, written.folds);
    EXPECT_EQ(loaded.ClassNames(), written.ClassNames());
    ASSERT_EQ(loaded.Tested().size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(loaded.Tested()[i].name, written.Tested()[i].name);
      EXPECT_EQ(loaded.Tested()[i].classId, written.Tested()[i].classId);
      EXPECT_EQ(loaded.Tested()[i].fold, written.Tested()[i].fold);
    }
    ExpectEqual(loaded.Tested()[0].Result().GetResults(), {{3, 0.9123461F}, {1, 0.9123459F}});
    ExpectEqual(loaded.Tested()[1].Result().GetResults(), {});
    ExpectEqual(loaded.Tested()[2].Result().GetResults(), {{1, 1234.5678F}, {2, 1.0F / 3}, {3, 0.0000006F}});
  }
}

TEST_F(ResultFiles, AreLoadedWholeOrNotAtAll) {
  for (char const* name : {"r.xml", "r.xml.gz"}) {
    Write(Example(), File(name));
    std::string const bytes = Bytes(File(name));
    // The last bytes of a gzip file are its checks, without which all of the document may be there.
    std::size_t const needed = bytes.size() - (bytes.starts_with("\x1F\x8B") ? 12 : 1);
    for (std::size_t length = 0; length <= needed; ++length) {
      std::string const why = WhyNot({folder.Write("cut", bytes.substr(0, length))});
      ASSERT_TRUE(why.find(File("cut").string()) != std::string::npos) << length << ' ' << why;
    }
  }
}

TEST_F(ResultFiles, AreRefusedWhereTheyMakeNoSense) {
  Write(Example(), File("r.xml"));
  std::string const good = Bytes(File("r.xml"));
  struct {
    char const* part;
    char const* replacement;
    char const* reason;
  } const cases[] = {
      {"ClassificationResults", "other", "XML of another kind"},
      {"Version=\"1\"", "Version=\"2\"", "newer version"},
      {"Version=\"1\"", "", "the number Version is missing or damaged"},
      {"Documents=\"40\"", "Documents=\"4O\"", "the number Documents is missing or damaged"},
      {"Documents=\"40\"", "Documents=\"99999999999999999999\"", "the number Documents"},
      {"Corpus=\"a ", "Corpus=\"&#x9B;2J", "the attribute Corpus has control characters"},
      {"<Class Id=\"2\"", "<Class Id=\"3\"", "its classes aren't in order"},
      {"<Fold Number=\"3\"", "<Fold Number=\"0\"", "fold 0 stands there twice"},
      {"Path=\"z\" ClassId=\"3\"", "Path=\"z\" ClassId=\"4\"", "z has a class that isn't listed"},
      {"Path=\"z\" ClassId=\"3\"", "Path=\"z\" ClassId=\"0\"", "z has a class that isn't listed"},
      {"Path=\"z\"", "", "the attribute Path is missing"},
      {"restype=\"2\" ClassId=\"2\"", "restype=\"2\" ClassId=\"4294967295\"", "names a class that isn't listed"},
      {"restype=\"2\" ClassId=\"2\"", "restype=\"2\"", "names a class that isn't listed"},
      {"<Result ClsCount=\"0\"></Result>", "", "has no result"},
      {"<Result ClsCount=\"0\">", "<Result></Result><Result>", "has two results"},
      {"Path=\"z\"", "Path=\"b\xC3\xA4r &amp; co/&lt;&apos;1&apos;&gt;.txt\"", "stands in"},
      {"<Class Id", "<Extra>", "it breaks off or is damaged"},
      {"<Class Id", "<Extra><Fold></Fold></Extra><Class Id", nullptr},  // what a later version may add
  };
  for (auto const& [part, replacement, reason] : cases) {
    std::string bytes = good;
    for (std::size_t at = 0; (at = bytes.find(part, at)) != std::string::npos; at += std::string(replacement).size())
      bytes.replace(at, std::string(part).size(), replacement);
    ASSERT_NE(bytes, good) << part;
    std::string const why = WhyNot({folder.Write("bad.xml", bytes)});
    if (!reason) {
      EXPECT_EQ(why, "") << replacement;
    } else {
      EXPECT_NE(why.find(reason), std::string::npos) << part << ": " << why;
      EXPECT_NE(why.find("bad.xml"), std::string::npos) << why;
    }
  }
  std::string damaged = (Write(Example(), File("r.gz")), Bytes(File("r.gz")));
  damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 0x55);
  EXPECT_NE(WhyNot({folder.Write("damaged.gz", damaged)}), "");
  EXPECT_NE(WhyNot({folder.Path()}).find("it is a folder"), std::string::npos);
  EXPECT_NE(WhyNot({File("missing")}).find("missing: No such file"), std::string::npos);
}

TEST_F(ResultFiles, AreRefusedTogetherWhereTheyDoNotBelongTogether) {
  struct {
    void (*change)(Findings&);
    char const* reason;
  } const cases[] = {
      {[](Findings& findings) { findings.AddClass("more"); }, "b.xml doesn't belong to"},
      {[](Findings& findings) { findings.documents = 41; }, "the numbers of documents differ"},
      {[](Findings& findings) { findings.settings.useDigits = true; }, "the settings differ"},
      {[](Findings& findings) { findings.folds[3].learned = 36; }, "the sizes of a fold differ"},
      {[](Findings& findings) {
         Add(findings, "z", 1, 4, {});
         findings.folds[4] = {1, 1};
       },
       "z stands in"},
  };
  Write(Example(), File("a.xml"));
  for (auto const& [change, reason] : cases) {
    Findings other;
    other.documents = 40;
    other.settings = {2, false, 5};
    for (std::size_t id = 1; id <= 3; ++id) other.AddClass(Example().ClassNames()[id]);
    change(other);
    Write(other, File("b.xml"));
    std::string const why = WhyNot({File("a.xml"), File("b.xml")});
    EXPECT_NE(why.find(reason), std::string::npos) << reason << ": " << why;
  }
}

}  // namespace
}  // namespace classify
