#include "zam/platform/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/temporary_folder.h"

namespace ZaM::platform {
namespace {

class ReadFileTest : public testing::Test {
 protected:
  std::optional<std::string> Read(std::u16string const& name, std::size_t limit = 100) const {
    return ReadFile(folder.Path().u16string() + u"/" + name, limit);
  }

  test::TemporaryFolder folder;
};

TEST_F(ReadFileTest, GivesTheBytesOfAFileUpToTheLimit) {
  std::string const bytes("\0a\r\n\xFF", 5);
  folder.Write("B\xC3\xA4r/file", bytes);
  EXPECT_EQ(Read(u"B\u00E4r/file", 5), bytes);
  EXPECT_EQ(Read(u"B\u00E4r\\file", 5), bytes);
  EXPECT_EQ(Read(u"B\u00E4r/file", 4), std::nullopt);
  folder.Write("large", std::string(100'000, 'x'));
  EXPECT_EQ(Read(u"large", 100'000), std::string(100'000, 'x'));
}

TEST_F(ReadFileTest, GivesNothingForWhatIsNoFile) {
  folder.Write("folder/file", "x");
  ASSERT_EQ(mkfifo((folder.Path() / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(Read(u"missing"), std::nullopt);
  EXPECT_EQ(Read(u"folder"), std::nullopt);
  EXPECT_EQ(Read(u"pipe"), std::nullopt) << "and doesn't wait for its other end";
  EXPECT_EQ(Read(std::u16string(u"folder/file\0.x", 14)), std::nullopt) << "the path doesn't end at a zero";
}

}  // namespace
}  // namespace ZaM::platform
