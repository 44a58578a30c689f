#include "zam/model/iterator.h"

namespace ZaM {

void Iterator::Start() {}

void Iterator::Next() {}

bool Iterator::Done() {
  return true;
}

Node* Iterator::Current() {
  return nullptr;
}

void Iterator::Release() {
  delete this;
}

Iterator::~Iterator() = default;

}  // namespace ZaM
