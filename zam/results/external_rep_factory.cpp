#include "zam/results/external_rep_factory.h"

namespace ZaM {

ExternalRepFactory::~ExternalRepFactory() = default;

}  // namespace ZaM
