#include "zam/model/representation.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace ZaM {

constinit Representation::RepTag const Representation::DefaultTag = {{'D', 'f', 'l', 't'}};

Representation::~Representation() = default;

double Representation::dot(Representation const& /*other*/) const {
  return 0.0;
}

void Representation::add(Representation const& /*other*/) {}

void Representation::sub(Representation const& /*other*/) {}

double Representation::dist(Representation const& /*other*/) const {
  return 0.0;
}

bool Representation::IsValid() const {
  return false;
}

double Representation::GetMinimum() const {
  return 1.0;
}

double Representation::GetMaximum() const {
  return 1.0;
}

bool Representation::Save(std::basic_ostream<char>* /*stream*/) {
  return false;
}

bool Representation::Load(std::basic_istream<char>* /*stream*/) {
  return false;
}

std::string Representation::GetTagName() const {
  return {std::begin(tag.name), std::find(std::begin(tag.name), std::end(tag.name), '\0')};
}

void Representation::SetTagName(std::string const& name) {
  tag = SetRepTag(name);
}

RepTag SetRepTag(std::string const& name) {
  RepTag tag = Representation::DefaultTag;
  if (name.size() == sizeof tag.name) std::memcpy(tag.name, name.data(), sizeof tag.name);
  return tag;
}

}  // namespace ZaM
