#include "zam/model/visitor.h"

namespace ZaM {

Visitor::~Visitor() = default;

void Visitor::DoVisit(Node* /*node*/) {}

}  // namespace ZaM
