// A folder of a test's own, gone with the test.
#ifndef TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define TESTS_SUPPORT_TEMPORARY_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ZaM::test {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "zam-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path = name;
  }
  TemporaryFolder(TemporaryFolder const&) = delete;
  TemporaryFolder& operator=(TemporaryFolder const&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }

  [[nodiscard]] std::filesystem::path const& Path() const { return path; }

  /// The path of what has this name here, as the library takes paths.
  [[nodiscard]] std::u16string Wide(std::filesystem::path const& name) const { return (path / name).u16string(); }

  /// The bytes of a file; none if there is no such file.
  [[nodiscard]] std::string Bytes(std::filesystem::path const& name) const {
    std::ifstream stream(path / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  /// What is in it: "file=content read-only!=content folder/ link>target", sorted.
  [[nodiscard]] std::string Shown() const {
    std::set<std::string> entries;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(path)) {
      std::string const name = entry.path().lexically_relative(path).string();
      auto const permissions = entry.symlink_status().permissions();
      bool const isWritable = (permissions & std::filesystem::perms::owner_write) != std::filesystem::perms::none;
      entries.insert(entry.is_symlink()        ? name + ">" + std::filesystem::read_symlink(entry).string()
                     : entry.is_regular_file() ? name + (isWritable ? "=" : "!=") + Bytes(name)
                                               : name + "/");
    }
    std::string shown;
    for (std::string const& entry : entries) shown += (shown.empty() ? "" : " ") + entry;
    return shown;
  }

  /// Writes a file, with the folders that lead to it; returns its full path.
  std::filesystem::path Write(std::filesystem::path const& name, std::string_view bytes) const {
    std::filesystem::path const file = path / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    stream << bytes;
    if (!stream.flush()) throw std::runtime_error("can't write " + file.string());
    return file;
  }

 private:
  std::filesystem::path path;
};

}  // namespace ZaM::test

#endif
