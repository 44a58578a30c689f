#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <thread>

#include "tests/support/failing_allocation.h"
#include "tests/support/files_in.h"
#include "tests/support/gzip.h"
#include "tests/support/memory_cases.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/xml_text.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

/// What an operation that fails may leave, beside what was there before.
enum class Left { nothing, front, anything };

struct Case {
  char const* name;
  std::function<void()> operation;
  std::function<std::string()> state;  // what is there after it, the same each time
  std::optional<Left> mayLeave = {};
};

/// Lets each allocation of each operation fail: the library's own first, then those of libxml2 and zlib too. One that
/// ends well all the same has to have done all that it does.
void FailEach(std::vector<Case> const& cases) {
  for (auto const& [name, operation, state, mayLeave] : cases) {
    operation();
    std::string const whole = state();
    auto const openFiles = FilesIn("/proc/self/fd");
    auto const check = [&whole, mayLeave = mayLeave, &state = state](std::int32_t id) {
      std::string const left = state();
      bool const isAllowed = mayLeave == Left::anything || (mayLeave == Left::front && whole.starts_with(left)) ||
                             (mayLeave == Left::nothing && left == "nothing");
      EXPECT_TRUE(left == whole || (id != 0 && isAllowed)) << id << " " << left;
    };
    for (Allocations const allocations : {Allocations::ofNew, Allocations::all}) {
      SCOPED_TRACE(std::string(name) + (allocations == Allocations::all ? " with C" : ""));
      std::vector<std::int32_t> ids = {5};
      if (allocations == Allocations::all) ids.push_back(0);
      EXPECT_GT(FailEachAllocation(operation, check, {ids, true, allocations}), 0u);
      check(0);
    }
    EXPECT_EQ(FilesIn("/proc/self/fd"), openFiles) << name;
  }
}

struct DerivedTree final : XmlTree {  // XmlTree has no virtual destructor
  using XmlTree::XmlTree;
};

/// Makes all of what a node makes when somebody looks.
void LookAt(XmlNode& node) {
  for (XmlProperty const* property : node.GetProperties()) static_cast<void>(property->GetValue());
  static_cast<void>(node.GetContent());
  Iterator* const walk = node.CreateIterator();
  if (!walk) throw BaseException(5);
  walk->Release();
  for (XmlNode* child : node.GetChildren()) LookAt(*child);
}

TEST(XmlOutOfMemory, LeavesReadersUsableAndNeverSilentlyIncomplete) {
  TemporaryFolder const folder;
  std::string const longText(2100, 'x');
  std::string const text =
      "<?xml version='1.0' encoding='windows-1252'?><!DOCTYPE a [<!ENTITY e '<i>\xE9</i>'><!ATTLIST a d CDATA 'v'>]>"
      "<a p='&#9;\xFC'> <!--c--><b q='" +
      longText + "'>&e;" + longText + "</b><c><![CDATA[<]]></c> </a>";
  XmlTree tree;
  DerivedTree derived;
  auto const root = [&] { return Describe(tree.GetRoot()); };
  for (std::string const& bytes : {text, Gzip(text)}) {
    tree.SetFilename(folder.Write("file", bytes).u16string());
    derived.SetFilename(tree.GetFilename());
    FailEach({{"Read", [&] { tree.Read(); }, root, Left::anything},
              {"Read2", [&] { tree.Read2(); }, root, Left::anything},
              {"events", [&] { derived.Read(); }, [&] { return Describe(derived.GetRoot()); }, Left::anything}});
  }
  FailEach({{"ReadBuffer and look", [&] { tree.ReadBuffer(text), LookAt(*tree.GetRoot()); }, root, Left::nothing}});
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

  std::string const name(100, 'n');
  std::string buffer, memory;
  buffer.reserve(100'000), memory.reserve(200'000);
  auto const write = [&](StorageType type) {
    return [&, type] {
      ZamXmlOutStream stream(type);
      stream.Open(path);
      stream.CreateNode(name);
      stream.AddProperty(name, text);
      stream.AddSubNodeText(name, text);
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
  std::optional<DerivedTree> copy;
  FailEach({
      {"plain tree", [&] { tree.SetCompression(0), tree.Write(path); }, file, Left::front},
      {"gzip tree", [&] { tree.SetCompression(9), tree.Write(path); }, file, Left::anything},
      {"text of a tree", [&] { buffer = tree.WriteBuffer(); }, [&] { return buffer; }},
      {"copy", [&] { copy.emplace(&tree); }, [&] { return copy ? Describe(copy->GetRoot()) : ""; }, Left::front},
      {"plain stream", write(StorageFile), file, Left::front},
      {"gzip stream", write(StorageCompressed), file, Left::anything},
      {"stream to memory", write(StorageMemory), [&] { return memory; }},
      {"missing file", reports(2003, [&] { XmlTree{missing}; }), file},
      {"folder", reports(2002, [&] { XmlTree(&tree).Write(missing); }), file},
      {"no folder", reports(2002, [&] { ZamXmlOutStream(StorageCompressed, missing); }), file},
  });
}

TEST(XmlOutOfMemory, LeavesAStreamAsItWas) {
  std::string const name(100, 'n');
  wstring const value(20'000, u'<');
  wstring const longer(60'000, u'<');
  ZamXmlOutStream stream(StorageMemory);
  ExpectAllOrNothing({{"begin", [&] { stream.CreateNode(name); }},
                      {"property", [&] { stream.AddProperty(name, value); }},
                      {"number", [&] { stream.AddProperty("x", 1e9); }},
                      {"text", [&] { stream.AddText(longer); }},
                      {"sub node", [&] { stream.AddSubNodeText(name, longer); }}},
                     [&] { return stream.getXmlString(); });
  stream.CloseNode(name);
  EXPECT_TRUE(XmlTree().ReadBuffer(stream.getXmlString()));
}

TEST(XmlOutOfMemory, LeavesANodeAsItWas) {
  wstring const text = u"some text that needs memory";
  wstring const longer = text + text;
  wstring const number = u"-1234567890123456.5";
  Ref<XmlNode> const node(XmlNode::Create(text));
  for (int i = 0; i < 6; ++i) node->AddProperty(text + static_cast<wchar>(u'a' + i), u"1");
  node->AddProperty(number, number);
  node->AddSubNodeText(number, number);
  std::list<XmlNode*> found;
  auto const requireSubNode = [&] {
    std::int32_t const id = FailureId([&] { static_cast<void>(node->GetSubNodeText(text)); });
    if (id != 9) throw BaseException(id);
  };
  std::vector<MemoryCase> cases = {
      {"copy", [&] { Ref<XmlNode>(XmlNode::Create(node.Get())); }},
      {"make", [&] { Ref<XmlNode>(XmlNode::Create(text, text)); }},
      {"filter", [&] { node->FilterChildren(found, u""); }},
      {"required", requireSubNode},
      {"child", [&] { node->AddChild(text); }},
      {"content", [&] { node->AddContent(text); }},
      {"sub node", [&] { node->AddSubNodeText(text, text); }},
      {"number", [&] { node->AddSubNodeDouble(text, 0.5); }},
      {"property", [&] { node->AddProperty(text, text); }},
      {"value", [&] { node->GetProperty(text)->SetValue(longer); }},
      {"assign", [&] { *node->GetProperty(text) = XmlProperty(text, number); }},
      {"ninth property, of which a map may stay", [&] { node->AddPropertyDouble(u"d", 0.5); }},
      {"read", [&] { EXPECT_LT(node->GetPropertyDouble(number, 0) + node->GetSubNodeDouble(number, 0), 0); }},
      {"turn into content", [&] { node->SetContent(number); }},
  };
  for (MemoryCase& each : cases) each.outcomes.mayKeepMemory = true;
  ExpectAllOrNothing(cases, [&] { return Describe(node.Get()); });
}

}  // namespace
}  // namespace ZaM::test
