#include "zam/platform/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/temporary_folder.h"

namespace ZaM::platform {
namespace {

TEST(ReadFile, GivesTheBytesOfAFileUpToTheLimitAndNothingElse) {
  test::TemporaryFolder const folder;
  auto const read = [&](std::u16string const& name, std::size_t limit) {
    return ReadFile(folder.Wide("") + name, limit);
  };
  std::string const bytes("\0a\r\n\xFF", 5), large(100'000, 'x');
  folder.Write("B\xC3\xA4r/file", bytes);
  folder.Write("large", large);
  ASSERT_EQ(mkfifo((folder.Path() / "pipe").c_str(), 0600), 0);
  for (char16_t const* const name : {u"B\u00E4r/file", u"B\u00E4r\\file"}) EXPECT_EQ(read(name, 5), bytes);
  EXPECT_EQ(read(u"B\u00E4r/file", 4), std::nullopt);
  EXPECT_EQ(read(u"large", 100'000), large);
  for (char16_t const* const name : {u"missing", u"B\u00E4r", u"pipe"}) EXPECT_EQ(read(name, 100), std::nullopt);
  EXPECT_EQ(read(std::u16string(u"large\0.x", 8), 100'000), std::nullopt) << "the path doesn't end at a zero";
}

}  // namespace
}  // namespace ZaM::platform
