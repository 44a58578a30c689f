#include "zam/model/transformer.h"

namespace ZaM {

Transformer::~Transformer() = default;

void Transformer::Release() {
  delete this;
}

void Transformer::DoTransform(Node* /*first*/, Node* /*second*/) {}

}  // namespace ZaM
