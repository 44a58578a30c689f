#include "zam/model/analyzer.h"

namespace ZaM {

bool Analyzer::CanShareInternalRep() {
  return false;
}

std::int32_t Analyzer::AddRefCount() {
  return ++refCount;
}

std::int32_t Analyzer::Release() {
  std::int32_t const count = --refCount;
  if (count <= 0) delete this;
  return count;
}

bool Analyzer::Save(std::basic_ostream<char>* /*stream*/) {
  return false;
}

bool Analyzer::Load(std::basic_istream<char>* /*stream*/) {
  return false;
}

Analyzer::~Analyzer() = default;

}  // namespace ZaM
