#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "tests/support/failing_allocation.h"
#include "tests/support/temporary_folder.h"
#include "zam/zam.h"

namespace ZaM {
namespace {

TEST(XmlOutOfMemory, EndsInOneExceptionWhereverItStrikes) {
  test::TemporaryFolder const folder;
  wstring const path = std::filesystem::path(folder.Write("a name that needs memory", "<a/>")).u16string();
  wstring const missing = path + u" and is missing";
  wstring const folderName = folder.Path().u16string();
  wstring const name = u"a name that needs memory";
  Ref<XmlNode> const node(XmlNode::Create(name));
  node->AddProperty(name, u"-1234567890123456.5");
  node->AddSubNodeText(name, u"-1234567890123456.5");
  auto const add = [](auto write) {
    return [write] {
      Ref<XmlNode> const written(XmlNode::Create(wstring()));
      write(*written);
    };
  };
  std::function<void()> const operations[] = {
      add([](XmlNode& to) { to.AddPropertyLong(wstring(), -1234567890); }),
      add([](XmlNode& to) { to.AddPropertySizet(wstring(), 1234567890); }),
      add([](XmlNode& to) { to.AddPropertyTimet(wstring(), -1); }),
      add([](XmlNode& to) { to.AddPropertyDouble(wstring(), 0.5); }),
      add([](XmlNode& to) { to.AddSubNodeDouble(wstring(), 0.5); }),
      [&] { EXPECT_LT(node->GetPropertyDouble(name, 0), 0); },
      [&] { EXPECT_LT(node->GetSubNodeDouble(name, 0), 0); },
      [&] { EXPECT_EQ(XmlTree(path).SetFilename(missing), missing); },
      [&] {
        try {
          static_cast<void>(node->GetSubNodeText(missing));
        } catch (XMLFormatException const&) {
        }
      },
      [&] {
        XmlTree tree;
        tree.SetRoot(XmlNode::Create(wstring()));
        tree.SetFilename(folderName);
        try {
          tree.Write();
        } catch (FileIOException const&) {
        }
      },
      [&] {
        XmlDefaultCallback callback;
        try {
          XmlSaxParser().ParseFile(missing, &callback);
        } catch (FileIOException const&) {
        }
      },
  };
  for (auto const& operation : operations) {
    SCOPED_TRACE(&operation - operations);
    EXPECT_GT(test::FailEachAllocation(operation, [] {}), 0u);
  }
}

}  // namespace
}  // namespace ZaM
