// Uses something of every room through the installed headers, and ends with 0 if all of it answers as it should.
// With an argument it also expects that the installed guard of lock files is found.
#include <sys/wait.h>
#include <zam/zam.h>

#include <cstdio>
#include <cstdlib>

namespace {

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "consumer: %s\n", what);
  std::exit(1);
}

}  // namespace

int main(int count, char**) {
  ZaM::Ref root(ZaM::DocumentNode::Create());
  root->AddChild(ZaM::DocumentNode::Create(1, root.Get()));
  require(root->ChildCount() == 1, "a tree has the child that was added");

  ZaM::Ref matrix(ZaM::ErrorMatrix::Create(3));
  ZaM::ErrorMatrixVisitor visitor(matrix.Get(), 0.0, 0.0);
  root->Visit(&visitor);
  require(matrix->GetDocCount() == 0, "documents without features aren't counted");

  ZaM::Ref filter(ZaM::AsciiTextFilter::Create(1, true));
  char symbols[8];
  require(filter->FilterTextA("ab cd", 5, symbols, sizeof symbols) == 7, "two words and three separators");
  require(ZaM::stringhash().GetStringHash("ab") == 0x8EBBBE13, "the hash of \"ab\"");

  void* const lock = ZaM::ZamLockfileCreate(u"consumer.lock", 0, 0);
  require(ZaM::ZamFileExists(u"consumer.lock"), "a lock is a file");
  bool const hasChildren = waitpid(-1, nullptr, __WALL | WNOHANG) != -1;
  require(count == 1 || !hasChildren, "a program guards the lock, and no forked child");
  ZaM::ZamLockfileRelease(lock);
  require(!ZaM::ZamFileExists(u"consumer.lock"), "a lock's file vanishes with it");

  try {
    throw ZaM::BaseException(5);
  } catch (ZaM::BaseException const& failure) {
    require(failure.GetErrorDescription() == u"Out of memory", "the text of an exception");
  }
  return 0;
}
