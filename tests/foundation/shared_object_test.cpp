// The shared object as programs and plugins load it: its texts, with the satellites beside it, and what is left of it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/temporary_folder.h"
#include "zam/foundation/library_texts.h"
#include "zam/foundation/messages.h"
#include "zam/foundation/placeholder.h"
#include "zam/foundation/satellite_file.h"
#include "zam/platform/files.h"

namespace ZaM {
namespace {

using test::RunProcess;

std::string OutputUnder(std::string const& language, std::string const& libraryFolder) {
  auto const result = RunProcess({"env", "LD_LIBRARY_PATH=" + libraryFolder, "LC_ALL=C",
                                  "Telvo Components Language=" + language, ZAM_TEST_SENTENCES});
  EXPECT_EQ(result.exitCode, 0) << result.output;
  return result.output;
}

std::string Lines(std::string const& sentence, std::string const& lastSentence) {
  return "construction: " + sentence + "\nmain: " + sentence + "\ndestruction: " + sentence +
         "\nafter the library: " + lastSentence + "\n";
}

TEST(LibraryTexts, AreInTheUsersLanguageAtEveryStageOfAProcess) {
  std::string const german = "Nicht gen\xC3\xBCgend Arbeitsspeicher", english = "Out of memory";
  EXPECT_EQ(OutputUnder("de", ZAM_TEST_LIBRARY_FOLDER), Lines(german, english));
  EXPECT_EQ(OutputUnder("de-AT", ZAM_TEST_LIBRARY_FOLDER), Lines(german, english));
  EXPECT_EQ(OutputUnder("xx", ZAM_TEST_LIBRARY_FOLDER), Lines(english, english));
}

TEST(LibraryTexts, AreThereInEveryLanguageAndFitTheirSentences) {
  // The sentences of some classes are cut to 127 units; 18 are left for what they name.
  std::set<std::string_view> const shortClasses = {"OutOfBoundsException", "XMLFormatException", "XmlException"};
  std::set<detail::Message> shortSentences = {detail::Message::XmlFormat, detail::Message::UnknownXmlError};
#define ZAM_ERROR(name, id, of, withDetail, withoutDetail, when) \
  if (shortClasses.contains(#of)) shortSentences.insert({detail::Message::withDetail, detail::Message::withoutDetail});
#include "zam/foundation/errors.def"
#undef ZAM_ERROR
  int languages = 0;
  for (auto const& entry : std::filesystem::directory_iterator(ZAM_TEST_LIBRARY_FOLDER "/zam")) {
    auto const bytes = platform::ReadFile((entry.path() / "zam.lng").u16string(), detail::satelliteLimit);
    auto const texts = bytes ? detail::DecodeSatellite(*bytes) : std::nullopt;
    if (!texts) continue;
    ++languages;
    for (auto const& [id, english] : detail::BuiltInTexts()) {
      auto const own = texts->find(id);
      ASSERT_TRUE(own != texts->end()) << entry.path() << " lacks " << id;
      EXPECT_TRUE(detail::PlaceholderKinds(own->second) == detail::PlaceholderKinds(english))
          << entry.path() << ' ' << id;
      EXPECT_EQ(own->second.ends_with(u' '), english.ends_with(u' ')) << entry.path() << ' ' << id;
      EXPECT_LE(own->second.size(), shortSentences.contains(detail::Message{id}) ? 127u - 18 : 1023u)
          << entry.path() << ' ' << id;
    }
  }
  EXPECT_EQ(languages, 6);
  EXPECT_TRUE(detail::LibraryModule()->FindText(103).empty()) << "between two that are there";
}

TEST(LibraryTexts, FollowAnInstalledLibraryWhereverItIsMoved) {
  test::TemporaryFolder const folder;
  std::filesystem::path const installed = folder.Path() / "in stalled", moved = folder.Path() / "moved \xC3\xA4";
  for (char const* const part : {"zam", "translations"}) {
    auto const result = RunProcess(
        {ZAM_TEST_CMAKE, "--install", std::string(ZAM_TEST_BINARY_FOLDER "/") + part, "--prefix", installed.string()});
    ASSERT_EQ(result.exitCode, 0) << result.output;
  }
  std::filesystem::rename(installed, moved);
  std::filesystem::path const libraryFolder = moved / ZAM_TEST_LIBRARY_INSTALL_FOLDER;
  EXPECT_TRUE(OutputUnder("de", libraryFolder).starts_with("construction: Nicht"));

  // A sentence of its own proves that the satellite beside this library was read, not that of the build tree.
  folder.Write(libraryFolder / "zam/de/zam.lng", detail::EncodeSatellite({{505, u"umgezogen"}}));
  EXPECT_EQ(OutputUnder("de", libraryFolder), Lines("umgezogen", "Out of memory"));
}

/// How many parts of the process's memory belong to files whose names hold `name`, or to any where it is empty.
int CountMaps(std::string const& name) {
  std::ifstream maps("/proc/self/maps");
  int count = 0;
  for (std::string line; std::getline(maps, line);) count += line.find(name) != line.npos ? 1 : 0;
  return count;
}

int UsePlugin() {
  void* const plugin = dlopen(ZAM_TEST_PLUGIN, RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(plugin, nullptr) << dlerror();
  if (plugin == nullptr) return 0;
  auto* const use = reinterpret_cast<int (*)()>(dlsym(plugin, "UseTheLibrary"));
  int const used = use();
  EXPECT_GT(CountMaps("libzam.so"), 0);
  dlclose(plugin);
  return used;
}

TEST(Unloading, LeavesNothingOfTheLibrary) {
  EXPECT_EQ(UsePlugin(), 1);
  EXPECT_EQ(CountMaps("libzam.so"), 0);
  for (int i = 0; i < 10; ++i) UsePlugin();
  int const before = CountMaps("");
  for (int i = 0; i < 100; ++i) ASSERT_EQ(UsePlugin(), 1);
  EXPECT_LE(CountMaps(""), before + 50);  // sanitizers map a few of their own
  EXPECT_EQ(CountMaps("libzam.so"), 0);
}

TEST(Versions, ShareNothingInOneProcess) {
  void* plugins[] = {dlopen(ZAM_TEST_PLUGIN, RTLD_NOW | RTLD_GLOBAL),
                     dlopen(ZAM_TEST_NEXT_PLUGIN, RTLD_NOW | RTLD_GLOBAL)};
  ASSERT_TRUE(plugins[0] != nullptr && plugins[1] != nullptr) << dlerror();
  auto const speak = [&](int plugin, char16_t const* language) {
    return reinterpret_cast<int (*)(char16_t const*)>(dlsym(plugins[plugin], "Speak"))(language);
  };
  EXPECT_EQ(speak(0, u"de"), 'd');
  EXPECT_EQ(speak(1, u"fr"), 'f');
  EXPECT_EQ(speak(0, nullptr), 'd') << "the other version has a language of its own";
  EXPECT_TRUE(CountMaps("libzam.so") > 0 && CountMaps("libzam_next.so") > 0);
  for (void* const plugin : plugins) dlclose(plugin);
  EXPECT_EQ(CountMaps("libzam"), 0);
}

TEST(Unloading, LeavesRoomForSeveralCopies) {
  test::TemporaryFolder const folder;
  std::vector<void*> copies;
  for (int i = 0; i < 6; ++i) {
    auto const copy = folder.Path() / ("libzam-" + std::to_string(i) + ".so");
    std::filesystem::copy_file(ZAM_TEST_LIBRARY_FOLDER "/libzam.so", copy);
    copies.push_back(dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL));
    ASSERT_NE(copies.back(), nullptr) << i << ": " << dlerror();
  }
  for (void* const copy : copies) dlclose(copy);
}

}  // namespace
}  // namespace ZaM
