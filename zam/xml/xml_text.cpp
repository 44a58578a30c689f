#include "zam/xml/xml_text.h"

#include <memory>

#include "zam/foundation/create_counted.h"
#include "zam/xml/xml_conversion.h"

namespace ZaM::detail {

wstring XmlText::Copy() const {
  std::uintptr_t const held = word.load(std::memory_order_acquire);
  return ReportOutOfMemory([=] {
    if (IsWide(held)) return *WideIn(held);
    return held == 0 ? wstring() : ToWide(StoredIn(held)->View());
  });
}

bool XmlText::IsEmpty() const {
  std::uintptr_t const held = word.load(std::memory_order_acquire);
  return IsWide(held) ? WideIn(held)->empty() : held == 0 || StoredIn(held)->size == 0;
}

/// Of several threads that come here at once, one gets its string in, and the others take that one.
wstring& XmlText::Widen(std::uintptr_t held) const {
  auto made = ReportOutOfMemory(
      [=] { return std::make_unique<wstring>(held == 0 ? wstring() : ToWide(StoredIn(held)->View())); });
  auto const tagged = reinterpret_cast<std::uintptr_t>(made.get()) + 1;
  if (!word.compare_exchange_strong(held, tagged, std::memory_order_acq_rel)) return *WideIn(held);
  return *made.release();
}

wstring const& XmlText::Set(wstring const& text) {
  std::uintptr_t const held = word.load(std::memory_order_relaxed);
  if (IsWide(held)) {
    ReportOutOfMemory([&] { *WideIn(held) = text; });
    return *WideIn(held);
  }
  auto made = ReportOutOfMemory([&] { return std::make_unique<wstring>(text); });
  word.store(reinterpret_cast<std::uintptr_t>(made.get()) + 1, std::memory_order_relaxed);
  return *made.release();
}

}  // namespace ZaM::detail
