#include "zam/results/external_representation.h"

namespace ZaM {

ExternalRepresentation::ExternalRepresentation(RepTag const& given) : Representation(given) {}

ExternalRepresentation::~ExternalRepresentation() = default;

bool ExternalRepresentation::CanStream() {
  return false;
}

unsigned int ExternalRepresentation::GetBlock(char* /*buffer*/, unsigned int /*size*/) {
  return 0;
}

}  // namespace ZaM
