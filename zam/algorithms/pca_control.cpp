#include "zam/algorithms/pca_control.h"

namespace ZaM {

PcaControl::~PcaControl() = default;

}  // namespace ZaM
