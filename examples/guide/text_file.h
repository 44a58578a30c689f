// Text files as representations of documents, and the factory that makes them.
#ifndef GUIDE_TEXT_FILE_H
#define GUIDE_TEXT_FILE_H

#include <zam/zam.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace guide {

inline ZaM::RepTag const fileTag = ZaM::SetRepTag("File");

// A text file as a view of a document; the text stays in the file.
class TextFile : public ZaM::ExternalRepresentation {
 public:
  static TextFile* Create(std::filesystem::path const& path) {
    return ZaM::CreateCounted([&] { return new TextFile(path); });
  }

  bool IsValid() const override { return file.is_open(); }
  ZaM::wstring GetLocation() const override { return location.u16string(); }
  bool CanStream() override { return true; }

  unsigned int GetBlock(char* buffer, unsigned int size) override {
    file.read(buffer, size);
    return static_cast<unsigned int>(file.gcount());
  }

 protected:
  explicit TextFile(std::filesystem::path const& path)
      : ExternalRepresentation(fileTag), location(path), file(path, std::ios::binary) {}

 private:
  std::filesystem::path const location;
  std::ifstream file;
};

// Makes them. The registry owns it.
class TextFileFactory : public ZaM::ExternalRepFactory {
 public:
  void Release() override { delete this; }
  std::string const& GetName() const override { return name; }
  ZaM::RepTag GetRepTag() const override { return fileTag; }
  ZaM::wstring GetDescription() const override { return u"Text files"; }

  ZaM::ExternalRepresentation* CreateRepresentation(ZaM::wstring const& path) const override {
    return path.ends_with(u".txt") ? TextFile::Create(path) : nullptr;
  }

 private:
  std::string const name = "text file";
};

}  // namespace guide

#endif
