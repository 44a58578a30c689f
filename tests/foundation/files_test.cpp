#include "zam/foundation/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/failing_allocation.h"
#include "tests/support/scoped_variable.h"
#include "tests/support/temporary_folder.h"
#include "zam/foundation/file_search.h"
#include "zam/foundation/lock_file.h"

namespace ZaM {
namespace {

namespace fs = std::filesystem;

/// A folder of the test's own, written as TemporaryFolder::Shown shows it.
class FilesTest : public testing::Test {
 protected:
  wstring W(fs::path const& name) const { return folder.Wide(name); }
  fs::path P(fs::path const& name) const { return folder.Path() / name; }
  bool Exists(fs::path const& name) const { return fs::exists(fs::symlink_status(P(name))); }

  void SetTime(char const* name, long milliseconds) const {
    timespec const times[] = {{0, 0}, {milliseconds / 1000, milliseconds % 1000 * 1'000'000}};
    utimensat(AT_FDCWD, P(name).c_str(), times, 0);
  }

  void Make(std::string const& tree) const {
    std::istringstream entries(tree);
    for (std::string entry; entries >> entry;) {
      std::size_t const mark = entry.find_first_of("!=>"), value = entry.find_first_of("=>");
      fs::path const path = P(entry.substr(0, mark));
      fs::create_directories(path.parent_path());
      if (value == entry.npos) continue;
      std::string const content = entry.substr(value + 1);
      entry[value] == '>' ? fs::create_symlink(content, path) : static_cast<void>(folder.Write(path, content));
      if (entry[mark] == '!') fs::permissions(path, fs::perms::owner_write, fs::perm_options::remove);
    }
  }

  /// What a search delivers, each with its attributes; sorted after the folder's own two entries.
  std::vector<std::string> Found(fs::path const& pattern) const {
    std::vector<std::string> found;
    _wfinddata64i32_t entry = {};
    int const handle = ZamFindFirst(W(pattern), &entry);
    for (bool more = handle != -1; more; more = ZamFindNext(handle, &entry)) {
      found.push_back(fs::path(entry.name).string() + "=" + std::to_string(entry.attrib));
      EXPECT_TRUE((entry.size == 5) == (found.back() == "b.TXT=0"));
    }
    EXPECT_FALSE(ZamFindNext(handle, &entry)) << "also when asked again";
    ZamFindClose(handle);
    std::sort(found.begin() + std::min<std::ptrdiff_t>(2, std::ssize(found)), found.end());
    return found;
  }

  test::TemporaryFolder const folder;
};

TEST_F(FilesTest, SucceedAndFailAsAWholeAndShowItByTheirResult) {
  struct Case {
    std::string before;
    std::function<bool()> operation;
    bool succeeds;
    std::string after;
  };
  auto const copies = [&](wstring const& pattern, bool creates, bool overwrites) {
    return CopyFiles(W("s"), W("t"), pattern, creates, overwrites);
  };
  Case const cases[] = {
      {"a!=new", [&] { return ZamCopyFile(W("a"), W("b"), true); }, true, "a!=new b=new"},
      {"a=new b!=old", [&] { return ZamCopyFile(W("a"), W("b"), true); }, false, "a=new b!=old"},
      {"a=new b!=longer", [&] { return ZamCopyFile(W("a"), W("b"), false); }, true, "a=new b=new"},
      {"a=a b>s/c s/c>d", [&] { return ZamCopyFile(W("a"), W("b"), true); }, false, "a=a b>s/c s/ s/c>d"},
      {"a=a b>s/c s/c>d", [&] { return ZamCopyFile(W("a"), W("b"), false); }, true, "a=a b>s/c s/ s/c>d s/d=a"},
      {"a=a b>b", [&] { return ZamCopyFile(W("a"), W("b"), false); }, false, "a=a b>b"},
      {"a/", [&] { return ZamCopyFile(W("a"), W("b"), false); }, false, "a/"},
      {"a=a b/", [&] { return ZamCopyFile(W("a"), W("b"), false); }, false, "a=a b/"},

      {"a=a s/", [&] { return ZamMoveFile(W("a"), W("s\\b")); }, true, "s/ s/b=a"},
      {"s/a=a", [&] { return ZamMoveFile(W("s"), W("t")); }, true, "t/ t/a=a"},
      {"a=a b=b", [&] { return ZamMoveFile(W("a"), W("b")); }, false, "a=a b=b"},
      {"a!=a", [&] { return ZamDeleteFile(W("a")); }, true, ""},
      {"a/", [&] { return ZamDeleteFile(W("a")) || ZamDeleteFile(W("b")); }, false, "a/"},

      {"", [&] { return CreateFolder(W("a\\b/c")) && CreateFolder(W("a\\b\\\\d\\")) && CreateFolder(u""); }, true,
       "a/ a/b/ a/b/c/ a/b/d/"},
      {"a=a", [&] { return CreateFolder(W("a")) || CreateFolder(W("a\\b")); }, false, "a=a"},
      {"", [&] { return CreateFolder(W("a\\") + wstring(1'000'000, u'x')); }, false, "a/"},
      {"", [&] { return CreateFolder(W(std::string(255, 'n'))); }, true, std::string(255, 'n') + "/"},
      {"a/b/", [&] { return ZamRmDir(W("a")) == 0; }, false, "a/ a/b/"},
      {"a/b/", [&] { return ZamRmDir(W("a/b")) == 0; }, true, "a/"},

      {"s/a=a", [&] { return copies(u"*", false, true); }, false, "s/ s/a=a"},
      {"", [&] { return copies(u"*", true, true); }, true, "t/"},
      {"s/a!=a s/b/c/d=d s/.h=h s/.i/j=j", [&] { return copies(u"*", true, false); }, true,
       "s/ s/.h=h s/.i/ s/.i/j=j s/a!=a s/b/ s/b/c/ s/b/c/d=d t/ t/a=a t/b/ t/b/c/ t/b/c/d=d"},
      {"s/a=new s/b=new t/a=old", [&] { return copies(u"*", false, false); }, false,
       "s/ s/a=new s/b=new t/ t/a=old t/b=new"},
      {"s/a=new t/a!=old", [&] { return copies(u"*", false, true); }, false, "s/ s/a=new t/ t/a!=old"},
      {"s/a!=new t/a!=old", [&] { return copies(u"*", false, true); }, false, "s/ s/a!=new t/ t/a=old"},
      {"s/a!=new t/a=old", [&] { return copies(u"*", false, true); }, true, "s/ s/a!=new t/ t/a=new"},
      {"s/a=a s/bc/d=d", [&] { return copies(u"?", true, false); }, true, "s/ s/a=a s/bc/ s/bc/d=d t/ t/a=a"},
      {"s/a=a s/b/up>.. s/me>.", [&] { return CopyFiles(W("s"), W("s/b/t"), u"*", true, true); }, true,
       "s/ s/a=a s/b/ s/b/t/ s/b/t/a=a s/b/t/b/ s/b/up>.. s/me>."},
      {"s/a=a", [&] { return CopyFiles(W("s"), W("s"), u"*", true, true); }, false, "s/ s/a=a"},

      {"o/k=k t/a!=a t/.h/b=b t/s/l>../../o t/x>no", [&] { return ZamDelTree(W("t\\")); }, true, "o/ o/k=k"},
      {"l>t t/a=a", [&] { return ZamDelTree(W("l/.\\")); }, true, "t/ t/a=a"},
      {"t/a=a l>no", [&] { return ZamDelTree(W("t/a")) || ZamDelTree(W("l")) || ZamDelTree(W("no")); }, false,
       "l>no t/ t/a=a"},
      {"t/s/", [&] { return ZamDelTree(W("t/s/..")) || ZamDelTree(u"") || ZamDelTree(W("t") + wstring(1, u'\0')); },
       false, "t/ t/s/"},
  };
  for (auto const& [before, operation, succeeds, after] : cases) {
    Make(before);
    std::string const name = "case " + std::to_string(&before - &cases[0].before) + " of " + before;
    EXPECT_EQ(operation(), succeeds) << name;
    EXPECT_EQ(folder.Shown(), after) << name;
    for (fs::path const& entry : fs::directory_iterator(folder.Path())) fs::remove_all(entry);
  }
}

TEST_F(FilesTest, FindsWhatThePatternMatchesWithTheFoldersOwnEntriesFirst) {
  Make("b.TXT=12345 B\xC3\x84r= ab= .hidden!= sub/ link>sub loose>nowhere");
  std::vector<std::string> const everything = {".=16",    "..=16",   ".hidden=3", "B\xC3\x84r=0", "ab=0",
                                               "b.TXT=0", "link=16", "loose=0",   "sub=16"};
  std::pair<char const*, std::vector<std::string>> const cases[] = {
      {"*", everything},  {"*.*", everything},  {"*.txt", {"b.TXT=0"}}, {"b\xC3\xA4?", {"B\xC3\x84r=0"}},
      {"a*b*", {"ab=0"}}, {"*U*b", {"sub=16"}}, {"?", {".=16"}},        {"a", {}},
      {"ab?", {}},        {"missing/*", {}},    {"ab/*", {}},           {"", {}}};
  for (auto const& [pattern, names] : cases) EXPECT_EQ(Found(pattern), names) << pattern;
  EXPECT_TRUE(ZamFileExists(W("ab")) && !ZamFolderExists(W("ab")));
  EXPECT_TRUE(!ZamFileExists(W("sub")) && ZamFolderExists(W("sub")) && ZamFolderExists(W("link")));

  _wfinddata64i32_t entry = {};
  int const handle = ZamFindFirst(W("*"), &entry);
  EXPECT_TRUE(ZamFindNext(handle, &entry));
  ZamFindClose(handle);
  EXPECT_FALSE(ZamFindNext(handle, &entry)) << "though entries were left";
}

TEST_F(FilesTest, SearchesWhileStaticObjectsEnd) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // where nothing has searched before
  static int handle;
  static _wfinddata64i32_t entry;
  auto const last = [] { _exit(ZamFindNext(handle, &entry) ? 0 : 1); };
  EXPECT_EXIT((std::atexit(last), handle = ZamFindFirst(u"/*", &entry), std::exit(2)), testing::ExitedWithCode(0), "");
}

TEST_F(FilesTest, TakesNoNameAwayFromALockThatIsHeld) {
  test::ScopedVariable const place("TMPDIR", "/dev/shm");
  test::TemporaryFolder const other;
  wstring const path = W("sub/lock");
  std::function<bool()> const operations[] = {
      [&] { return ZamDeleteFile(path); }, [&] { return ZamMoveFile(path, W("moved")); },
      [&] { return ZamMoveFile(path, other.Wide("moved")); }, [&] { return ZamDelTree(W("sub")); }};
  for (auto const& operation : operations) {
    Make("sub/");
    void* const lock = ZamLockfileCreate(path, 0, 0);
    EXPECT_FALSE(operation());
    EXPECT_TRUE(Exists("sub/lock") && ZamLockfileCreate(path, 0, 0) == reinterpret_cast<void*>(-1));
    ZamLockfileRelease(lock);
    Make("sub/lock=nobody's");
    EXPECT_TRUE(operation() && !Exists("sub/lock"));
  }
}

TEST_F(FilesTest, ComparesWholeSecondsAndAsksTheSecondFileFirst) {
  Make("a= b=");
  SetTime("b", 5'100);
  std::pair<long, bool> const cases[] = {{5'900, false}, {6'000, true}, {0x1'0000'0007 * 1000L, true}};
  for (auto const& [milliseconds, isNewer] : cases) {
    SetTime("a", milliseconds);
    EXPECT_EQ(FileIsNewerByDate(W("a"), W("b")), isNewer) << milliseconds;
    EXPECT_FALSE(FileIsNewerByDate(W("b"), W("a")));
  }
  EXPECT_EQ(ZamGetFileTime(W("a")), 7) << "of 32 bits";
  EXPECT_TRUE(ZamCopyFile(W("b"), W("copy"), true) && ZamGetFileTime(W("copy")) == 5);
  EXPECT_TRUE(FileIsNewerByDate(W("none"), W("none")));
  EXPECT_FALSE(FileIsNewerByDate(W("none"), W("b")));
  EXPECT_EQ(ZamGetFileTime(W("none")), 0);
}

TEST_F(FilesTest, CopiesNothingOntoItselfNorFromAPipeAndProtectsNoFolder) {
  Make("a=a protected/");
  fs::create_hard_link(P("a"), P("same"));
  fs::create_symlink(P("b"), P("absolute"));
  ASSERT_EQ(mkfifo(P("pipe").c_str(), 0600) | chmod(P("protected").c_str(), 0500), 0);
  EXPECT_FALSE(ZamCopyFile(W("a"), W("same"), false) || ZamCopyFile(W("pipe"), W("x"), false) || Exists("x"));
  EXPECT_TRUE(ZamCopyFile(W("a"), W("absolute"), false) && folder.Bytes("b") == "a");
  EXPECT_FALSE(ZamCopyFile(W("a"), W("protected"), false));
  EXPECT_EQ(fs::status(P("protected")).permissions() & fs::perms::owner_write, fs::perms::none);
}

TEST_F(FilesTest, LeavesNothingOfACopyThatFails) {
  Make("a=" + std::string(10'000, 'a'));
  auto const copy = [this] {
    rlimit const few = {1000, 1000};
    std::signal(SIGXFSZ, SIG_IGN);
    _exit(setrlimit(RLIMIT_FSIZE, &few) != 0 || ZamCopyFile(W("a"), W("b"), true) ? 1 : 0);
  };
  EXPECT_EXIT(copy(), testing::ExitedWithCode(0), "");
  EXPECT_FALSE(Exists("b"));
}

TEST_F(FilesTest, CopiesHolesAsHoles) {
  constexpr off_t size = 4 << 20;
  std::string const page(4096, 'd');
  for (std::vector<off_t> const& data : {{}, {0}, {size - 4096}, std::vector<off_t>{1 << 20, 3 << 20}}) {
    Make("source=");
    fs::resize_file(P("source"), size);
    for (off_t const at : data) std::fstream(P("source")).seekp(at) << page;
    EXPECT_TRUE(ZamCopyFile(W("source"), W("copy"), false));  // the second one onto the first
    struct stat copied = {};
    EXPECT_TRUE(stat(P("copy").c_str(), &copied) == 0 && copied.st_blocks * 512 <= 1 << 17);
    EXPECT_TRUE(folder.Bytes("copy") == folder.Bytes("source"));
  }
  EXPECT_TRUE(ZamCopyFile(u"/proc/cpuinfo", W("copy"), false) && folder.Bytes("copy") != "");  // has no size
}

TEST_F(FilesTest, MovesFilesAloneToAnotherFileSystem) {
  test::ScopedVariable const place("TMPDIR", "/dev/shm");
  test::TemporaryFolder const other;
  Make("folder/file= link>file");
  if (rename(P("link").c_str(), (other.Path() / "link").c_str()) == 0)
    GTEST_SKIP() << "/dev/shm is no other file system";
  std::string const content(300'000, 'f');
  folder.Write("file", content);
  bool const ownersCanBeGiven = chown(P("file").c_str(), 4711, 4712) == 0;
  ASSERT_EQ(chmod(P("file").c_str(), 06462), 0);  // more than the process gives to new files
  SetTime("file", 1'000'000'000);
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
  EXPECT_TRUE(!Exists("file") && other.Bytes("moved") == content && ZamGetFileTime(target) == 1'000'000);
  struct stat moved = {};
  EXPECT_TRUE(stat((other.Path() / "moved").c_str(), &moved) == 0 && moved.st_mode == (S_IFREG | 06462U));
  EXPECT_TRUE(!ownersCanBeGiven || (moved.st_uid == 4711 && moved.st_gid == 4712));
}

TEST_F(FilesTest, KeepsNamesThatArentUtf8OrHoldABackslash) {
  std::vector<std::string> const names = {"latin\xE4", "\xFF\xC3", "x\\..\\..\\..\\out", "\xC3\xA4\\",
                                          "\xF0\x9F\x92\x80"};
  for (std::string const& name : names) folder.Write("s/folder\xE4/" + name, name);
  EXPECT_TRUE(CopyFiles(W("s"), W("t"), u"*", true, true));
  for (std::string const& name : names) EXPECT_EQ(folder.Bytes("t/folder\xE4/" + name), name);
  EXPECT_FALSE(Exists("out")) << "a name is no way out of the target";
  EXPECT_TRUE(ZamDelTree(W("t")));
}

TEST_F(FilesTest, DeletesATreeThatIsDeeperThanAPathMayBe) {
  fs::path const name(std::string(200, 'd'));
  for (int n = 0; n < 100; ++n) {  // each time the tree goes one folder further down
    Make("next/");
    if (n > 0) fs::rename(P("deep"), P("next") / name);
    fs::rename(P("next"), P("deep"));
  }
  EXPECT_TRUE(ZamDelTree(W("deep")) && !Exists("deep"));
}

TEST_F(FilesTest, ASwappedFolderLeadsNoDeletionOutOfItsTree) {
  Make("sub/");  // where the way up from a folder that was moved away would look for it
  for (int n = 0; n < 20; ++n) Make("out/sub/" + std::to_string(n) + "=");
  std::string const before = folder.Shown();
  std::jthread swapping([&](std::stop_token const& stop) {
    std::error_code ignored;
    while (!stop.stop_requested()) {  // a folder, a link to one outside, the folder moved away
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
  swapping = {};
  for (char const* const own : {"t", "away", "out/sub/a", "out/sub/b", "out/sub/c"}) fs::remove_all(P(own));
  EXPECT_EQ(folder.Shown(), before);
}

}  // namespace
}  // namespace ZaM
