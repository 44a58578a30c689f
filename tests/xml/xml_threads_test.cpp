#include <gtest/gtest.h>

#include <barrier>
#include <filesystem>
#include <list>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/xml_text.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

constexpr int rounds = 20;
constexpr int workers = 4;
constexpr int holders = 4;

/// All threads are in the same round: each that holds something open goes one step on with it, each other works on
/// documents of its own from beginning to end.
using Round = std::barrier<>;

void writeRow(ZamXmlOutStream& stream, int number) {
  stream.CreateNode("row");
  stream.AddProperty("n", number);
  stream.AddProperty("share", number / 7.0);
  stream.AddText(wstring(static_cast<std::size_t>(number % 50), u'\u4e00') + u"<&>");
  stream.CloseNode("row");
}

std::string rows(int from, int to) {
  ZamXmlOutStream stream(StorageMemory);
  stream.CreateNode("rows");
  for (int number = from; number < to; ++number) writeRow(stream, number);
  stream.CloseNode("rows");
  stream.Close();
  return stream.getXmlString();
}

std::string treeOf(std::string const& text) {
  XmlTree tree;
  return tree.ReadBuffer(text) ? Describe(tree.GetRoot()) : "malformed";
}

/// Counts the elements that are called "row"; `atEach` is run at each.
template <class AtEach>
struct Rows : XmlSaxCallback {
  explicit Rows(AtEach function) : atEach(function) {}
  void OnStartElement(XmlSaxParser* parser, unsigned char const*, unsigned char const**) override {
    parser->PushCallback(this);
  }
  void OnEndElement(XmlSaxParser* parser, unsigned char const* name) override {
    if (*name != 'r' || name[3] != 0) return;
    parser->ConvertString(parser->GetCharacterBuffer(), static_cast<int>(parser->GetCharacterBufferSize()), text);
    ++count;
    atEach();
  }

  AtEach atEach;
  wstring text;
  int count = 0;
};

void workOnce(std::filesystem::path const& path, int number, std::string const& hostile) {
  wstring const file = path.u16string();
  std::string const text = rows(number, number + 100);
  std::string const expected = treeOf(text);
  ZamXmlOutStream stream(number % 2 == 0 ? StorageFile : StorageCompressed, file);
  stream.AddSubNodeText("first", u"document");
  stream.Close();
  stream.Open(file);
  stream.CreateNode("rows");
  for (int row = number; row < number + 100; ++row) writeRow(stream, row);
  stream.CloseNode("rows");
  stream.Close();

  XmlTree tree(file);
  EXPECT_EQ(Describe(tree.GetRoot()), expected);
  EXPECT_TRUE(tree.Read2() && Describe(tree.GetRoot()) == expected);
  tree.SetCompression(number % 3);
  EXPECT_TRUE(tree.Write() && tree.Read2() && Describe(tree.GetRoot()) == expected);
  EXPECT_EQ(treeOf(tree.WriteBuffer()), expected);
  EXPECT_EQ(treeOf(text.substr(0, text.size() / 2)), "malformed");
  EXPECT_EQ(treeOf(hostile).find("secret"), std::string::npos);

  XmlSaxParser parser;
  Rows counting([] {});
  parser.ParseFile(file, &counting);
  parser.ParseMemory(hostile.data(), static_cast<unsigned int>(hostile.size()), &counting);
  EXPECT_TRUE(counting.count == 100 && counting.text.ends_with(u"<&>"));
  Rows throwing([] { throw BaseException(10); });
  EXPECT_EQ(FailureId([&] { parser.ParseFile(file, &throwing); }), 10);
}

void holdStream(Round& round, wstring const& file, StorageType type) {
  ZamXmlOutStream stream(type, file);
  stream.CreateNode("rows");
  for (int number = 0; number < rounds; ++number) {
    round.arrive_and_wait();
    writeRow(stream, number);
  }
  stream.CloseNode("rows");
  stream.Close();
  XmlTree const tree(file);
  EXPECT_EQ(Describe(tree.GetRoot()), treeOf(rows(0, rounds)));
}

void holdParse(Round& round, wstring const& file) {
  Rows waiting([&] { round.arrive_and_wait(); });
  XmlSaxParser().ParseFile(file, &waiting);
  EXPECT_EQ(waiting.count, rounds);
}

/// Its nodes, and the text that WriteBuffer gave, are still there however many other threads come and go.
void holdTree(Round& round) {
  XmlTree tree;
  tree.ReadBuffer(rows(0, 3));
  std::string const& text = tree.WriteBuffer();
  std::string const before = text;
  for (int number = 0; number < rounds; ++number) {
    round.arrive_and_wait();
    std::thread([&] { XmlTree(&tree).WriteBuffer(); }).join();
    EXPECT_EQ(text, before);
  }
}

TEST(XmlThreads, LookAtOneTreeAtOnceAndEndItInParts) {
  std::string const text = rows(0, 300);
  std::string const expected = treeOf(text);
  XmlTree tree;
  tree.ReadBuffer(text);
  std::vector<std::thread> threads;
  for (int i = 0; i < workers; ++i) {
    threads.emplace_back([&] { EXPECT_EQ(Describe(std::as_const(tree).GetRoot()), expected); });
  }
  for (std::thread& thread : threads) thread.join();
  threads.clear();
  std::list<XmlNode*> const children = tree.GetRoot()->GetChildren();
  for (XmlNode* child : children) tree.GetRoot()->RemoveChild(child);
  for (int i = 0; i < workers; ++i) {
    threads.emplace_back([&, i] {
      int number = 0;
      for (XmlNode* child : children) {
        if (number++ % workers == i) child->Release();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(XmlThreads, ReadWriteStreamAndParseAtOnceWhileOthersHoldTheirsOpen) {
  TemporaryFolder const folder;
  auto const parsed = folder.Write("parsed", rows(0, rounds));
  std::string const secret = folder.Write("secret", "secret");
  std::string const hostile = "<!DOCTYPE a [<!ENTITY e SYSTEM '" + secret + "'><!ENTITY f '<b/>'>]><a>&e;&f;</a>";
  Round round(workers + holders);
  std::vector<std::thread> threads;
  threads.emplace_back([&] { holdStream(round, (folder.Path() / "plain").u16string(), StorageFile); });
  threads.emplace_back([&] { holdStream(round, (folder.Path() / "gzip").u16string(), StorageCompressed); });
  threads.emplace_back([&] { holdParse(round, parsed.u16string()); });
  threads.emplace_back([&] { holdTree(round); });
  for (int worker = 0; worker < workers; ++worker) {
    threads.emplace_back([&, worker] {
      for (int i = 0; i < rounds; ++i) {
        round.arrive_and_wait();
        workOnce(folder.Path() / std::to_string(worker), worker + i, hostile);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace ZaM::test
