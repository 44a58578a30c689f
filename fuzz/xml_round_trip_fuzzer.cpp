// Any tree, written and read back: the document is well-formed, and its elements, attributes and texts are those that
// were written, as far as XML can carry them.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "fuzz/units.h"
#include "tests/support/xml_text.h"
#include "zam/zam.h"

namespace {

using ZaM::wchar;
using ZaM::wstring;
using ZaM::XmlNode;
using ZaM::XmlTree;

/// Up to fifteen units.
wstring TakeText(Bytes& bytes) {
  std::size_t const most = bytes.Take() % 16;
  return bytes.TakeText(most);
}

void Build(XmlNode& root, Bytes& bytes) {
  constexpr int mostLevels = 200;
  XmlNode* open[mostLevels] = {&root};
  int level = 0;
  while (bytes.AreLeft()) {
    switch (bytes.Take() % 6) {
      case 0:
        open[level]->AddContent(TakeText(bytes));
        break;
      case 1:
        open[level]->AddProperty(TakeText(bytes), TakeText(bytes));
        break;
      case 2:
        open[level]->SetContent(TakeText(bytes));
        break;
      case 3:
        if (level + 1 < mostLevels) open[level + 1] = open[level]->AddChild(TakeText(bytes)), ++level;
        break;
      case 4:
        open[level]->AddSubNodeText(TakeText(bytes), TakeText(bytes));
        break;
      default:
        if (level > 0) --level;
    }
  }
}

/// What XML can't carry in a text, replaced.
wstring Carried(wstring text) {
  auto const isHigh = [](wchar unit) { return unit >= 0xD800 && unit < 0xDC00; };
  auto const isLow = [](wchar unit) { return unit >= 0xDC00 && unit < 0xE000; };
  for (std::size_t i = 0; i < text.size(); ++i) {
    wchar& unit = text[i];
    if (isHigh(unit) && i + 1 < text.size() && isLow(text[i + 1])) {
      ++i;
    } else if (isHigh(unit) || isLow(unit) || unit >= 0xFFFE) {
      unit = 0xFFFD;
    } else if (unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r') {
      unit = u' ';
    }
  }
  return text;
}

/// All texts and the number of elements, in the order of the document. White space counts for nothing.
std::string Essence(XmlNode const& node, bool isRoot) {
  std::string all;
  if (node.IsContent() || isRoot) {
    for (wchar const unit : Carried(node.GetContent())) {
      if (unit != u' ' && unit != u'\t' && unit != u'\n' && unit != u'\r') all += ZaM::test::Ascii(wstring(1, unit));
    }
  }
  if (node.IsContent() && !isRoot) return all;
  for (XmlNode const* child : node.GetChildren()) all += Essence(*child, false);
  return "<" + all + ">";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  Bytes bytes(data, size);
  XmlTree tree;
  tree.SetRoot(XmlNode::Create(TakeText(bytes)));
  Build(*tree.GetRoot(), bytes);
  XmlTree again;
  Require(again.ReadBuffer(tree.WriteBuffer()));
  Require(Essence(*again.GetRoot(), true) == Essence(*tree.GetRoot(), true));
  return 0;
}
