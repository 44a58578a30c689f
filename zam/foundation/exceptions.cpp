#include "zam/foundation/exceptions.h"

namespace ZaM {

BaseException::~BaseException() = default;

const wstring BaseException::GetErrorDescription() const {
  return {};
}
const wstring OutOfBoundsException::GetErrorDescription() const {
  return {};
}
const wstring XMLFormatException::GetErrorDescription() const {
  return {};
}
const wstring FileIOException::GetErrorDescription() const {
  return {};
}
const wstring UserCanceledException::GetErrorDescription() const {
  return {};
}
const wstring CollectionException::GetErrorDescription() const {
  return {};
}
const wstring XmlException::GetErrorDescription() const {
  return {};
}

}  // namespace ZaM
