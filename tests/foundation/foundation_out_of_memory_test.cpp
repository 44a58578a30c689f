#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sstream>
#include <type_traits>

#include "tests/support/memory_cases.h"
#include "tests/support/temporary_folder.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

namespace fs = std::filesystem;

// A handler that catches one by value would end the program where the copy fails.
template <class... Exceptions>
constexpr bool copiesNeverFail = ((std::is_nothrow_copy_constructible_v<Exceptions> &&
                                   std::is_nothrow_copy_assignable_v<Exceptions>)&&...);
static_assert(copiesNeverFail<BaseException, OutOfBoundsException, XMLFormatException, FileIOException,
                              CollectionException, XmlException, StructuredException, WinOperationException>);

constexpr std::int32_t failed = 1'000'000;

/// For operations that report by their result.
void Demand(bool succeeded) {
  if (!succeeded) throw BaseException(failed);
}

Outcomes const throwsBadAlloc{.ids = {badAlloc}, .allocations = Allocations::all};
Outcomes const givesFalse{.ids = {failed}, .allocations = Allocations::all};

TEST(FoundationOutOfMemory, LeavesOutputsAlone) {
  wstring const text = wstring(100, u'x') + u'=' + wstring(100, u'y');
  std::string const narrow(100, 'n');
  FileIOException const failure(2003, text);
  CollectionException const otherFailure(1003, text);
  wstring left = u"left";
  wstring right = u"right";
  std::string bytes = "bytes";
  _ZAMGUID guid = {};
  guid.data1 = 7;
  std::stringstream stored;
  StreamHelper::WriteString(&stored, left);
  stored.exceptions(std::ios::badbit);
  auto const unless = [](std::int32_t id, auto operation) {
    return [=] {
      try {
        operation();
      } catch (BaseException const& other) {
        if (other.GetErrorId() != id) throw;
      }
    };
  };
  ExpectAllOrNothing({{"replace", [&] { left = Replace(text, u"=", text); }, throwsBadAlloc},
                      {"delete", [&] { left = DeleteStr(text, u"="); }, throwsBadAlloc},
                      {"split", [&] { Split(text, u"=", left, right); }, throwsBadAlloc},
                      {"split a name", [&] { SplitLocatorName(text, left, right); }, throwsBadAlloc},
                      {"to wide", [&] { ConvertA2W(narrow, left); }, throwsBadAlloc},
                      {"to narrow", [&] { ConvertW2A(text, bytes); }, throwsBadAlloc},
                      {"to narrow in a buffer", [&] { ConvertW2A(text, bytes.data(), 1); }, throwsBadAlloc},
                      {"to lower", [&] { left = ZamStrToLower(text); }, throwsBadAlloc},
                      {"file name", [&] { Demand(!GetPureFileName(text).empty()); }, givesFalse},
                      {"sentence", [&] { Demand(!failure.GetErrorDescription().empty()); }, givesFalse},
                      {"other sentence", [&] { Demand(!otherFailure.GetErrorDescription().empty()); }, givesFalse},
                      {"exception", [&] { FileIOException(2003, text); }},
                      {"exception with a message", [&] { BaseException(17, text); }},
                      {"malformed UUID", unless(1, [&] { ZaMUuidFromString(text, &guid); })},
                      {"UUID as text", [&] { left = ZaMUuidToString(&guid); }},
                      {"write",
                       [&] {
                         std::ostringstream stream;
                         stream.exceptions(std::ios::badbit);
                         StreamHelper::WriteString(&stream, left);
                       },
                       {.ids = {2001}}}},
                     [&] { return std::tuple(left, right, bytes, guid.data1); });
}

TEST(FoundationOutOfMemory, FindsWhatItCanAndStaysUsable) {
  for (wchar const* const pattern : {u"(a|b)+?c|[[:alpha:]]{3}", u"[[=a=]](?=b)", u"(?i:B)|[[.space.]]x"}) {
    wstring const text = u"aabc ab xB";
    Regex regex(pattern, true);
    _Match* match = nullptr;
    ExpectAllOrNothing({{"compile", [&] { Regex(pattern, false); }, throwsBadAlloc},
                        {"match", [&] { match = regex.Match(text); }, {.ids = {badAlloc}, .mayKeepMemory = true}}},
                       [] { return 0; });
    EXPECT_TRUE(match->matched);
  }
}

class FilesOutOfMemory : public testing::Test {
 protected:
  /// The content of all files, and what is open.
  std::map<std::string, std::string> Describe() const {
    std::map<std::string, std::string> entries;
    for (fs::path const& each : fs::recursive_directory_iterator(folder.Path())) {
      entries[each.string()] = fs::is_regular_file(each) ? folder.Bytes(each) : "";
    }
    for (fs::path const& each : fs::directory_iterator("/proc/self/fd")) entries[each.string()];
    return entries;
  }

  wstring W(char const* name) const { return folder.Wide(name); }

  TemporaryFolder folder;
};

TEST_F(FilesOutOfMemory, SingleOperationsChangeNothing) {
  folder.Write("source", "source");
  folder.Write("target", "target");
  wstring const source = W("source"), target = W("target"), fresh = W("fresh"), moved = W("moved"), all = W("*");
  wstring const missing = W("missing"), lock = W("lock"), parent = folder.Path().u16string();
  _wfinddata64i32_t entry = {};
  auto const start = [](void* argument) -> std::uint32_t { return argument == nullptr; };
  ExpectAllOrNothing({{"file exists", [&] { Demand(ZamFileExists(source)); }, givesFalse},
                      {"folder exists", [&] { Demand(ZamFolderExists(parent)); }, givesFalse},
                      {"time", [&] { Demand(ZamGetFileTime(source) != 0); }, givesFalse},
                      {"newer", [&] { Demand(FileIsNewerByDate(source, missing)); }, givesFalse},
                      {"search",
                       [&] {
                         int const handle = ZamFindFirst(all, &entry);
                         Demand(handle != -1);
                         ZamFindClose(handle);
                       },
                       givesFalse},
                      {"copy", [&] { Demand(ZamCopyFile(source, fresh, true)); }, givesFalse},
                      {"copy over", [&] { Demand(ZamCopyFile(source, target, false)); }, givesFalse},
                      {"move", [&] { Demand(ZamMoveFile(fresh, moved)); }, givesFalse},
                      {"delete", [&] { Demand(ZamDeleteFile(moved)); }, givesFalse},
                      {"lock",
                       [&] {
                         void* const handle = ZamLockfileCreate(lock, 0, 3);
                         Demand(handle != reinterpret_cast<void*>(-1));
                         ZamLockfileRelease(handle);
                       },
                       givesFalse},
                      {"thread",
                       [&] {
                         void* const thread = ZamCreateThread(0, start, nullptr);
                         Demand(thread != nullptr);
                         ZamWaitThread(thread, 0xFFFFFFFF);
                         ZamCloseThreadHandle(thread);
                       },
                       givesFalse}},
                     [&] { return Describe(); });
}

// The copies of the arguments are the caller's.
TEST_F(FilesOutOfMemory, TreesAreLeftWithWholeFilesAlone) {
  for (char const* const name : {"source/a", "source/sub/b", "source/sub/c"}) folder.Write(name, "content");
  wstring const source = W("source"), target = W("target"), pattern = u"*", parent = folder.Path().u16string();
  Outcomes const gets{.ids = {failed, badAlloc}, .allocations = Allocations::all};
  ExpectAllOrNothing({{"make", [&] { Demand(CreateFolder(target)); }, gets},
                      {"copy", [&] { Demand(CopyFiles(source, target, pattern, true, true)); }, gets},
                      {"delete", [&] { Demand(ZamDelTree(target)); }, gets}},
                     [&] {
                       auto entries = Describe();
                       std::erase_if(entries, [](auto const& each) {
                         return each.first.find("/target") != std::string::npos &&
                                (each.second.empty() || each.second == "content");
                       });
                       return entries;
                     });
}

}  // namespace
}  // namespace ZaM::test
