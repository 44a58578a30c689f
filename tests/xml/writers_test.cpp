// All that writes a document into a file, and what is there where it can't.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <random>

#include "tests/support/failing_allocation.h"
#include "tests/support/files_in.h"
#include "tests/support/temporary_folder.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

namespace fs = std::filesystem;

constexpr std::int32_t givesFalse = -2;  // where a result reports, and no exception

struct Writer {
  char const* name;
  std::function<std::int32_t(wstring const& path)> write;  // 0 where it tells that all is written
  std::int32_t onDenied;
  std::int32_t onFull;
};

/// Writers of some hundred bytes, or of as many as no buffer holds.
std::vector<Writer> Writers(bool isLarge) {
  std::mt19937 random(1);
  wstring text;
  for (int i = 0; i < (isLarge ? 40'000 : 20); ++i) text += static_cast<wchar>(0x4E00 + random() % 9999);
  auto const writeTree = [text](int compression) {
    return [=](wstring const& path) {
      XmlTree tree;
      tree.SetRoot(XmlNode::Create(u"a"))->AddSubNodeText(u"b", text);
      tree.SetCompression(compression);
      return FailureId([&] { EXPECT_TRUE(tree.Write(path)); });
    };
  };
  auto const writeStream = [text](StorageType type) {
    return [=](wstring const& path) {
      bool isWritten = false;
      std::int32_t const id = FailureId([&] {
        ZamXmlOutStream stream(type, path);
        stream.AddSubNodeText("a", text);
        stream.Close();
        isWritten = stream.IsWritten();
      });
      return id == 0 && !isWritten ? givesFalse : id;
    };
  };
  return {{"plain tree", writeTree(0), 2002, 2001},
          {"gzip tree", writeTree(9), 2002, 2001},
          {"plain stream", writeStream(StorageFile), givesFalse, givesFalse},
          {"gzip stream", writeStream(StorageCompressed), 2002, givesFalse}};
}

/// Runs `checks` in a process that may give up rights.
void InChild(std::function<void()> const& checks) {
  pid_t const child = fork();
  if (child == 0) {
    checks();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << "see above";
}

TEST(XmlWriters, LeaveFoldersAndFilesAloneThatTheyMayNotWrite) {
  TemporaryFolder const folder;
  bool const isRoot = geteuid() == 0;
  fs::permissions(folder.Write("file", "kept"), fs::perms(0444));
  fs::permissions(folder.Path(), fs::perms(0555));
  InChild([&] {
    ASSERT_TRUE(!isRoot || (setgid(65534) == 0 && setuid(65534) == 0));
    for (Writer const& writer : Writers(false)) {
      for (char const* const path : {"new", "file", "file/file", ""}) {
        EXPECT_EQ(writer.write(folder.Wide(path)), writer.onDenied) << writer.name;
      }
    }
  });
  EXPECT_EQ(folder.Bytes("file"), "kept");
  EXPECT_EQ(FilesIn(folder.Path()), 1);
  fs::permissions(folder.Path(), fs::perms(0755));
}

TEST(XmlWriters, LeaveTheFrontOfAFileThatAnywhereGrowsTooLarge) {
  TemporaryFolder const folder;
  for (bool const isLarge : {false, true}) {
    for (Writer const& writer : Writers(isLarge)) {
      InChild([&] {
        SCOPED_TRACE(std::string(writer.name) + (isLarge ? ", large" : ""));
        std::signal(SIGXFSZ, SIG_IGN);  // without this the system would end the process
        EXPECT_EQ(writer.write(folder.Wide("file")), 0);
        std::string const whole = folder.Bytes("file");
        auto const openFiles = FilesIn("/proc/self/fd");
        std::size_t const stride = isLarge ? whole.size() / 5 + 1 : 1;
        for (std::size_t limit = 0; limit < whole.size(); limit += stride) {
          fs::remove(folder.Path() / "file");
          rlimit former;
          getrlimit(RLIMIT_FSIZE, &former);
          rlimit const lower = {limit, former.rlim_max};
          setrlimit(RLIMIT_FSIZE, &lower);
          std::int32_t const id = writer.write(folder.Wide("file"));
          setrlimit(RLIMIT_FSIZE, &former);
          EXPECT_EQ(id, writer.onFull) << limit;
          EXPECT_TRUE(fs::exists(folder.Path() / "file") && folder.Bytes("file") == whole.substr(0, limit)) << limit;
        }
        EXPECT_EQ(FilesIn("/proc/self/fd"), openFiles);
        EXPECT_EQ(writer.write(folder.Wide("file")), 0);
        EXPECT_TRUE(folder.Bytes("file") == whole);
      });
    }
  }
}

}  // namespace
}  // namespace ZaM::test
