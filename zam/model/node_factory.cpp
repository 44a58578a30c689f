#include "zam/model/node_factory.h"

namespace ZaM {

NodeFactory::~NodeFactory() = default;

Node* NodeFactory::CreateNode() {
  return nullptr;
}

}  // namespace ZaM
