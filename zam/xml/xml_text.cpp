#include "zam/xml/xml_text.h"

#include <memory>

#include "zam/foundation/create_counted.h"
#include "zam/xml/xml_conversion.h"

namespace ZaM::detail {

wstring XmlText::Copy() const {
  std::uintptr_t const held = word.load(std::memory_order_acquire);
  return ReportOutOfMemory([=] {
    if (isWide(held)) return *wideIn(held);
    return held == 0 ? wstring() : ToWide(storedIn(held)->View());
  });
}

bool XmlText::IsEmpty() const {
  std::uintptr_t const held = word.load(std::memory_order_acquire);
  return isWide(held) ? wideIn(held)->empty() : held == 0 || storedIn(held)->size == 0;
}

/// Of several threads that come here at once, one gets its string in, and the others take that one.
wstring& XmlText::widen(std::uintptr_t held) const {
  auto made = ReportOutOfMemory(
      [=] { return std::make_unique<wstring>(held == 0 ? wstring() : ToWide(storedIn(held)->View())); });
  auto const tagged = reinterpret_cast<std::uintptr_t>(made.get()) + 1;
  if (!word.compare_exchange_strong(held, tagged, std::memory_order_acq_rel)) return *wideIn(held);
  return *made.release();
}

wstring const& XmlText::Set(wstring const& text) {
  std::uintptr_t const held = word.load(std::memory_order_relaxed);
  if (isWide(held)) {
    ReportOutOfMemory([&] { *wideIn(held) = text; });
    return *wideIn(held);
  }
  auto made = ReportOutOfMemory([&] { return std::make_unique<wstring>(text); });
  word.store(reinterpret_cast<std::uintptr_t>(made.get()) + 1, std::memory_order_relaxed);
  return *made.release();
}

}  // namespace ZaM::detail
