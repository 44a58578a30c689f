// XML trees in short, to be compared as text.
#ifndef TESTS_SUPPORT_XML_TEXT_H
#define TESTS_SUPPORT_XML_TEXT_H

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "zam/zam.h"

namespace ZaM::test {

/// ASCII as it is, every other unit as \xxxx in hexadecimal.
inline std::string Ascii(wstring const& text) {
  std::string ascii;
  for (wchar const unit : text) {
    if (unit >= 0x20 && unit < 0x7F && unit != u'\\') {
      ascii += static_cast<char>(unit);
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\%04x", static_cast<unsigned int>(unit));
      ascii += escape;
    }
  }
  return ascii;
}

/// `<a p='v'><b/>[text]</a>`: the names of content nodes are left out. Trees of any depth.
inline std::string Describe(XmlNode const* root) {
  if (!root) return "nothing";
  std::string text;
  struct Level {
    XmlNode const* node;
    std::list<XmlNode*>::const_iterator next;
  };
  std::vector<Level> open;
  auto const begin = [&](XmlNode const& node) {
    if (node.IsContent()) {
      text += "[" + Ascii(node.GetContent()) + "]";
      return;
    }
    text += "<" + Ascii(node.GetName());
    for (XmlProperty const* property : node.GetProperties()) {
      text += " " + Ascii(property->GetName()) + "='" + Ascii(property->GetValue()) + "'";
    }
    text += node.GetChildren().empty() ? "/>" : ">";
    if (!node.GetChildren().empty()) open.push_back({&node, node.GetChildren().begin()});
  };
  begin(*root);
  while (!open.empty()) {
    Level& level = open.back();
    if (level.next == level.node->GetChildren().end()) {
      text += "</" + Ascii(level.node->GetName()) + ">";
      open.pop_back();
    } else {
      begin(**level.next++);
    }
  }
  return text;
}

}  // namespace ZaM::test

#endif
