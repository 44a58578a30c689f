#include "zam/foundation/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "tests/support/scoped_variable.h"
#include "tests/support/temporary_folder.h"
#include "zam/foundation/file_search.h"
#include "zam/foundation/lock_file.h"

namespace ZaM {
namespace {

namespace fs = std::filesystem;

class FilesTest : public testing::Test {
 protected:
  wstring W(fs::path const& name) const { return folder.Wide(name); }
  fs::path P(fs::path const& name) const { return folder.Path() / name; }
  bool Exists(fs::path const& name) const { return fs::exists(fs::symlink_status(P(name))); }
  void SetMode(fs::path const& name, mode_t mode) const { ASSERT_EQ(chmod(P(name).c_str(), mode), 0); }
  bool IsWritable(fs::path const& name) const {
    return (fs::status(P(name)).permissions() & fs::perms::owner_write) != fs::perms::none;
  }

  std::vector<wstring> Found(fs::path const& pattern) const {
    std::vector<wstring> names;
    _wfinddata64i32_t entry = {};
    int const handle = ZamFindFirst(W(pattern), &entry);
    for (bool more = handle != -1; more; more = ZamFindNext(handle, &entry)) names.emplace_back(entry.name);
    EXPECT_FALSE(ZamFindNext(handle, &entry)) << "also when asked again";
    ZamFindClose(handle);
    EXPECT_FALSE(ZamFindNext(handle, &entry));
    std::sort(names.begin() + std::min<std::ptrdiff_t>(2, std::ssize(names)), names.end());
    return names;
  }

  test::TemporaryFolder folder;
};

TEST_F(FilesTest, FindsWhatThePatternMatchesWithTheFoldersOwnEntriesFirst) {
  for (char const* const name : {"b.TXT", "B\xC3\x84r", "ab", ".hidden"}) folder.Write(name, "");
  std::vector<wstring> const everything = {u".", u"..", u".hidden", u"B\u00C4r", u"ab", u"b.TXT"};
  EXPECT_TRUE(Found("*") == everything);
  EXPECT_TRUE(Found("*.*") == everything);
  EXPECT_TRUE(Found("*.txt") == std::vector<wstring>{u"b.TXT"});
  EXPECT_TRUE(Found("b\xC3\xA4?") == std::vector<wstring>{u"B\u00C4r"});
  EXPECT_TRUE(Found("*b*").size() == 3);
  EXPECT_TRUE(Found("a*b*") == std::vector<wstring>{u"ab"});
  EXPECT_TRUE(Found("?") == std::vector<wstring>{u"."});
  for (char const* const none : {"a", "ab?", "missing/*", "ab/*", ""}) EXPECT_TRUE(Found(none).empty()) << none;
}

/// Ends the process with 0 if the search can be used up to the end of static objects that were there before it.
struct LateSearch {
  int handle = -1;
  ~LateSearch() {
    _wfinddata64i32_t entry;
    if (handle == -1) return;
    bool const found = ZamFindNext(handle, &entry);
    ZamFindClose(handle);
    _exit(found ? 0 : 1);
  }
} lateSearch;

TEST_F(FilesTest, SearchesWhileStaticObjectsEnd) {
  auto const searchAndEnd = [this] {
    _wfinddata64i32_t entry;
    lateSearch.handle = ZamFindFirst(W("*"), &entry);
    std::exit(2);
  };
  EXPECT_EXIT(searchAndEnd(), testing::ExitedWithCode(0), "");
}

TEST_F(FilesTest, ClosedSearchesLeaveNothing) {
  for (char const* const name : {"a", "b"}) folder.Write(name, "");
  wstring const pattern = W("*");
  _wfinddata64i32_t entry = {};
  std::ptrdiff_t const before = test::LiveBlocks();
  int const handle = ZamFindFirst(pattern, &entry);
  EXPECT_TRUE(ZamFindNext(handle, &entry));
  ZamFindClose(handle);
  EXPECT_FALSE(ZamFindNext(handle, &entry)) << "though entries were left";
  EXPECT_EQ(test::LiveBlocks(), before);
}

TEST_F(FilesTest, TakesNoNameAwayFromALockThatIsHeld) {
  wstring const path = W("sub/lock");
  std::function<bool()> const operations[] = {
      [&] { return ZamDeleteFile(path); }, [&] { return ZamMoveFile(path, W("moved")); },
      [&] { return ZamMoveFile(path, u"/dev/shm/zam-moved-lock"); }, [&] { return ZamDelTree(W("sub")); }};
  for (auto const& operation : operations) {
    fs::create_directory(P("sub"));
    void* const lock = ZamLockfileCreate(path, 0, 0);
    EXPECT_FALSE(operation());
    EXPECT_EQ(ZamLockfileCreate(path, 0, 0), reinterpret_cast<void*>(-1));
    EXPECT_TRUE(Exists("sub/lock"));
    ZamLockfileRelease(lock);
    folder.Write("sub/lock", "held by nobody");
    EXPECT_TRUE(operation() && !Exists("sub/lock"));
  }
  fs::remove("/dev/shm/zam-moved-lock");
}

TEST_F(FilesTest, TellsTheAttributesOfAnEntryWhoeverAsks) {
  folder.Write("plain", "12345");
  folder.Write(".locked", "");
  SetMode(".locked", 0466);
  fs::create_directory(P("sub"));
  fs::create_directory_symlink("sub", P("link"));
  fs::create_symlink("nowhere", P("loose"));
  struct {
    char const* name;
    std::uint32_t attributes;
  } const cases[] = {{"plain", 0}, {".locked", 0x03}, {"sub", 0x10}, {"link", 0x10}, {"loose", 0}};
  for (auto const& [name, attributes] : cases) {
    _wfinddata64i32_t entry = {};
    int const handle = ZamFindFirst(W(name), &entry);
    EXPECT_GT(handle, 0);
    EXPECT_EQ(entry.attrib, attributes) << name;
    EXPECT_TRUE(entry.size == 5 || wstring(entry.name) != u"plain");
    ZamFindClose(handle);
  }
  ZamFindClose(-1);
}

TEST_F(FilesTest, ComparesWholeSecondsAndAsksTheSecondFileFirst) {
  for (char const* const name : {"a", "b"}) folder.Write(name, "");
  auto const time = [&](char const* name, long milliseconds) {
    timespec const times[] = {{0, 0}, {milliseconds / 1000, milliseconds % 1000 * 1'000'000}};
    utimensat(AT_FDCWD, P(name).c_str(), times, 0);
  };
  time("a", 5'900);
  time("b", 5'100);
  EXPECT_FALSE(FileIsNewerByDate(W("a"), W("b")));
  time("a", 6'000);
  EXPECT_TRUE(FileIsNewerByDate(W("a"), W("b")));
  EXPECT_FALSE(FileIsNewerByDate(W("b"), W("a")));
  time("a", 0x1'0000'0007 * 1000L);
  EXPECT_EQ(ZamGetFileTime(W("a")), 7);
  EXPECT_TRUE(FileIsNewerByDate(W("a"), W("b"))) << "by all 64 bits";
  EXPECT_TRUE(FileIsNewerByDate(W("none"), W("none")));
  EXPECT_FALSE(FileIsNewerByDate(W("none"), W("b")));
  EXPECT_EQ(ZamGetFileTime(W("none")), 0);
}

TEST_F(FilesTest, MakesFoldersWithAllAbove) {
  for (char const* const path : {"a\\b/c", "d\\e\\", "d\\e", "f\\\\g"}) {
    EXPECT_TRUE(CreateFolder(W(path)) && ZamFolderExists(W(path))) << path;
  }
  EXPECT_TRUE(CreateFolder(u""));
  folder.Write("file", "");
  EXPECT_FALSE(CreateFolder(W("file")));
  EXPECT_FALSE(CreateFolder(W("file\\sub")));
  EXPECT_TRUE(ZamFileExists(W("file")) && !ZamFolderExists(W("file")) && !ZamFileExists(W("a")));
  wstring const tooLong = W("long") + u"\\" + wstring(1'000'000, u'x');
  EXPECT_FALSE(CreateFolder(tooLong));
  EXPECT_TRUE(CreateFolder(W(std::string(255, 'n')))) << "as long as a name may be";
  EXPECT_EQ(ZamRmDir(W("a")), -1);
  EXPECT_EQ(ZamRmDir(W("a/b/c")), 0);
}

TEST_F(FilesTest, CopiesAFileAndLeavesItWritable) {
  folder.Write("source", "new");
  SetMode("source", 0444);
  EXPECT_TRUE(ZamCopyFile(W("source"), W("fresh"), true));
  EXPECT_TRUE(IsWritable("fresh") && folder.Bytes("fresh") == "new");
  EXPECT_FALSE(FileIsNewerByDate(W("fresh"), W("source"))) << "a copy is as old";
  folder.Write("old", "a longer text");
  SetMode("old", 0444);
  EXPECT_FALSE(ZamCopyFile(W("source"), W("old"), true));
  EXPECT_FALSE(IsWritable("old"));
  EXPECT_TRUE(ZamCopyFile(W("source"), W("old"), false));
  EXPECT_TRUE(IsWritable("old") && folder.Bytes("old") == "new");
  fs::create_directory(P("sub"));
  fs::create_symlink(P("sub/link"), P("nowhere"));
  fs::create_symlink("end", P("sub/link"));
  EXPECT_FALSE(ZamCopyFile(W("source"), W("nowhere"), true) || Exists("sub/end"));
  EXPECT_TRUE(ZamCopyFile(W("source"), W("nowhere"), false) && folder.Bytes("sub/end") == "new");
  EXPECT_TRUE(fs::is_symlink(P("nowhere")) && fs::is_symlink(P("sub/link")));
  fs::create_symlink("circle", P("circle"));
  EXPECT_FALSE(ZamCopyFile(W("source"), W("circle"), false));
  EXPECT_FALSE(ZamCopyFile(W("old"), W("old"), false));
  fs::create_hard_link(P("old"), P("same"));
  EXPECT_FALSE(ZamCopyFile(W("old"), W("same"), false));
  EXPECT_EQ(folder.Bytes("old"), "new") << "copying a file onto itself doesn't empty it";
  ASSERT_EQ(mkfifo(P("pipe").c_str(), 0600), 0);
  for (char const* const bad : {"pipe", "missing", "."}) EXPECT_FALSE(ZamCopyFile(W(bad), W("x"), false)) << bad;
  EXPECT_FALSE(Exists("x"));
  fs::create_directory(P("protected"));
  SetMode("protected", 0555);
  EXPECT_FALSE(ZamCopyFile(W("source"), W("protected"), false) || IsWritable("protected"));
}

TEST_F(FilesTest, CopiesHolesAsHoles) {
  constexpr off_t size = 4 << 20;
  std::string const page(4096, 'd');
  for (std::vector<off_t> const& data : {{}, {0}, {size - 4096}, std::vector<off_t>{1 << 20, 3 << 20}}) {
    folder.Write("source", "");
    fs::resize_file(P("source"), size);
    for (off_t const at : data) std::fstream(P("source")).seekp(at) << page;
    EXPECT_TRUE(ZamCopyFile(W("source"), W("copy"), false));  // the second one onto the first
    struct stat copied = {};
    EXPECT_TRUE(stat(P("copy").c_str(), &copied) == 0 && copied.st_blocks * 512 <= 1 << 17);
    EXPECT_TRUE(folder.Bytes("copy") == folder.Bytes("source"));
  }
  EXPECT_TRUE(ZamCopyFile(u"/proc/cpuinfo", W("copy"), false) && folder.Bytes("copy") != "");  // has no size
}

TEST_F(FilesTest, MovesWithoutReplacingAndDeletesWhatIsReadOnly) {
  folder.Write("a", "a");
  folder.Write("b", "b");
  folder.Write("sub/file", "");
  EXPECT_FALSE(ZamMoveFile(W("a"), W("b")));
  EXPECT_EQ(folder.Bytes("b"), "b");
  EXPECT_TRUE(ZamMoveFile(W("a"), W("sub\\a")) && ZamMoveFile(W("sub"), W("moved")));
  EXPECT_EQ(folder.Bytes("moved/a"), "a");
  SetMode("b", 0444);
  EXPECT_TRUE(ZamDeleteFile(W("b")));
  EXPECT_FALSE(ZamDeleteFile(W("b")) || ZamDeleteFile(W("moved")));
}

TEST_F(FilesTest, MovesFilesAloneToAnotherFileSystem) {
  struct stat here = {}, there = {};
  bool const isOther = stat(folder.Path().c_str(), &here) == 0 && stat("/dev/shm", &there) == 0 &&
                       here.st_dev != there.st_dev && access("/dev/shm", W_OK) == 0;
  if (!isOther) GTEST_SKIP() << "/dev/shm is no other file system, or not for this user";
  test::ScopedVariable const place("TMPDIR", "/dev/shm");
  test::TemporaryFolder const other;
  folder.Write("file", std::string(300'000, 'f'));
  bool const ownersCanBeGiven = chown(P("file").c_str(), 4711, 4712) == 0;
  SetMode("file", 06462);  // more than the process gives to new files
  timespec const times[] = {{0, 0}, {1'000'000, 0}};
  utimensat(AT_FDCWD, P("file").c_str(), times, 0);
  folder.Write("folder/file", "");
  fs::create_symlink("file", P("link"));
  other.Write("taken", "taken");

  for (char const* const name : {"folder", "link", "missing"}) EXPECT_FALSE(ZamMoveFile(W(name), other.Wide("new")));
  EXPECT_FALSE(ZamMoveFile(W("file"), other.Wide("taken")) || fs::exists(other.Path() / "new"));
  EXPECT_TRUE(Exists("folder/file") && Exists("link") && Exists("file") && other.Bytes("taken") == "taken");
  wstring const source = W("file"), target = other.Wide("moved");
  auto const move = [&] {
    if (!ZamMoveFile(source, target)) throw BaseException(1);
  };
  auto const isUnmoved = [&] { EXPECT_TRUE(Exists("file") && !fs::exists(other.Path() / "moved")); };
  EXPECT_GT(test::FailEachAllocation(move, isUnmoved, {.ids = {1}}), 3U);
  EXPECT_FALSE(Exists("file"));
  EXPECT_EQ(other.Bytes("moved"), std::string(300'000, 'f'));
  EXPECT_EQ(ZamGetFileTime(target), 1'000'000);
  struct stat moved = {};
  EXPECT_EQ(stat((other.Path() / "moved").c_str(), &moved), 0);
  EXPECT_EQ(moved.st_mode, S_IFREG | 06462U);
  EXPECT_TRUE(!ownersCanBeGiven || (moved.st_uid == 4711 && moved.st_gid == 4712));
}

TEST_F(FilesTest, CopiesTreesButNothingHiddenAndGoesOnBehindFailures) {
  EXPECT_FALSE(CopyFiles(W("s"), W("t"), u"*", false, true));
  EXPECT_TRUE(CopyFiles(W("s"), W("t"), u"*", true, true)) << "nothing to copy";
  EXPECT_TRUE(Exists("t"));
  for (char const* const name : {"s/a", "s/b", "s/sub/deep/c", "s/.hidden", "s/.folder/d"}) folder.Write(name, "new");
  SetMode("s/b", 0444);
  folder.Write("t/a", "old");
  EXPECT_FALSE(CopyFiles(W("s"), W("t"), u"*", false, false));
  EXPECT_EQ(folder.Bytes("t/a"), "old");
  EXPECT_TRUE(folder.Bytes("t/b") == "new" && IsWritable("t/b") && folder.Bytes("t/sub/deep/c") == "new");
  EXPECT_FALSE(Exists("t/.hidden") || Exists("t/.folder"));
  SetMode("t/a", 0444);
  EXPECT_FALSE(CopyFiles(W("s"), W("t"), u"*", false, true)) << "a read-only target stays";
  EXPECT_EQ(folder.Bytes("t/a"), "old");
  EXPECT_TRUE(CopyFiles(W("s"), W("u"), u"?", true, false));
  EXPECT_FALSE(Exists("u/sub")) << "the pattern is for folders too";
}

TEST_F(FilesTest, CopiesEndWhereLinksOrTheTargetLeadBack) {
  folder.Write("s/a", "a");
  folder.Write("s/sub/b", "b");
  fs::create_directory_symlink("..", P("s/sub/up"));
  fs::create_directory_symlink(".", P("s/self"));
  EXPECT_TRUE(CopyFiles(W("s"), W("s/sub/t"), u"*", true, true));
  EXPECT_EQ(folder.Bytes("s/sub/t/sub/b"), "b");
  EXPECT_FALSE(Exists("s/sub/t/sub/t") || Exists("s/sub/t/self") || Exists("s/sub/t/sub/up"));
  EXPECT_FALSE(CopyFiles(W("s"), W("s"), u"*", true, true));
  EXPECT_EQ(folder.Bytes("s/a"), "a");
}

TEST_F(FilesTest, KeepsNamesThatArentUtf8OrHoldABackslash) {
  std::vector<std::string> const names = {"latin\xE4", "\xFF\xC3", "x\\..\\..\\..\\out", "\xC3\xA4\\",
                                          "\xF0\x9F\x98\x80"};
  for (std::string const& name : names) folder.Write("s/folder\xE4/" + name, name);
  EXPECT_TRUE(CopyFiles(W("s"), W("t"), u"*", true, true));
  for (std::string const& name : names) EXPECT_EQ(folder.Bytes("t/folder\xE4/" + name), name);
  EXPECT_FALSE(Exists("out")) << "a name is no way out of the target";
  EXPECT_TRUE(ZamDelTree(W("t")));
}

TEST_F(FilesTest, DeletesATreeButNeverWhatLinksLeadTo) {
  folder.Write("out/kept", "");
  for (char const* const name : {"t/a", "t/.hidden/b", "t/sub/c"}) folder.Write(name, "");
  SetMode("t/a", 0444);
  fs::create_directory_symlink(P("out"), P("t/sub/link"));
  fs::create_symlink("nowhere", P("t/loose"));
  fs::create_directory_symlink("t", P("top"));
  for (char const* const bad : {"missing", "out/kept", "t/sub/..", "t/loose"}) EXPECT_FALSE(ZamDelTree(W(bad))) << bad;
  EXPECT_FALSE(ZamDelTree(u"") || ZamDelTree(W("t") + wstring(1, u'\0')));
  EXPECT_TRUE(ZamDelTree(W("top/.\\")));
  EXPECT_TRUE(!Exists("top") && Exists("t/a")) << "the link goes alone";
  EXPECT_TRUE(ZamDelTree(W("t\\")));
  EXPECT_TRUE(!Exists("t") && Exists("out/kept"));
}

TEST_F(FilesTest, DeletesATreeThatIsDeeperThanAPathMayBe) {
  fs::path const name(std::string(200, 'd'));
  for (int n = 0; n < 100; ++n) {  // each time the tree goes one folder further down
    fs::create_directory(P("next"));
    if (n > 0) fs::rename(P("deep"), P("next") / name);
    fs::rename(P("next"), P("deep"));
  }
  EXPECT_TRUE(ZamDelTree(W("deep")));
  EXPECT_FALSE(Exists("deep"));
}

TEST_F(FilesTest, ASwappedFolderLeadsNoDeletionOutOfItsTree) {
  for (int n = 0; n < 20; ++n) folder.Write("out/sub/" + std::to_string(n), "");
  fs::create_directory(P("sub"));  // where the way up from a folder that was moved away would look for it
  std::atomic<bool> stop = false;
  std::thread swapping([&] {
    std::error_code ignored;
    while (!stop) {  // a folder, a link to one outside, the folder moved away
      fs::rename(P("t/sub"), P("away"), ignored);
      fs::create_directory_symlink(P("out/sub"), P("t/sub"), ignored);
      fs::remove(P("t/sub"), ignored);
      fs::rename(P("away"), P("t/sub"), ignored);
    }
  });
  for (int n = 0; n < 300; ++n) {
    std::error_code ignored;
    for (char const* const name : {"t/sub/a", "t/sub/b", "t/sub/c"}) fs::create_directories(P(name), ignored);
    ZamDelTree(W("t"));
  }
  stop = true;
  swapping.join();
  EXPECT_TRUE(Exists("sub"));
  for (int n = 0; n < 20; ++n) EXPECT_TRUE(Exists("out/sub/" + std::to_string(n)));
}

}  // namespace
}  // namespace ZaM
