#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <type_traits>

#include "tests/support/files_in.h"
#include "tests/support/memory_cases.h"
#include "tests/support/temporary_folder.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

// A handler that catches one by value would end the program where the copy fails.
template <class... Exceptions>
constexpr bool copiesNeverFail = ((std::is_nothrow_copy_constructible_v<Exceptions> &&
                                   std::is_nothrow_copy_assignable_v<Exceptions>)&&...);
static_assert(
    copiesNeverFail<BaseException, OutOfBoundsException, XMLFormatException, FileIOException, CollectionException,
                    XmlException, StructuredException, WinOperationException, LimitExceededException>);

constexpr std::int32_t failed = 1'000'000;

/// For operations that report by their result.
void Demand(bool succeeded) {
  if (!succeeded) throw BaseException(failed);
}

Outcomes const reports{.allocations = Allocations::all};
Outcomes const reportsOrLacksArgument{.ids = {5, badAlloc},
                                      .allocations = Allocations::all};  // arguments are the caller's
Outcomes const givesFalse{.ids = {failed}, .allocations = Allocations::all};

void ReadUuid(wstring const& text, _ZAMGUID& uuid) {
  try {
    ZaMUuidFromString(text, &uuid);
  } catch (BaseException const& failure) {
    if (failure.GetErrorId() != 1) throw;
  }
}

void WriteToStreamThatThrows(wstring& text) {
  std::ostringstream stream;
  stream.exceptions(std::ios::badbit);
  StreamHelper::WriteString(&stream, text);
}

TEST(FoundationOutOfMemory, LeavesOutputsAlone) {
  wstring const text = wstring(100, u'x') + u'=' + wstring(100, u'y');
  std::string const narrow(100, 'n');
  FileIOException const failure(2003, text);
  ResMgr resources;
  TextModule const texts(u"", {{505, text}});
  resources.Init(&texts);
  wstring left = u"left";
  wstring right = u"right";
  std::string bytes = "bytes";
  _ZAMGUID uuid = {7, 0, 0, {}};
  ExpectAllOrNothing({{"replace", [&] { left = Replace(text, u"=", text); }, reports},
                      {"delete", [&] { left = DeleteStr(text, u"="); }, reports},
                      {"split", [&] { Split(text, u"=", left, right); }, reports},
                      {"split a name", [&] { SplitLocatorName(text, left, right); }, reportsOrLacksArgument},
                      {"to wide", [&] { ConvertA2W(narrow, left); }, reports},
                      {"to narrow", [&] { ConvertW2A(text, bytes); }, reports},
                      {"to narrow in a buffer", [&] { ConvertW2A(text, bytes.data(), 1); }, reports},
                      {"to UTF-8", [&] { bytes = ToUtf8(text); }, reports},
                      {"from UTF-8", [&] { left = FromUtf8(narrow); }, reports},
                      {"decode",
                       [&] { left = DecodeText(narrow, "Shift_JIS").value(); },
                       {.ids = {0, 5}, .allocations = Allocations::all}},
                      {"what", [&] { Demand(!failure.what().empty()); }, givesFalse},
                      {"to lower", [&] { left = ZamStrToLower(text); }, reports},
                      {"file name", [&] { Demand(!GetPureFileName(text).empty()); }, givesFalse},
                      {"text", [&] { left = resources.GetString(505, text.c_str()); }, reports},
                      {"sentence", [&] { Demand(!failure.GetErrorDescription().empty()); }, givesFalse},
                      {"malformed UUID", [&] { ReadUuid(text, uuid); }},
                      {"UUID as text", [&] { left = ZaMUuidToString(&uuid); }},
                      {"write", [&] { WriteToStreamThatThrows(left); }, {.ids = {2001}}}},
                     [&] { return std::tuple(left, right, bytes, uuid.data1); });
}

TEST(FoundationOutOfMemory, LeavesARegexUsable) {
  for (wchar const* const pattern : {u"(a|b)+?c|[[:alpha:]]{3}", u"[[=a=]](?=b)", u"(?i:B)|[[.space.]]x"}) {
    wstring const text = u"aabc ab xB";
    Regex regex(pattern, true);
    auto const matches = [&] { EXPECT_TRUE(regex.Match(text)->matched); };
    EXPECT_GT(FailEachAllocation([&] { Regex(pattern, false); }, [] {}, reportsOrLacksArgument), 2U);
    EXPECT_GT(FailEachAllocation(matches, [] {}, {.ids = {5, badAlloc}, .mayKeepMemory = true}), 2U);
  }
}

class FilesOutOfMemory : public testing::Test {
 protected:
  /// The content of all files, and how many are open.
  auto Describe() const { return std::pair(folder.Shown(), FilesIn("/proc/self/fd")); }

  TemporaryFolder folder;
  wstring const parent = folder.Path().u16string(), source = folder.Wide("source"), target = folder.Wide("target"),
                all = folder.Wide("*"), none = folder.Wide("none");
};

bool Finds(wstring const& pattern) {
  _wfinddata64i32_t entry = {};
  int const handle = ZamFindFirst(pattern, &entry);
  ZamFindClose(handle);
  return handle != -1;
}

bool TakesLock(wstring const& path) {
  void* const lock = ZamLockfileCreate(path, 0, 3);
  ZamLockfileRelease(lock);
  return lock != reinterpret_cast<void*>(-1);
}

bool RunsThread() {
  void* const thread = ZamCreateThread(
      0, [](void*) -> std::uint32_t { return 0; }, nullptr);
  bool const ended = ZamWaitThread(thread, 0xFFFFFFFF);
  ZamCloseThreadHandle(thread);
  return ended;
}

TEST_F(FilesOutOfMemory, SingleOperationsChangeNothing) {
  for (char const* const name : {"source", "target"}) folder.Write(name, name);
  wstring const fresh = folder.Wide("fresh"), moved = folder.Wide("moved");
  ExpectAllOrNothing({{"file exists", [&] { Demand(ZamFileExists(source)); }, givesFalse},
                      {"folder exists", [&] { Demand(ZamFolderExists(parent)); }, givesFalse},
                      {"time", [&] { Demand(ZamGetFileTime(source) != 0); }, givesFalse},
                      {"newer", [&] { Demand(FileIsNewerByDate(source, none)); }, givesFalse},
                      {"search", [&] { Demand(Finds(all)); }, givesFalse},
                      {"copy", [&] { Demand(ZamCopyFile(source, fresh, true)); }, givesFalse},
                      {"copy over", [&] { Demand(ZamCopyFile(source, target, false)); }, givesFalse},
                      {"move", [&] { Demand(ZamMoveFile(fresh, moved)); }, givesFalse},
                      {"delete", [&] { Demand(ZamDeleteFile(moved)); }, givesFalse},
                      {"lock", [&] { Demand(TakesLock(none)); }, givesFalse},
                      {"thread", [&] { Demand(RunsThread()); }, givesFalse}},
                     [&] { return Describe(); });
}

TEST_F(FilesOutOfMemory, TreesHaveWholeFilesAlone) {
  for (char const* const name : {"source/a", "source/sub/b", "source/sub/c"}) folder.Write(name, "content");
  wstring const pattern = u"*";
  Outcomes const outcomes{.ids = {failed, badAlloc}, .allocations = Allocations::all};  // arguments are the caller's
  ExpectAllOrNothing({{"make", [&] { Demand(CreateFolder(target)); }, outcomes},
                      {"copy", [&] { Demand(CopyFiles(source, target, pattern, true, true)); }, outcomes},
                      {"delete", [&] { Demand(ZamDelTree(target)); }, outcomes}},
                     [&] {
                       std::regex const whole(" target\\S*(/|=content)(?= |$)");
                       return std::pair(std::regex_replace(folder.Shown(), whole, ""), FilesIn("/proc/self/fd"));
                     });
}

}  // namespace
}  // namespace ZaM::test
