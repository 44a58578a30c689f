// A program under load for as long as one likes: threads parse, filter, classify, take locks and fail, while the
// process forks and starts programs. Its memory and its descriptors must not grow; scripts/soak runs it.
//
//   mixed_load [SECONDS]
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/number_vector.h"
#include "zam/zam.h"

namespace {

using namespace ZaM;
using Clock = std::chrono::steady_clock;

void Require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "mixed_load: %s\n", what);
  std::abort();
}

wstring Wide(std::string const& ascii) {
  return {ascii.begin(), ascii.end()};
}

/// A folder that the locks and documents of this process lie in.
std::string const& Folder() {
  static std::string const folder = [] {
    std::string name = (std::filesystem::temp_directory_path() / "zam-mixed-load-XXXXXX").string();
    Require(mkdtemp(name.data()) != nullptr, "no folder");
    return name;
  }();
  return folder;
}

bool Write(wstring const& path, StorageType type) {
  ZamXmlOutStream stream(type, path);
  stream.CreateNode("rows");
  for (unsigned int row = 0; row < 200; ++row) stream.AddSubNodeText("row", row % 2 == 0 ? u"Müller & Söhne" : u"x");
  stream.CloseNode("rows");
  stream.Close();
  return stream.IsWritten();
}

/// Another thread may have the file open; nobody ever sees half of it.
void WriteAndRead(unsigned int number) {
  wstring const path = Wide(Folder() + "/" + std::to_string(number % 7) + ".xml");
  try {
    if (!Write(path, number % 2 == 0 ? StorageCompressed : StorageFile)) return;
    XmlTree tree;
    tree.SetFilename(path);
    Require(tree.Read2() && tree.GetRoot()->GetChildren().size() == 200, "a file is incomplete");
  } catch (FileIOException const& failure) {
    bool const isTaken = failure.GetErrorId() == ErrorId::FileCreate || failure.GetErrorId() == ErrorId::FileOpen;
    Require(isTaken, "a file can't be read");
  }
}

void Filter(unsigned int number) {
  std::string const text(number % 5'000, "aé1 "[number % 4]);
  Ref filter(AsciiTextFilter::Create(1, true));
  std::vector<char> symbols(4 * text.size() + 6);
  filter->FilterTextA(text.data(), static_cast<unsigned int>(text.size()), symbols.data(),
                      static_cast<unsigned int>(symbols.size()));
}

void Classify(unsigned int number) {
  Ref classes(DocumentNode::Create());
  for (unsigned int id = 1; id <= 20; ++id) classes->AddChild(test::ClassNode::Create(id, {id * 1.0, 1.0}));
  Ref documents(DocumentNode::Create());
  for (unsigned int i = 0; i < 50; ++i) {
    Ref document(DocumentNode::Create());
    document->AddRepresentation(test::NumberVector::Create({number * 1.0, i * 1.0}));
    documents->AddChild(document.Detach());
  }
  BayesControl control;
  control.SetDoLearn(true);
  control.SetDoClassify(true);
  control.SetResultTag("Rslt"_tag);
  control.SetRootClass(classes.Get());
  control.SetRootDocument(documents.Get());
  BayesClassifier().DoAlgorithm(&control);
}

void Lock(unsigned int number) {
  static std::atomic<int> holders[3];
  void* const lock = ZamLockfileCreate(Wide(Folder() + "/lock" + std::to_string(number % 3)), 1, 20);
  if (lock == reinterpret_cast<void*>(-1)) return;
  Require(holders[number % 3]++ == 0, "two have one lock");
  --holders[number % 3];
  ZamLockfileRelease(lock);
}

void Fail(unsigned int number) {
  SetLanguage(number % 2 == 0 ? u"de" : u"en");
  try {
    XmlTree(Wide(Folder() + "/missing.xml")).GetRoot();
  } catch (BaseException const& failure) {
    Require(!failure.GetErrorDescription().empty(), "no sentence");
  }
  _ZAMGUID uuid;
  ZaMUuidCreate(&uuid);
  _ZAMGUID again;
  ZaMUuidFromString(ZaMUuidToString(&uuid), &again);
  Require(uuid.data1 == again.data1, "another UUID came back");
  Regex regex(u"(\\w+)@\\1", true);
  Require(regex.Match(u"ab@AB x@y")->matched, "no match");
}

void Work(unsigned int seed, std::atomic<bool> const& stop) {
  std::minstd_rand random(seed);
  while (!stop) {
    auto const number = static_cast<unsigned int>(random() >> 3);
    for (auto* const job : {WriteAndRead, Filter, Classify, Fail}) job(number);
    if (number % 8 == 0) Lock(number);
  }
}

/// A child that just ends, one that becomes a program, and a program that is killed while it holds a lock.
void StartChild(unsigned int kind) {
  std::string const path = "/proc/self/exe";
  pid_t const child = fork();
  if (child == 0) {
    if (kind % 3 == 1) execl("/bin/true", "true", nullptr);
    if (kind % 3 == 2) execl(path.c_str(), "mixed_load", "--die", Folder().c_str(), nullptr);
    _exit(0);
  }
  int status = 0;
  Require(child > 0 && waitpid(child, &status, 0) == child, "no child");
}

[[noreturn]] void DieWithALock(std::string const& folder) {
  static_cast<void>(ZamLockfileCreate(Wide(folder + "/lock0"), 1, 20));
  raise(SIGKILL);
  std::abort();
}

struct Use {
  long kibibytes;
  std::ptrdiff_t descriptors;
};

Use Present() {
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  namespace fs = std::filesystem;
  return {pages * (sysconf(_SC_PAGESIZE) / 1024), std::distance(fs::directory_iterator("/proc/self/fd"), {})};
}

}  // namespace

int main(int count, char** arguments) {
  if (count == 3) DieWithALock(arguments[2]);
  int const seconds = count == 2 ? std::atoi(arguments[1]) : 60;
  auto const begin = Clock::now();
  auto const third = begin + std::chrono::seconds(seconds) / 3;
  auto const end = begin + std::chrono::seconds(seconds);

  // The greatest use of the first third is what a process of this kind needs; the rest may not pass it by much.
  Use most[2] = {};
  unsigned int children = 0;
  std::atomic<bool> stop = false;
  {
    std::vector<std::jthread> threads;
    for (unsigned int seed = 1; seed <= 4; ++seed) threads.emplace_back(Work, seed, std::cref(stop));
    while (Clock::now() < end) {
      StartChild(children++);
      Use const now = Present();
      Use& part = most[Clock::now() < third ? 0 : 1];
      part = {std::max(part.kibibytes, now.kibibytes), std::max(part.descriptors, now.descriptors)};
    }
    stop = true;
  }
  std::filesystem::remove_all(Folder());
  std::printf("mixed_load: %d s, %u children; at most %ld KiB and %td descriptors, later %ld and %td\n", seconds,
              children, most[0].kibibytes, most[0].descriptors, most[1].kibibytes, most[1].descriptors);
  bool const grew = most[1].kibibytes > most[0].kibibytes + most[0].kibibytes / 10 + 4096 ||
                    most[1].descriptors > most[0].descriptors + 16;
  return grew ? EXIT_FAILURE : EXIT_SUCCESS;
}
