#include "zam/foundation/res_mgr.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "tests/support/scoped_variable.h"
#include "tests/support/temporary_folder.h"
#include "zam/foundation/satellite_file.h"
#include "zam/platform/unicode.h"

namespace ZaM {
namespace {

/// A module with built-in texts in a folder of its own, and a locale that says nothing.
class ResMgrTest : public testing::Test {
 protected:
  void AddSatellite(std::string const& language, wstring const& text) const {
    folder.Write(language + "/app.lng", detail::EncodeSatellite({{1, text}}));
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
    std::string setting, lang;
    std::vector<std::string> folders;
    std::string language;
    std::optional<std::string> loaded = std::nullopt;  // the folder of the satellite
    std::string list = {};                             // LANGUAGE
  } const cases[] = {
      // The variable's whole value, then what stands before its first '-'.
      {"de-DE", "", {"de-DE", "de"}, "de-DE", "de-DE"},
      {"de-DE", "", {"de"}, "de", "de"},
      {"zh-Hans-CN", "", {"zh-Hans"}, "en"},
      {"zh-Hans-CN", "", {"zh-Hans", "zh"}, "zh", "zh"},
      // A variable that is set decides alone.
      {"xx", "de_DE", {"de"}, "en"},
      // No way out of the module's folder.
      {"../out", "de_DE", {"../out", "de"}, "en"},
      {"..", "", {".."}, "en"},
      {"de/sub", "", {"de/sub"}, "en"},
      {"de-../x", "", {"de"}, "de", "de"},
      // Longer than the field, and longer than a variable may be.
      {"a name of 16 xxx", "", {"a name of 16 xxx"}, "a name of 16 xx", "a name of 16 xxx"},
      {"fourteen here " + emoji, "", {"fourteen here " + emoji}, "fourteen here ", "fourteen here " + emoji},
      {"de-" + std::string(1020, 'x'), "", {"de"}, "de", "de"},
      {"de-" + std::string(1021, 'x'), "", {"de"}, "en"},
      // The system's language where the variable says nothing.
      {"", "de_DE.UTF-8", {"de"}, "de", "de"},
      {"", "ja_JP", {"ja", "en"}, "en"},
      // A list of languages before it, as gettext takes it.
      {"", "de_DE.UTF-8", {"de", "nl"}, "nl", "nl", "sv:nl_BE.UTF-8:de"},
      {"", "ja_JP", {"pt-BR", "pt"}, "pt-BR", "pt-BR", ":pt_BR@x"},
      {"", "de_DE", {"de", "fr"}, "en", {}, "en_GB:fr"},
      {"", "de_DE", {"de"}, "en", {}, "sv"},
      {"", "de_DE", {"de"}, "de", "de", ""},
      {"", "C.UTF-8", {"de"}, "en", {}, "de"},
      {"xx", "de_DE", {"de"}, "en", {}, "de"},
  };
  for (auto const& row : cases) {
    test::TemporaryFolder const around;
    for (auto const& name : row.folders) {
      around.Write("folder/" + name + "/app.lng", detail::EncodeSatellite({{1, platform::Utf16FromUtf8(name)}}));
    }
    SCOPED_TRACE(row.setting + " " + row.lang);
    test::ScopedVariable const locale("LANG", row.lang), preferred("LANGUAGE", row.list);
    TextModule const owner(around.Path().u16string() + u"/folder/app.mod", {{1, u"built in"}});
    ResMgr resources = Initialised(&owner, row.setting);
    EXPECT_EQ(platform::Utf8FromUtf16(resources.GetLanguage()), row.language);
    EXPECT_EQ(platform::Utf8FromUtf16(resources.GetString(1)), row.loaded.value_or("built in"));
    EXPECT_EQ(resources.GetResourceHandle() == &owner, !row.loaded);
  }
}

TEST_F(ResMgrTest, FindsTheSatelliteByTheModulesPath) {
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
    folder.Write(satellite.empty() ? "de/app.lng" : satellite, detail::EncodeSatellite({{1, u"found"}}));
    TextModule const owner(path, {{1, u"own"}});
    EXPECT_EQ(Initialised(&owner, "de").GetString(1), satellite.empty() ? u"own" : u"found") << satellite;
  }
  ResMgr none = Initialised(nullptr, "de");
  EXPECT_EQ(none.GetString(1), u"Resource string #1 not found!");
  EXPECT_EQ(none.GetLanguage(), wstring(u"en"));
}

TEST_F(ResMgrTest, LooksEachTextUpInTheSatelliteAndThenInTheModule) {
  AddSatellite("de", u"eingebaut %s");
  folder.Write("de-AT/app.lng", detail::EncodeSatellite({{1, u"cut off"}}).substr(0, 60));  // counts as absent
  ResMgr const resources = Initialised(&module, "de-AT");
  EXPECT_TRUE(resources.GetString(1, u"a") == u"eingebaut a");
  EXPECT_TRUE(resources.GetString(3) == u"100%");
  EXPECT_TRUE(resources.GetResourceHandle()->GetPath() == folder.Path().u16string() + u"\\de\\app.lng");
}

TEST_F(ResMgrTest, FormatsWithTheArgumentsBeforeTheFirstNull) {
  ResMgr const resources = Initialised(&module, "");
  std::int32_t const one = 1, two = -2;
  unsigned int const large = 4294967295;
  std::pair<wstring, wstring> const cases[] = {
      {resources.GetString(1, nullptr), u"built-in (null)"},
      {resources.GetString(5, u"a", u"b", u"c"), u"a b c"},
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
  EXPECT_TRUE(survivor.GetString(1) == u"German");
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
  ASSERT_EQ(resources->GetString(1), u"German");

  // A handle is never left without its owner.
  ResMgr assigned;
  assigned.Init(&module);
  HINSTANCE const former = assigned.GetResourceHandle();
  test::FailEachAllocation([&] { assigned = *resources; }, [&] { EXPECT_EQ(assigned.GetResourceHandle(), former); });
}

}  // namespace
}  // namespace ZaM
