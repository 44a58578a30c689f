#include "zam/xml/list_iterator.h"

#include <new>

#include "zam/xml/xml_node.h"

namespace ZaM {

ListIterator* ListIterator::Create(std::list<XmlNode*>& nodes) {
  return new (std::nothrow) ListIterator(nodes);
}

ListIterator::~ListIterator() = default;

void ListIterator::Start() {
  position = nodes->begin();
}

void ListIterator::Next() {
  if (position != nodes->end()) ++position;
}

bool ListIterator::Done() {
  return position == nodes->end();
}

Node* ListIterator::Current() {
  return Done() ? nullptr : *position;
}

}  // namespace ZaM
