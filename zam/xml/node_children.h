// The walk over a node's children that makes no list of them; internal.
#ifndef ZAM_XML_NODE_CHILDREN_H
#define ZAM_XML_NODE_CHILDREN_H

#include <iterator>
#include <list>

#include "zam/xml/xml_node.h"

namespace ZaM {

/// The children as the node has them, for range-for. The node mustn't change meanwhile.
class XmlNode::Children {
 public:
  class Iterator {
   public:
    explicit Iterator(XmlNode const& node)
        : last(node.lastChild), list(node.childList.load(std::memory_order_acquire)) {
      if (last != nullptr) {
        at = last->nextInRing;
      } else if (list != nullptr) {
        entry = list->begin();
        LookAtEntry();
      }
    }

    XmlNode& operator*() const { return *at; }
    Iterator& operator++() {
      if (last != nullptr) {
        at = at == last ? nullptr : at->nextInRing;
      } else {
        ++entry;
        LookAtEntry();
      }
      return *this;
    }
    bool operator==(std::default_sentinel_t) const { return at == nullptr; }
    // Clang's analyzer doesn't see through one that the compiler makes of `==`.
    bool operator!=(std::default_sentinel_t) const { return at != nullptr; }

   private:
    void LookAtEntry() { at = entry == list->end() ? nullptr : *entry; }

    XmlNode* last;  // of the ring, or null
    std::list<XmlNode*> const* list;
    std::list<XmlNode*>::const_iterator entry;
    XmlNode* at = nullptr;
  };

  explicit Children(XmlNode const& walked) : node(walked) {}

  [[nodiscard]] Iterator begin() const { return Iterator(node); }
  [[nodiscard]] std::default_sentinel_t end() const { return {}; }
  [[nodiscard]] bool Empty() const { return begin() == end(); }

 private:
  XmlNode const& node;
};

}  // namespace ZaM

#endif
