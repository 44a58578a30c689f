// Everything in the library that writes a file, and what is there where it can't.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <random>
#include <sstream>

#include "tests/algorithms/pca_fixture.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/files_in.h"
#include "tests/support/temporary_folder.h"

namespace ZaM::test {
namespace {

namespace fs = std::filesystem;

constexpr std::int32_t saidFalse = -2;  // where a result reports, and no exception

struct Writer {
  char const* name;
  std::function<std::int32_t(wstring const& path)> write;  // 0 where it says that all is written
  std::int32_t onDenied;
  std::int32_t onFull;
  bool leavesFront = true;  // rather than nothing
};

/// Of a bool.
std::int32_t Said(bool succeeded) {
  return succeeded ? 0 : saidFalse;
}

/// A file stream that passes on each write at once.
std::unique_ptr<std::ofstream> OpenUnbuffered(wstring const& path) {
  auto stream = std::make_unique<std::ofstream>();
  stream->rdbuf()->pubsetbuf(nullptr, 0);
  stream->open(fs::path(path), std::ios::binary);
  return stream;
}

class WritersTest : public ::testing::Test {
 protected:
  /// Writers of some hundred bytes, or of as many as no buffer holds.
  std::vector<Writer> Writers(bool isLarge) {
    std::mt19937 random(1);
    wstring text;
    for (int i = 0; i < (isLarge ? 40'000 : 20); ++i) text += static_cast<wchar>(0x4E00 + random() % 9999);
    Ref<XmlNode> const former(tree.GetRoot());
    tree.SetRoot(XmlNode::Create(u"a"));
    tree.GetRoot()->AddSubNodeText(u"b", text);
    result->SetResultItem(2, 0.5F, ResultTypeScored);
    fs::create_directories(sources.Path() / "folder");
    sources.Write("folder/file", std::string(isLarge ? 300'000 : 50, 'x'));
    StoredModel model = {1, 10, isLarge ? 10'000u : 3u, 0, 0, 1.0, 0.5, {}, {}, {}, {}};
    SetSizes(model);
    std::stringstream stored(ToBytes(model));
    EXPECT_TRUE(analyzer.Load(&stored));

    auto const writeTree = [this](int compression) {
      return [=, this](wstring const& path) {
        tree.SetCompression(compression);
        try {
          return Said(tree.Write(path));
        } catch (FileIOException const& failure) {
          EXPECT_EQ(failure.GetPathname(), path);
          return failure.GetErrorId();
        }
      };
    };
    auto const writeStream = [this, text](StorageType type) {
      return [=, this](wstring const& path) {
        bool isWritten = false;
        std::int32_t const id = FailureId([&] {
          ZamXmlOutStream stream(type, path);
          stream.CreateNode("a");
          stream.AddText(text);
          result->Save("r", &stream);
          stream.CloseNode("a");
          stream.Close();
          isWritten = stream.IsWritten();
        });
        return id != 0 ? id : Said(isWritten);
      };
    };
    return {
        {"plain tree", writeTree(0), 2002, 2001},
        {"gzip tree", writeTree(9), 2002, 2001},
        {"plain stream", writeStream(StorageFile), saidFalse, saidFalse},
        {"gzip stream", writeStream(StorageCompressed), 2002, saidFalse},
        {"values",
         [text](wstring const& path) {
           return FailureId([&, copy = text]() mutable {
             auto const stream = OpenUnbuffered(path);
             StreamHelper::WriteBool(stream.get(), true);
             StreamHelper::WriteDouble(stream.get(), 1.5);
             StreamHelper::WriteString(stream.get(), copy);
           });
         },
         2001, 2001},
        {"model", [this](wstring const& path) { return Said(analyzer.Save(OpenUnbuffered(path).get())); }, saidFalse,
         saidFalse},
        {"copy", [this](wstring const& path) { return Said(ZamCopyFile(sources.Wide("folder/file"), path, false)); },
         saidFalse, saidFalse, false},
        {"copies",
         [this](wstring const& path) {
           return Said(CopyFiles(sources.Wide("folder"), fs::path(path).parent_path().u16string(), u"*", false, true));
         },
         saidFalse, saidFalse, false},
    };
  }

  /// Runs `checks` in a process that may give up rights.
  static void InChild(std::function<void()> const& checks) {
    pid_t const child = fork();
    if (child == 0) {
      checks();
      _exit(HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "see above";
  }

  TemporaryFolder const sources;
  TemporaryFolder const folder;
  XmlTree tree;
  Ref<FullResult> const result{FullResult::Create()};
  PcaAnalyzer analyzer;
};

TEST_F(WritersTest, TellOfAFullDisk) {
  for (bool const isLarge : {false, true}) {
    for (Writer const& writer : Writers(isLarge)) {
      if (writer.leavesFront) {
        EXPECT_EQ(writer.write(u"/dev/full"), writer.onFull) << writer.name;
      }
    }
  }
}

TEST_F(WritersTest, LeaveFoldersAndFilesAloneThatTheyMayNotWrite) {
  bool const isRoot = geteuid() == 0;
  folder.Write("file", "kept");
  fs::permissions(folder.Path() / "file", fs::perms(0444));
  fs::permissions(folder.Path(), fs::perms(0555));
  fs::permissions(sources.Path(), fs::perms(0755));
  std::vector<Writer> const writers = Writers(false);
  InChild([&] {
    ASSERT_TRUE(!isRoot || (setgid(65534) == 0 && setuid(65534) == 0));
    for (Writer const& writer : writers) {
      EXPECT_EQ(writer.write(folder.Wide("new")), writer.onDenied) << writer.name;
      // A copy makes a file of its own writable first.
      if (isRoot || writer.leavesFront) {
        EXPECT_EQ(writer.write(folder.Wide("file")), writer.onDenied) << writer.name;
      }
    }
  });
  EXPECT_EQ(folder.Bytes("file"), "kept");
  EXPECT_EQ(FilesIn(folder.Path()), 1);
  fs::permissions(folder.Path(), fs::perms(0755));
}

TEST_F(WritersTest, CopyWholeFilesOrNoneWhereMemoryRunsOut) {
  wstring const source = sources.Write("file", "bytes").u16string();
  wstring const target = folder.Wide("file");
  std::ifstream others[10];  // longer numbers of open files, whose text needs memory
  for (std::ifstream& other : others) other.open("/dev/null");
  auto const openFiles = FilesIn("/proc/self/fd");
  bool copied = false;
  auto const isAllOrNothing = [&] {
    EXPECT_TRUE(!copied && (FilesIn(folder.Path()) == 0 || folder.Bytes("file") == "bytes"));
    fs::remove(folder.Path() / "file");
    EXPECT_EQ(FilesIn("/proc/self/fd"), openFiles);
  };
  FailEachAllocation([&] { copied = ZamCopyFile(source, target, false); }, isAllOrNothing, {.ids = {0}});
  EXPECT_EQ(folder.Bytes("file"), "bytes");
}

TEST_F(WritersTest, LeaveTheFrontOfAFileThatAnywhereGrowsTooLarge) {
  for (bool const isLarge : {false, true}) {
    for (Writer const& writer : Writers(isLarge)) {
      InChild([&] {
        SCOPED_TRACE(std::string(writer.name) + (isLarge ? ", large" : ""));
        // Without this the system would end the process.
        std::signal(SIGXFSZ, SIG_IGN);
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
          EXPECT_EQ(fs::exists(folder.Path() / "file"), writer.leavesFront) << limit;
          if (writer.leavesFront) {
            EXPECT_TRUE(folder.Bytes("file") == whole.substr(0, limit)) << limit;
          }
          EXPECT_LE(FilesIn(folder.Path()), 1) << limit;
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
