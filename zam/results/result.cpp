#include "zam/results/result.h"

namespace ZaM {

Result::~Result() = default;

}  // namespace ZaM
