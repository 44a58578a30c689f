#include <gtest/gtest.h>

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

constexpr int workers = 5;
constexpr int rounds = 20;

/// Runs `work` with the number of each worker, on threads of their own at once.
template <class Work>
void RunAtOnce(Work work) {
  std::vector<std::thread> threads;
  for (int worker = 0; worker < workers; ++worker) threads.emplace_back(work, worker);
  for (std::thread& thread : threads) thread.join();
}

/// Writes a document of a hundred rows; `atEach` is run at each.
template <class AtEach>
void WriteRows(ZamXmlOutStream& stream, int first, AtEach atEach) {
  stream.CreateNode("rows");
  for (int number = first; number < first + 100; ++number) {
    stream.CreateNode("row");
    stream.AddProperty("share", number / 7.0);
    stream.AddText(wstring(static_cast<std::size_t>(number % 50), u'\u4e00') + u"<&>");
    stream.CloseNode("row");
    atEach();
  }
  stream.CloseNode("rows");
  stream.Close();
}

std::string Rows(int first) {
  ZamXmlOutStream stream(StorageMemory);
  WriteRows(stream, first, [] {});
  return stream.getXmlString();
}

std::string TreeOf(std::string const& text) {
  XmlTree tree;
  return tree.ReadBuffer(text) ? Describe(tree.GetRoot()) : "malformed";
}

/// Counts the elements, and throws after the last that it may.
struct Counter : XmlSaxCallback {
  explicit Counter(int mostElements = 1'000) : most(mostElements) {}
  void OnStartElement(XmlSaxParser* parser, unsigned char const*, unsigned char const**) override {
    if (++count > most) throw BaseException(10);
    parser->PushCallback(this);
  }
  void OnEndElement(XmlSaxParser*, unsigned char const*) override {}
  int const most;
  int count = 0;
};

/// Other threads are in the middle of theirs while this one comes to the end of a document, and the other way round.
void WriteAndRead(wstring const& file, int number, std::string const& hostile) {
  std::string const expected = TreeOf(Rows(number));
  XmlTree held;
  held.ReadBuffer(Rows(number + 1));
  std::string const& text = held.WriteBuffer();
  std::string const before = text;
  ZamXmlOutStream stream(number % 2 == 0 ? StorageFile : StorageCompressed, file);
  WriteRows(stream, number, [&] { EXPECT_EQ(TreeOf(hostile).find("secret"), std::string::npos); });

  XmlTree tree(file);
  EXPECT_EQ(Describe(tree.GetRoot()), expected);
  EXPECT_TRUE(tree.Read2() && Describe(tree.GetRoot()) == expected);
  tree.SetCompression(number % 3);
  EXPECT_TRUE(tree.Write() && tree.Read2() && Describe(tree.GetRoot()) == expected);
  EXPECT_EQ(TreeOf(before.substr(0, before.size() / 2)), "malformed");
  XmlSaxParser parser;
  Counter counting, throwing(50);
  parser.ParseFile(file, &counting);
  EXPECT_EQ(counting.count, 101);
  EXPECT_EQ(FailureId([&] { parser.ParseFile(file, &throwing); }), 10);
  std::thread([&] { XmlTree(&tree).WriteBuffer(); }).join();
  EXPECT_EQ(text, before);
}

TEST(XmlThreads, WriteAndReadDocumentsOfTheirOwnAtOnce) {
  TemporaryFolder const folder;
  std::string const secret = folder.Write("secret", "secret");
  std::string const hostile = "<!DOCTYPE a [<!ENTITY e SYSTEM '" + secret + "'><!ENTITY f '<b/>'>]><a>&e;&f;</a>";
  RunAtOnce([&](int worker) {
    wstring const file = folder.Wide(std::to_string(worker));
    for (int round = 0; round < rounds; ++round) WriteAndRead(file, worker + round, hostile);
  });
}

TEST(XmlThreads, LookAtOneTreeAtOnceAndEndItInParts) {
  std::string const text = Rows(0);
  std::string const expected = TreeOf(text);
  for (int round = 0; round < rounds; ++round) {
    XmlTree tree;
    tree.ReadBuffer(text);
    RunAtOnce([&](int) { EXPECT_EQ(Describe(std::as_const(tree).GetRoot()), expected); });
    std::list<XmlNode*> const children = tree.GetRoot()->GetChildren();
    for (XmlNode* child : children) tree.GetRoot()->RemoveChild(child);
    RunAtOnce([&](int worker) {
      int number = 0;
      for (XmlNode* child : children) {
        if (number++ % workers == worker) child->Release();
      }
    });
  }
}

}  // namespace
}  // namespace ZaM::test
