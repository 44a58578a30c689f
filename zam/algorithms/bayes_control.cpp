#include "zam/algorithms/bayes_control.h"

namespace ZaM {

BayesControl::~BayesControl() = default;

}  // namespace ZaM
