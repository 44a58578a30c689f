// A file for what a fuzz target hands to code that reads files.
#ifndef FUZZ_SCRATCH_FILE_H
#define FUZZ_SCRATCH_FILE_H

#include <unistd.h>

#include <fstream>
#include <string>
#include <string_view>

#include "zam/foundation/types.h"

/// One for each process that runs a target, in memory where there is such a folder; gone with this object.
class ScratchFile {
 public:
  explicit ScratchFile(std::string_view bytes) { std::ofstream(path, std::ios::binary) << bytes; }
  ScratchFile(ScratchFile const&) = delete;
  ScratchFile& operator=(ScratchFile const&) = delete;
  ~ScratchFile() { unlink(path.c_str()); }

  [[nodiscard]] ZaM::wstring Path() const { return {path.begin(), path.end()}; }

 private:
  std::string path =
      (access("/dev/shm", W_OK) == 0 ? "/dev/shm/zam_fuzz." : "/tmp/zam_fuzz.") + std::to_string(getpid());
};

#endif
