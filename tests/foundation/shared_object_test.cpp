// The shared object as programs and plugins load it: its texts, with the satellites beside it, and what is left of it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <list>
#include <thread>

#include "tests/support/child_process.h"
#include "tests/support/temporary_folder.h"
#include "zam/foundation/library_texts.h"
#include "zam/foundation/messages.h"
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
  EXPECT_EQ(OutputUnder("de-AT", ZAM_TEST_LIBRARY_FOLDER), Lines("Nicht genügend Arbeitsspeicher", "Out of memory"));
  EXPECT_EQ(OutputUnder("xx", ZAM_TEST_LIBRARY_FOLDER), Lines("Out of memory", "Out of memory"));
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

/// A loaded plugin; without it nothing is left of its library.
class Plugin {
 public:
  explicit Plugin(char const* path, int mode = RTLD_LOCAL) : handle(dlopen(path, RTLD_NOW | mode)) {
    EXPECT_NE(handle, nullptr) << dlerror();
  }
  Plugin(Plugin const&) = delete;
  ~Plugin() {
    if (handle != nullptr) dlclose(handle);
  }

  int Use() const { return reinterpret_cast<int (*)()>(dlsym(handle, "UseTheLibrary"))(); }
  std::string Speak(char16_t const* language) const {
    std::string said;
    reinterpret_cast<void (*)(char16_t const*, std::string&)>(dlsym(handle, "Speak"))(language, said);
    return said;
  }

 private:
  void* const handle;
};

TEST(Language, IsThatOfTheSentencesFromThenOn) {
  Plugin const plugin(ZAM_TEST_PLUGIN);
  wstring const tooLong(2000, u'x');
  std::pair<char16_t const*, std::string> const cases[] = {{u"de", "de: Nicht genügend Arbeitsspeicher"},
                                                           {u"fr", "fr: Mémoire insuffisante"},
                                                           {u"pt_BR", "pt: Memória insuficiente"},
                                                           {u"es", "es: Memoria insuficiente"},
                                                           {u"xx", "es: Memoria insuficiente!"},
                                                           {u"", "es: Memoria insuficiente!"},
                                                           {u"../zam/de", "es: Memoria insuficiente!"},
                                                           {tooLong.c_str(), "es: Memoria insuficiente!"},
                                                           {u"en", "en: Out of memory"}};
  for (auto const& [wanted, said] : cases) EXPECT_EQ(plugin.Speak(wanted), said);

  std::thread reader([&] {
    for (int i = 0; i < 2000; ++i) {
      std::string const sentence = plugin.Speak(nullptr).substr(4);
      EXPECT_TRUE(sentence == "Out of memory" || sentence == "Memoria insuficiente") << sentence;
    }
  });
  for (int i = 0; i < 500; ++i) plugin.Speak(i % 2 == 0 ? u"es" : u"en");
  reader.join();
}

TEST(Unloading, LeavesNothingOfTheLibrary) {
  int before = 0;
  for (int i = 0; i < 110; ++i) {
    if (i == 10) before = CountMaps("");
    ASSERT_EQ(Plugin(ZAM_TEST_PLUGIN).Use(), 1);
    ASSERT_EQ(CountMaps("libzam.so"), 0);
  }
  EXPECT_LE(CountMaps(""), before + 50);  // sanitizers map a few of their own
}

TEST(Versions, ShareNothingInOneProcess) {
  {
    Plugin const present(ZAM_TEST_PLUGIN, RTLD_GLOBAL), next(ZAM_TEST_NEXT_PLUGIN, RTLD_GLOBAL);
    std::string const german = present.Speak(u"de");
    EXPECT_TRUE(next.Speak(u"fr") == "fr: Mémoire insuffisante" && present.Speak(nullptr) == german);
    EXPECT_TRUE(CountMaps("libzam.so") > 0 && CountMaps("libzam_next.so") > 0);
  }
  EXPECT_EQ(CountMaps("libzam"), 0);
}

TEST(Unloading, LeavesRoomForSeveralCopies) {
  test::TemporaryFolder const folder;
  std::list<Plugin> copies;
  for (int i = 0; i < 6; ++i) {
    auto const copy = folder.Path() / ("libzam-" + std::to_string(i) + ".so");
    std::filesystem::copy_file(ZAM_TEST_LIBRARY_FOLDER "/libzam.so", copy);
    copies.emplace_back(copy.c_str());
  }
}

}  // namespace
}  // namespace ZaM
