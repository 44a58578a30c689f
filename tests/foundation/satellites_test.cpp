#include "zam/foundation/res_mgr.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/child_process.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/scoped_variable.h"
#include "tests/support/temporary_folder.h"
#include "zam/foundation/satellite_file.h"
#include "zam/platform/files.h"
#include "zam/platform/unicode.h"

namespace ZaM {
namespace {

using detail::DecodeSatellite;
using detail::EncodeSatellite;
using detail::satelliteTextLimit;
using detail::TextMap;

/// A module with built-in texts in a folder of its own, and a locale that says nothing.
class ResMgrTest : public testing::Test {
 protected:
  void AddSatellite(std::string const& language, wstring const& text) const {
    folder.Write(language + "/app.lng", EncodeSatellite({{1, text}}));
  }

  /// An instance that was initialised under a value of the variable.
  static ResMgr Initialised(HINSTANCE module, std::string const& setting) {
    test::ScopedVariable const variable("Telvo Components Language", setting);
    ResMgr resources;
    resources.Init(module);
    return resources;
  }

  test::TemporaryFolder const folder;
  TextModule const module{folder.Path().u16string() + u"/app.mod",
                          {{1, u"built-in %s"}, {2, u"%d of %d, %d"}, {3, u"100%"}, {4, u"%%"}, {5, u"%s %s %s"}}};
  test::ScopedVariable const all{"LC_ALL", {}}, messages{"LC_MESSAGES", {}}, lang{"LANG", {}}, list{"LANGUAGE", {}};
};

TEST_F(ResMgrTest, ChoosesTheLanguage) {
  std::string const emoji = "\xF0\x9F\x98\x80";
  struct {
    std::string setting;               // the variable of the library
    std::vector<std::string> locale;   // LANG, LC_MESSAGES, LC_ALL
    std::optional<std::string> list;   // LANGUAGE
    std::vector<std::string> folders;  // with satellites
    std::string language;
    std::optional<std::string> loaded = std::nullopt;  // the folder of the satellite
  } const cases[] = {
      // The variable's whole value, then what stands before its first '-'.
      {"de-DE", {}, {}, {"de-DE", "de"}, "de-DE", "de-DE"},
      {"de-DE", {}, {}, {"de"}, "de", "de"},
      {"zh-Hans-CN", {}, {}, {"zh-Hans"}, "en"},
      {"zh-Hans-CN", {}, {}, {"zh-Hans", "zh"}, "zh", "zh"},
      // A variable that is set decides alone.
      {"xx", {"de_DE"}, "de", {"de"}, "en"},
      // No way out of the module's folder.
      {"..", {"de_DE"}, {}, {"..", "de"}, "en"},
      {"de/sub", {"de_DE"}, {}, {"de/sub", "de"}, "en"},
      // Longer than the field, and longer than a variable may be.
      {"fourteen here " + emoji, {}, {}, {"fourteen here " + emoji}, "fourteen here ", "fourteen here " + emoji},
      {"de-" + std::string(1020, 'x'), {}, {}, {"de"}, "de", "de"},
      {"de-" + std::string(1021, 'x'), {}, {}, {"de"}, "en"},
      // The system's language where the variable says nothing: of the last locale that says something.
      {"", {"de_DE.UTF-8"}, {}, {"de"}, "de", "de"},
      {"", {"de_DE", "fr_CA"}, {}, {"de", "fr"}, "fr", "fr"},
      {"", {"pt@x", "", ""}, {}, {"pt"}, "pt", "pt"},
      {"", {"de_DE", "", "C"}, {}, {"de"}, "en"},
      {"", {"ja_JP"}, {}, {"ja", "en"}, "en"},
      {"", {"deu_DE"}, {}, {"deu", "de"}, "en"},
      // A list of languages before it, as gettext takes it.
      {"", {"de_DE.UTF-8"}, "sv:nl_BE.UTF-8:de", {"de", "nl"}, "nl", "nl"},
      {"", {"ja_JP"}, ":pt_BR@x", {"pt-BR", "pt"}, "pt-BR", "pt-BR"},
      {"", {"de_DE"}, "en_GB:fr", {"de", "fr"}, "en"},
      {"", {"de_DE"}, "", {"de"}, "de", "de"},
      {"", {"C.UTF-8"}, "de", {"de"}, "en"},
  };
  for (auto const& row : cases) {
    test::TemporaryFolder const around;
    for (auto const& name : row.folders) {
      around.Write("folder/" + name + "/app.lng", EncodeSatellite({{1, platform::Utf16FromUtf8(name)}}));
    }
    SCOPED_TRACE("case " + std::to_string(&row - cases) + ": " + row.setting);
    std::vector<std::optional<std::string>> locale(row.locale.begin(), row.locale.end());
    locale.resize(3);
    test::ScopedVariable const one("LANG", locale[0]), two("LC_MESSAGES", locale[1]), three("LC_ALL", locale[2]),
        preferred("LANGUAGE", row.list);
    TextModule const owner(around.Path().u16string() + u"/folder/app.mod", {{1, u"built in"}});
    ResMgr resources = Initialised(&owner, row.setting);
    EXPECT_EQ(platform::Utf8FromUtf16(resources.GetLanguage()), row.language);
    EXPECT_EQ(platform::Utf8FromUtf16(resources.GetString(1)), row.loaded.value_or("built in"));
    EXPECT_EQ(resources.GetResourceHandle() == &owner, !row.loaded);
  }
}

TEST_F(ResMgrTest, FindsTheSatelliteByTheModulesPathAndElseItsOwnTexts) {
  wstring const root = folder.Path().u16string(), filler(1023 - root.size() - 8, u'/');
  std::pair<wstring, std::string> const cases[] = {
      {root + u"/app.mod", "de/app.lng"},
      {root + u"/app.so", "de/applng"},
      {root + u"/sub\\app.mod", "sub/de/app.lng"},
      {root + u"\\sub/app.mod", "sub/de/app.lng"},
      {root + u"/ab", "de/lng"},
      {root + filler + u"/app.mod", "de/app.lng"},
      {root + filler + u"//app.mod", ""},
      {u"", ""},  // too long and missing
  };
  for (auto const& [path, satellite] : cases) {
    folder.Write("de/app.lng", "");
    folder.Write(satellite.empty() ? "de/app.lng" : satellite, EncodeSatellite({{1, u"found"}}));
    TextModule const owner(path, {{1, u"own"}});
    EXPECT_EQ(Initialised(&owner, "de").GetString(1), satellite.empty() ? u"own" : u"found") << satellite;
  }
  ASSERT_EQ(mkdir((folder.Path() / "pt").c_str(), 0700) | mkfifo((folder.Path() / "pt/app.lng").c_str(), 0600), 0);
  AddSatellite("de", u"found");
  folder.Write("de-AT/app.lng", EncodeSatellite({{1, u"cut off"}}).substr(0, 60));
  folder.Write("fr/app.lng", std::string(detail::satelliteLimit + 1, 'x'));
  for (char const* const absent : {"pt", "fr", "de-AT"}) {
    ResMgr const resources = Initialised(&module, absent);
    bool const isGerman = absent[0] == 'd';
    EXPECT_EQ(resources.GetString(1), isGerman ? u"found" : u"built-in %s") << absent;
    EXPECT_EQ(resources.GetString(3), u"100%") << absent;
    EXPECT_EQ(resources.GetResourceHandle()->GetPath().ends_with(u"\\de\\app.lng"), isGerman);
  }
  ResMgr none = Initialised(nullptr, "de");
  EXPECT_EQ(none.GetString(1), u"Resource string #1 not found!");
  EXPECT_EQ(none.GetLanguage(), wstring(u"en"));
}

TEST_F(ResMgrTest, FormatsWithTheArgumentsBeforeTheFirstNull) {
  ResMgr const resources = Initialised(&module, "");
  std::int32_t const one = 1, two = -2;
  unsigned int const large = 4294967295;
  std::pair<wstring, wstring> const cases[] = {
      {resources.GetString(1, nullptr), u"built-in (null)"},
      {resources.GetString(5, u"a", nullptr, u"c"), u"a %s %s"},
      {resources.GetStringL(2, &one, &two, &one), u"1 of -2, 1"},
      {resources.GetStringL(2, &one, nullptr, &two), u"1 of %d, %d"},
      {resources.GetStringT(2, &large), u"-1 of %d, %d"},
      {resources.GetStringUI32(4, nullptr), u"%"},
      {resources.GetString(4), u"%%"},
      {resources.GetString(4, u"a"), u"%"},
      {resources.GetStringL(9, &one), u"Resource string #9 not found!"},
      {ResMgr().GetString(0xFFFFFFFF), u"Resource string #-1 not found!"},
  };
  for (auto const& [actual, expected] : cases) EXPECT_TRUE(actual == expected) << platform::Utf8FromUtf16(actual);
  EXPECT_EQ(resources.GetString(1, wstring(2000, u'x').c_str()).size(), 1023u);
}

TEST_F(ResMgrTest, SatellitesOutliveEveryHandleThatWasGiven) {
  AddSatellite("de", u"German");
  AddSatellite("fr", u"French");
  ResMgr survivor;
  survivor = Initialised(&module, "de");  // from one that is gone then
  HINSTANCE const german = survivor.GetResourceHandle();
  test::ScopedVariable const language("Telvo Components Language", "fr");
  survivor.Init(&module, false);
  EXPECT_TRUE(survivor.GetString(1) == u"French");
  EXPECT_TRUE(german->FindText(1) == u"German") << "a second Init doesn't end what the first one loaded";
  TextModule const bare({}, {{1, u"bare"}});
  survivor.Init(&bare);
  EXPECT_EQ(survivor.GetString(1), u"bare");
}

TEST_F(ResMgrTest, WithoutMemoryTheBuiltInTextsRemain) {
  AddSatellite("de", u"German");
  test::ScopedVariable const language("Telvo Components Language", "de-DE");
  std::optional<ResMgr> resources;
  auto const initialise = [&] { resources.emplace().Init(&module); };
  auto const isGermanOrBuiltIn = [&] {
    bool const german = resources->GetLanguage() == wstring(u"de");
    EXPECT_TRUE(resources->GetString(1) == (german ? u"German" : u"built-in %s"));
    resources.reset();
  };
  EXPECT_GT(test::FailEachAllocation(initialise, isGermanOrBuiltIn, {.ids = {0}, .mayKeepMemory = true}), 5U);
  // A handle is never left without its owner.
  ResMgr assigned;
  assigned.Init(&module);
  HINSTANCE const former = assigned.GetResourceHandle();
  test::FailEachAllocation([&] { assigned = *resources; }, [&] { EXPECT_EQ(assigned.GetResourceHandle(), former); });
}

TEST(SatelliteFile, HasTheDocumentedBytes) {
  // The example of docs/formats.md.
  std::string const bytes = std::string("ZaMTexts\1\0\0\0\1\0\0\0\2\0\0\0\x18\0\0\0\0\0\2\0J\0a\0\0\0\1\0\xC4\0", 38) +
                            std::string(24, '\0') + "\x83\x1B\xD6\xF8\x2F\xF9\xE4\x7C";
  EXPECT_EQ(EncodeSatellite({{17, u"Ja"}, {40, u""}, {19, u"\u00C4"}}), bytes);
  EXPECT_EQ(DecodeSatellite(bytes), (TextMap{{17, u"Ja"}, {19, u"\u00C4"}}));
}

TEST(SatelliteFile, GivesBackWhatWasStored) {
  for (TextMap const& texts : {TextMap{}, TextMap{{0, u"first"}, {15, u"last of its block"}, {16, u"next block"}},
                               TextMap{{0xFFFFFFFF, {u'a', 0xD800, 0}}, {5, wstring(satelliteTextLimit, u'x')}}}) {
    EXPECT_TRUE(DecodeSatellite(EncodeSatellite(texts)) == texts);
    TextMap longer = texts;
    for (auto& [id, text] : longer) text.append(text.size() == satelliteTextLimit, u'x');
    EXPECT_TRUE(DecodeSatellite(EncodeSatellite(longer)) == texts) << "cut";
  }
}

/// The tool that makes satellites from translation files, run as the build runs it.
class CompileTextsTest : public testing::Test {
 protected:
  /// Compiles a file of these contents, with the options before it.
  test::ProcessResult Compile(std::string const& bytes, std::vector<std::string> words = {}) const {
    words.insert(words.begin(), ZAM_TEST_COMPILE_TEXTS);
    words.push_back(folder.Write("in.po", bytes).string());
    words.push_back(output.string());
    return test::RunProcess(words);
  }

  std::optional<TextMap> Compiled() const {
    return DecodeSatellite(platform::ReadFile(output.u16string(), detail::satelliteLimit).value_or(""));
  }

  test::TemporaryFolder const folder;
  std::filesystem::path const output = folder.Path() / "out.lng";
};

TEST_F(CompileTextsTest, TakesTheFormThatEditorsWrite) {
  auto const result = Compile(
      "msgid \"\"\r\nmsgstr \"\"\r\n\"Content-Type: text/plain; charset=UTF-8\\n\"\r\n\r\n"
      R"(#. for the translator
  msgctxt "505"
msgid "Out "
    "of memory"
msgstr ""
"\"Speicher\" "
"füllt\tsich\\"
#, c-format, fuzzy
msgctxt "601"
msgid "Unknown XML error."
msgstr "Geraten"

msgctxt "603"
msgid "File is already opened."
msgstr ""
#~ msgctxt "1"
msgctxt "131"
msgid "ZaM exception number %ld"
msgstr "Nummer %5i, 100%%")");
  EXPECT_EQ(result.exitCode, 0) << result.output;
  EXPECT_EQ(Compiled(), (TextMap{{505, u"\"Speicher\" f\u00FCllt\tsich\\"}, {131, u"Nummer %5i, 100%%"}}));
}

TEST_F(CompileTextsTest, RefusesWhatWouldGoWrongLater) {
  auto const entry = [](std::string const& id, std::string const& source, std::string const& translation) {
    return "msgctxt \"" + id + "\"\nmsgid \"" + source + "\"\nmsgstr \"" + translation + "\"\n";
  };
  std::string const sound = entry("505", "Out of memory", "Speicher");
  std::string const second = sound + "msgctxt \"601\"\n";
  std::pair<std::string, std::string> const cases[] = {
      {entry("998", "", "") + entry("999", "", ""), ":4: text 999: there is no built-in text"},  // every fault at once
      {entry("505", "Out of memory", "") + sound, ":4: text 505: stands already in line 1"},
      {entry("505", "Out of Memory", "Speicher"), ":1: text 505: its msgid isn't the built-in text"},
      {entry("4294967801", "Out of memory", "y"), ": its msgctxt must be the number"},  // 505 modulo 2^32
      {"msgid \"x\"\nmsgstr \"y\"\n", ":1: its msgctxt must be the number"},

      // Placeholders that differ in number, kind or order.
      {entry("402", "Could not read file: %s", "zu 100% %s"), ":1: text 402: its placeholders differ"},
      {entry("509", "Error in %s, Function %s: %s (0x%x)", "%x %s %s %s"), ":1: text 509: its placeholders differ"},
      {entry("505", "Out of memory", "voll zu 100%"), ":1: text 505: its placeholders differ"},

      // Files that aren't PO.
      {second + "msgid \"Unknown XML error.\n", ":5: text 601: a string without its closing quote"},
      {second + "msgid \"a\" b\n", ":5: text 601: text behind a string"},
      {second + "msgid \"\\q\"\n", ":5: text 601: unknown escape \"\\q\""},
      {second + "msgid_plural \"a\"\n", ":5: text 601: unknown keyword \"msgid_plural\""},
      {second + "msgstr \"a\"\n", ":5: text 601: msgstr without a msgid"},
      {second + "msgid \"a\"\n", ": text 601: an entry without its msgstr"},
      {second + "msgid \"Gr\xFC\"\n", ":5: text 601: not UTF-8"},
      {second + std::string("msgid \"\0\"\n", 10), ":5: text 601: a string with a zero"},
      {sound + "\n\"lost\"\n", ":5: a string without a keyword"},
  };
  for (auto const& [bytes, error] : cases) {
    auto const result = Compile(bytes);
    EXPECT_EQ(result.exitCode, 1) << bytes;
    EXPECT_NE(result.output.find((folder.Path() / "in.po").string() + ":"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(error), std::string::npos) << error << "\n" << result.output;
    EXPECT_FALSE(std::filesystem::exists(output)) << bytes;
  }
}

TEST_F(CompileTextsTest, TakesAProgramsOwnTextsAndItsOwnTemplate) {
  std::string const texts = folder.Write("texts.po", "msgctxt \"7\"\nmsgid \"Sorting %s\"\nmsgstr \"\"\n").string();
  auto const result = Compile("msgctxt \"7\"\nmsgid \"Sorting %s\"\nmsgstr \"%s wird sortiert\"\n", {"--texts", texts});
  EXPECT_EQ(result.exitCode, 0) << result.output;
  EXPECT_EQ(Compiled(), (TextMap{{7, u"%s wird sortiert"}}));

  std::string const built = test::RunProcess({ZAM_TEST_COMPILE_TEXTS, "--template"}).output;
  EXPECT_NE(built.find("of the \\\"%s\\\" classifier.\"\nmsgstr \"\"\n"), std::string::npos);
  EXPECT_EQ(Compile(built, {"--texts", texts}).exitCode, 1);
  EXPECT_EQ(Compile(built).exitCode, 0);
  EXPECT_EQ(Compiled(), TextMap{});
}

TEST_F(CompileTextsTest, SaysWhatItCannotReadOrWrite) {
  std::string const tool = ZAM_TEST_COMPILE_TEXTS, here = folder.Path(), in = folder.Write("in.po", "");
  std::pair<std::vector<std::string>, std::string> const cases[] = {
      {{tool, here, output}, here + ": can't be read\n"},
      {{tool, in, here}, here + ": can't be written\n"},
      {{tool, in, in}, in + ": is the translation itself\n"},
      {{"/bin/sh", "-c", tool + " --template > /dev/full"}, "the template can't be written\n"},
  };
  for (auto const& [words, said] : cases) {
    auto const result = test::RunProcess(words);
    EXPECT_TRUE(result.exitCode == 1 && result.output == said) << result.exitCode << result.output;
  }
  EXPECT_EQ(test::RunProcess({tool, in}).exitCode, 2);
}

}  // namespace
}  // namespace ZaM
