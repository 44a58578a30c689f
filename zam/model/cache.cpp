#include "zam/model/cache.h"

namespace ZaM {

Cache::~Cache() = default;

std::int32_t Cache::Release() {
  std::int32_t const count = --refCount;
  if (count <= 0) delete this;
  return count;
}

std::int32_t Cache::AddRefCount() {
  return ++refCount;
}

bool Cache::Open() {
  return false;
}

bool Cache::Close() {
  return false;
}

bool Cache::Flush() {
  return false;
}

bool Cache::DeleteFiles() {
  return false;
}

bool Cache::Save(std::uint32_t /*key*/, Node* /*node*/) {
  return false;
}

bool Cache::Save(wstring const& /*key*/, Node* /*node*/) {
  return false;
}

bool Cache::ItemExists(std::uint32_t /*key*/) {
  return false;
}

bool Cache::ItemExists(wstring const& /*key*/) {
  return false;
}

bool Cache::Load(std::uint32_t /*key*/, Node* /*node*/) {
  return false;
}

bool Cache::Load(wstring const& /*key*/, Node* /*node*/) {
  return false;
}

std::uint32_t Cache::GetStringHash(wstring const& /*key*/) {
  return 0;
}

std::int32_t Cache::GetDocumentCount() {
  return 0;
}

bool Cache::GetModified() {
  return false;
}

}  // namespace ZaM
