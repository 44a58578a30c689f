#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

#include "tests/support/failing_allocation.h"
#include "tests/support/files_in.h"
#include "tests/support/gzip.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/xml_text.h"
#include "zam/zam.h"

namespace ZaM {
namespace {

using test::Allocations;
using test::Describe;
using test::FailEachAllocation;
using test::FailingAllocation;
using test::FailureId;
using test::Failures;
using test::TemporaryFolder;

struct Case {
  char const* name;
  std::function<void()> operation;
  std::function<std::string()> state;  // what is there behind it, the same each time
  /// Whether one that failed may leave this of the whole; without it, only what was there before, which is the same.
  bool (*mayLeave)(std::string const& left, std::string const& whole) = nullptr;
};

bool anything(std::string const& /*left*/, std::string const& /*whole*/) {
  return true;
}
bool itsFront(std::string const& left, std::string const& whole) {
  return whole.starts_with(left);
}

/// Lets each allocation of each operation fail: the library's own first, then those of libxml2 and zlib too. One that
/// ends well all the same has to have done all that it does.
void FailEach(std::vector<Case> const& cases) {
  for (auto const& [name, operation, state, mayLeave] : cases) {
    operation();
    std::string const whole = state();
    auto const openFiles = test::FilesIn("/proc/self/fd");
    auto const check = [&whole, mayLeave = mayLeave, &state = state](std::int32_t id) {
      std::string const left = state();
      EXPECT_TRUE(left == whole || (id != 0 && mayLeave && mayLeave(left, whole))) << id << " " << left;
    };
    for (Allocations const allocations : {Allocations::ofNew, Allocations::all}) {
      SCOPED_TRACE(std::string(name) + (allocations == Allocations::all ? " with C" : ""));
      std::vector<std::int32_t> ids = {5};
      if (allocations == Allocations::all) ids.push_back(0);
      EXPECT_GT(FailEachAllocation(operation, check, {ids, true, allocations}), 0u);
      check(0);
    }
    EXPECT_EQ(test::FilesIn("/proc/self/fd"), openFiles) << name;
  }
}

bool nothing(std::string const& left, std::string const& /*whole*/) {
  return left == "nothing";
}

/// Makes all of what a node makes when somebody looks.
void lookAt(XmlNode& node) {
  for (XmlProperty const* property : node.GetProperties()) static_cast<void>(property->GetValue());
  static_cast<void>(node.GetContent());
  Iterator* const walk = node.CreateIterator();
  if (!walk) throw BaseException(5);
  walk->Release();
  for (XmlNode* child : node.GetChildren()) lookAt(*child);
}

/// Notes each event.
class Notes : public XmlSaxCallback {
 public:
  void OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override {
    Add("<", name);
    for (; attributes && *attributes; attributes += 2) Add(" ", attributes[0]), Add("=", attributes[1]);
    parser->PushCallback(this);
  }
  void OnEndElement(XmlSaxParser* parser, unsigned char const*) override {
    text.append(reinterpret_cast<char const*>(parser->GetCharacterBuffer()), parser->GetCharacterBufferSize()) += '>';
  }
  std::string text;

 private:
  void Add(char const* mark, unsigned char const* bytes) {
    text.append(mark).append(reinterpret_cast<char const*>(bytes));
  }
};

TEST(XmlOutOfMemory, LeavesReadersUsableAndNeverSilentlyIncomplete) {
  TemporaryFolder const folder;
  std::string const longText(2100, 'x');
  std::string const text =
      "<?xml version='1.0' encoding='windows-1252'?><!DOCTYPE a [<!ENTITY e '<i>\xE9</i>'><!ATTLIST a d CDATA 'v'>]>"
      "<a p='&#9;\xFC'> <!--c--><b q='" +
      longText + "'>&e;" + longText + "</b><c><![CDATA[<]]></c> </a>";
  wstring const plain = folder.Write("plain", text).u16string();
  wstring const gzip = folder.Write("gzip", test::Gzip(text)).u16string();
  XmlTree tree;
  Notes notes;
  notes.text.reserve(30'000);  // what a callback itself throws passes through
  XmlSaxParser parser;
  auto const root = [&] { return Describe(tree.GetRoot()); };
  auto const noted = [&] { return notes.text; };
  FailEach({
      {"Read", [&] { tree.Read(plain); }, root, anything},
      {"Read gzip", [&] { tree.Read(gzip); }, root, anything},
      {"Read2", [&] { tree.SetFilename(plain), tree.Read2(); }, root, anything},
      {"Read2 gzip", [&] { tree.SetFilename(gzip), tree.Read2(); }, root, anything},
      {"ReadBuffer and look", [&] { tree.ReadBuffer(text), lookAt(*tree.GetRoot()); }, root, nothing},
      {"ParseFile", [&] { notes.text.clear(), parser.ParseFile(plain, &notes); }, noted, anything},
      {"ParseFile gzip", [&] { notes.text.clear(), parser.ParseFile(gzip, &notes); }, noted, anything},
      {"ParseMemory",
       [&] { notes.text.clear(), parser.ParseMemory(text.data(), static_cast<unsigned int>(text.size()), &notes); },
       noted, anything},
  });
}

// The first use on a thread, where libxml2 needs memory for the thread's settings.
TEST(XmlOutOfMemory, StrikesOnNewThreads) {
  bool goesOn = true;
  for (std::size_t n = 0; goesOn; ++n) {
    for (Failures const failures : {Failures::fromThenOn, Failures::once}) {
      // libxml2 can't bear to lack room that was there a moment ago.
      if (n == 1 && failures == Failures::fromThenOn) continue;
      std::thread([&] {
        XmlTree tree;
        FailingAllocation failing(n, failures, Allocations::all);
        std::int32_t const id = FailureId([&] { tree.ReadBuffer("<a/>"); });
        failing.Stop();
        EXPECT_TRUE(id == 5 || (id == 0 && Describe(tree.GetRoot()) == "<a/>")) << n << " " << id;
        goesOn = failing.HasFailed();
      }).join();
    }
  }
}

TEST(XmlOutOfMemory, LeavesWritersUsableAndFilesWithTheFrontOfTheDocument) {
  TemporaryFolder const folder;
  wstring const path = folder.Wide("written by all of them");
  wstring const text(3000, u'\u00FC');
  XmlTree tree;
  tree.SetRoot(XmlNode::Create(u"a name that needs memory"));
  for (wchar last = u'a'; last < u'k'; ++last) tree.GetRoot()->AddPropertySizet(text.substr(0, 10) + last, 5);
  tree.GetRoot()->AddSubNodeText(text, text);
  Ref<FullResult> const result(FullResult::Create());
  result->SetResultItem(2, 0.5F, ResultTypeScored);

  std::string const name(100, 'n');
  wstring const marks(20'000, u'<');
  std::string memory;
  auto const write = [&](StorageType type) {
    return [&, type] {
      ZamXmlOutStream stream(type);
      stream.Open(path);
      stream.CreateNode(name);
      stream.AddProperty(name, 1e9);
      stream.AddProperty(name, text);
      result->Save(name, &stream);
      stream.AddSubNodeText(name, marks);
      stream.CloseNode(name);
      stream.Close();
      EXPECT_TRUE(stream.IsWritten());
      memory = stream.getXmlString();
    };
  };
  auto const file = [&] { return folder.Bytes("written by all of them"); };
  auto const reports = [](std::int32_t expected, auto operation) {
    return [=] {
      std::int32_t const id = FailureId(operation);
      if (id != expected) throw BaseException(id);
    };
  };
  wstring const missing = path + u"/is no folder";
  struct Copy final : XmlTree {  // XmlTree has no virtual destructor
    using XmlTree::XmlTree;
  };
  std::optional<Copy> copy;
  std::string buffer;
  buffer.reserve(100'000), memory.reserve(200'000);
  FailEach({
      {"plain tree", [&] { tree.SetCompression(0), tree.Write(path); }, file, itsFront},
      {"gzip tree", [&] { tree.SetCompression(9), tree.Write(path); }, file, anything},
      {"text of a tree", [&] { buffer = tree.WriteBuffer(); }, [&] { return buffer; }},
      {"copy", [&] { copy.emplace(&tree); }, [&] { return copy ? Describe(copy->GetRoot()) : ""; }, itsFront},
      {"plain stream", write(StorageFile), file, itsFront},
      {"gzip stream", write(StorageCompressed), file, anything},
      {"stream to memory", write(StorageMemory), [&] { return memory; }},
      {"missing file", reports(2003, [&] { XmlTree{missing}; }), file},
      {"folder", reports(2002, [&] { XmlTree(&tree).Write(missing); }), file},
      {"no folder", reports(2002, [&] { ZamXmlOutStream(StorageCompressed, missing); }), file},
  });
}

}  // namespace
}  // namespace ZaM
