// The code that docs/guide.md shows on external representations; scripts/check-docs compares the two.
#include <gtest/gtest.h>
#include <zam/zam.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/temporary_folder.h"

namespace {

ZaM::RepTag const fileTag = ZaM::SetRepTag("File");

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

TEST(GuideTest, FindsAFactory) {
  ZaM::test::TemporaryFolder const folder;
  ZaM::wstring const path = folder.Write("letter.txt", std::string(10'000, 'x')).u16string();
  auto& platform = ZaM::ExternalRepFactoryPlatform::GetFactoryPlatform();
  platform.AddFactory(new TextFileFactory);  // the registry's from here on, also if it turns it down

  ZaM::Ref document(ZaM::DocumentNode::Create());
  if (auto const* factory = platform.GetFactory("text file")) {
    document->AddRepresentation(factory->CreateRepresentation(path));
  }

  std::string text;
  auto* const file = dynamic_cast<ZaM::ExternalRepresentation*>(document->GetRepresentation(fileTag));
  char block[4096];
  while (unsigned int const size = file->GetBlock(block, sizeof block)) text.append(block, size);
  EXPECT_EQ(text, std::string(10'000, 'x'));

  platform.RemoveFactory("text file");
  EXPECT_EQ(platform.GetFactoryCount(), 0u);
}

}  // namespace
