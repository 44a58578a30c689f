#include "zam/model/algorithm.h"

namespace ZaM {

Control::~Control() = default;

Algorithm::~Algorithm() = default;

void Algorithm::DoAlgorithm(Control* /*control*/) {}

Control* Algorithm::CreateController() {
  return nullptr;
}

bool Algorithm::Save(std::basic_ostream<char>* /*stream*/) {
  return false;
}

bool Algorithm::Load(std::basic_istream<char>* /*stream*/) {
  return false;
}

}  // namespace ZaM
