// The failure of a run, other than those that the library reports.
#ifndef CLASSIFY_CORPUS_RUN_ERROR_H
#define CLASSIFY_CORPUS_RUN_ERROR_H

#include <string>

namespace classify {

/// The run can't go on; `message` tells the user why, in UTF-8.
struct RunError {
  std::string message;
};

}  // namespace classify

#endif
