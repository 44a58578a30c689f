// The library as a part of plugins: loaded, unloaded, and several times in one process.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace ZaM {
namespace {

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
