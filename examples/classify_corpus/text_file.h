// From a file to the text in it.
#ifndef CLASSIFY_CORPUS_TEXT_FILE_H
#define CLASSIFY_CORPUS_TEXT_FILE_H

#include <filesystem>
#include <string>

namespace classify {

/// Why a file isn't used, as a note says it.
struct UnusableFile {
  std::string note;
};

/// The text of a file: of a help page in XML if its name ends in ".page", otherwise all of it, which has to be UTF-8,
/// or UTF-16 or UTF-32 with a byte order mark. Throws UnusableFile for what isn't there, may not be read, has more than
/// 16 MiB or isn't of its kind; RunError where reading fails.
std::u16string ReadText(std::filesystem::path const& path);

}  // namespace classify

#endif
