// The guard of a lock file as a program: zam-lock-guard NAME, with the folder, the file and the hold as its open files
// 0, 1 and 2. The library starts it; see guard_process.h.
#include <unistd.h>

#include "zam/platform/lock_guard.h"

int main(int count, char** arguments) {
  if (count != 2) return 2;
  closefrom(3);  // where the starter couldn't
  ZaM::platform::Guard({0, 1, 2, arguments[1]});
  return 0;
}
