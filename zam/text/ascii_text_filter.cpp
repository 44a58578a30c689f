#include "zam/text/ascii_text_filter.h"

#include <algorithm>
#include <iterator>

#include "zam/foundation/create_counted.h"
#include "zam/platform/surrogates.h"
#include "zam/text/ascii_text_filter_run.h"
#include "zam/text/block_kernel.h"
#include "zam/text/symbol_tables.h"

namespace ZaM {

AsciiTextFilter* AsciiTextFilter::Create(unsigned char minWordLen, bool useDigits) {
  return CreateCounted([&] { return new AsciiTextFilter(minWordLen, useDigits); });
}

AsciiTextFilter::AsciiTextFilter(unsigned char shortest, bool withDigits) : kernel(detail::BestKernel()) {
  symbolCount = InitFilter(withDigits);
  minWordLen = shortest;
  useDigits = withDigits;
}

AsciiTextFilter::~AsciiTextFilter() = default;

unsigned int AsciiTextFilter::InitFilter(bool withDigits) {
  detail::FillSymbolTable(withDigits, wideTable);
  std::copy_n(wideTable, std::size(narrowTable), narrowTable);
  detail::FillPageTable(wideTable, pageTable);
  detail::FillDisplayTable(displayTable);
  minSymbol = detail::Symbols::firstDigit;
  maxSymbol = detail::Symbols::last;
  ideographSymbol = detail::Symbols::ideograph;
  firstDigitSymbol = detail::Symbols::firstDigit;
  firstLetterSymbol = detail::Symbols::firstLetter;
  droppedSymbol = detail::Symbols::dropped;
  return detail::Symbols::count;
}

std::int32_t AsciiTextFilter::EncodeCJK(wchar character, char* out) {
  auto const symbols = detail::EncodeIdeograph(character);
  for (unsigned int i = 0; i < 3; ++i) *out++ = static_cast<char>(symbols >> 8 * i & 0xFF);
  if (platform::IsHighSurrogate(character)) return 3;
  *out = 0;
  return 4;
}

void AsciiTextFilter::SetUseDigits(bool use) {
  useDigits = use;
  symbolCount = InitFilter(use);
}

unsigned int AsciiTextFilter::GetSymbolCount() {
  return symbolCount;
}

unsigned char const* AsciiTextFilter::GetAlphaNum() {
  return displayTable;
}

unsigned int AsciiTextFilter::FilterTextA(char const* text, unsigned int length, char* out, unsigned int outSize,
                                          std::vector<std::int32_t>& positions) {
  detail::PositionList list(positions);
  auto const* const bytes = reinterpret_cast<unsigned char const*>(text);
  Run<unsigned char, detail::PositionList> run(*this, narrowTable, bytes, length, out, outSize, list);
  return ReportOutOfMemory([&] { return run.Filter(); });
}

unsigned int AsciiTextFilter::FilterTextA(char const* text, unsigned int length, char* out, unsigned int outSize) {
  detail::NoPositions none;
  auto const* const bytes = reinterpret_cast<unsigned char const*>(text);
  return Run<unsigned char, detail::NoPositions>(*this, narrowTable, bytes, length, out, outSize, none).Filter();
}

unsigned int AsciiTextFilter::FilterTextW(wchar const* text, unsigned int length, char* out, unsigned int outSize,
                                          std::vector<std::int32_t>& positions) {
  detail::PositionList list(positions);
  Run<wchar, detail::PositionList> run(*this, wideTable, text, length, out, outSize, list);
  return ReportOutOfMemory([&] { return run.Filter(); });
}

unsigned int AsciiTextFilter::FilterTextW(wchar const* text, unsigned int length, char* out, unsigned int outSize) {
  detail::NoPositions none;
  return Run<wchar, detail::NoPositions>(*this, wideTable, text, length, out, outSize, none).Filter();
}

}  // namespace ZaM
