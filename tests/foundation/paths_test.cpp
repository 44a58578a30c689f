#include "zam/foundation/paths.h"

#include <gtest/gtest.h>

#include <string>

namespace ZaM {
namespace {

TEST(PathsTest, CutsAtTheLastBackslashAlone) {
  struct {
    wstring path, folder, name;
  } const cases[] = {{u"a\\b\\c.txt", u"a\\b", u"c.txt"}, {u"c.txt", u"", u"c.txt"}, {u"a/b/c.txt", u"", u"a/b/c.txt"},
                     {u"a\\b\\", u"a\\b", u""},           {u"\\x", u"", u"x"},       {u"", u"", u""}};
  for (auto const& [path, folder, name] : cases) {
    EXPECT_TRUE(GetFolder(path) == folder && ZamGetDirectoryFromFilename(path) == folder);
    EXPECT_TRUE(GetPureFileName(path) == name);
  }
}

TEST(PathsTest, ComparesFoldersWithoutCaseAndAtAnyLength) {
  EXPECT_TRUE(CheckFolder(u"C:\\Data\\x.txt", u"c:\\DATA"));
  EXPECT_TRUE(CheckFolder(u"\u00C4\\x", u"\u00E4"));
  EXPECT_FALSE(CheckFolder(u"C:\\Data\\x.txt", u"c:\\DATA\\"));
  EXPECT_FALSE(CheckFolder(u"C:\\Data\\x.txt", u"c:\\DAT"));
  EXPECT_TRUE(CheckFolder(u"x.txt", u""));
  EXPECT_TRUE(CheckFolder(wstring(1000, u'a') + u"\\x", wstring(1000, u'A')));
}

TEST(PathsTest, TellsWhatTwoPathsHaveInCommonAndTheWayBetweenThem) {
  struct {
    wstring a, b, prefix, way;
  } const cases[] = {{u"C:\\a\\b", u"c:\\A\\c\\d", u"C:\\a", u"..\\c\\d"},
                     {u"C:\\a\\b", u"C:\\a\\b", u"C:\\a\\b", u"."},
                     {u"C:\\a", u"C:\\a\\b\\c", u"C:\\a", u".\\b\\c"},
                     {u"C:\\a\\b\\", u"C:\\a", u"C:\\a", u".."},
                     {u"C:\\ab", u"C:\\ac", u"C:\\", u"..\\ac"},
                     {u"\\a\\b", u"\\c", u"\\", u"..\\..\\c"},
                     {u"\\\\s\\a\\x", u"\\\\s\\a\\y", u"\\\\s\\a", u"..\\y"},
                     {u"\\\\s\\x", u"\\\\t\\x", u"", u""},
                     {u"\\\\s\\x", u"\\s\\x", u"", u""},
                     {u"C:\\a", u"D:\\a", u"", u""},
                     {u"a\\b", u"a\\c", u"a", u"..\\c"},
                     {u"a\\\\b", u"a\\\\c", u"a", u"..\\c"},
                     {u"a", u"b", u"", u""},
                     {u"", u"", u"", u""}};
  for (auto const& [a, b, prefix, way] : cases) {
    wchar result[260] = {u'?'};
    EXPECT_TRUE(ZamPathCommonPrefix(a, b, result));
    EXPECT_TRUE(result == prefix) << testing::PrintToString(a) << testing::PrintToString(wstring(result));
    EXPECT_TRUE(ZamPathRelativePathTo(result, a, b));
    EXPECT_TRUE(result == way) << testing::PrintToString(a) << testing::PrintToString(wstring(result));
  }
}

TEST(PathsTest, StaysInsideTheBuffer) {
  for (std::size_t const length : {259u, 260u, 5000u}) {
    wstring const path(length, u'a');
    wstring buffer(261, u'#');
    ZamPathCommonPrefix(path, path, buffer.data());
    EXPECT_TRUE(wstring(buffer.c_str()) == (length < 260 ? path : u""));
    ZamPathRelativePathTo(buffer.data(), u"x", u"x\\" + path);
    EXPECT_EQ(wstring(buffer.c_str()).size(), 0u) << "with `.\\` in front even the first is too long";
    EXPECT_TRUE(buffer[260] == u'#');
  }
  EXPECT_TRUE(ZamPathCommonPrefix(u"a", u"a", nullptr));
}

}  // namespace
}  // namespace ZaM
