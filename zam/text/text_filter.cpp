#include "zam/text/text_filter.h"

namespace ZaM {

TextFilter::~TextFilter() = default;

unsigned int TextFilter::FilterText(wchar const* text, unsigned int length, char* out, unsigned int outSize,
                                    std::vector<std::int32_t>& positions) {
  return FilterTextW(text, length, out, outSize, positions);
}

unsigned int TextFilter::FilterText(wchar const* text, unsigned int length, char* out, unsigned int outSize) {
  return FilterTextW(text, length, out, outSize);
}

std::int32_t TextFilter::Release() {
  auto const left = --refCount;
  if (left <= 0) delete this;
  return left;
}

}  // namespace ZaM
