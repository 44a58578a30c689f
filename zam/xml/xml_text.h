// The text of an XML node, wide only once somebody looks at it; internal.
#ifndef ZAM_XML_XML_TEXT_H
#define ZAM_XML_XML_TEXT_H

#include <atomic>
#include <cstdint>
#include <string_view>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM::detail {

/// UTF-8 in the memory of a document: this, and the bytes directly after it.
struct StoredText {
  std::uint32_t size;

  [[nodiscard]] std::string_view View() const { return {reinterpret_cast<char const*>(this + 1), size}; }
};

/// One text, in one word. A document that is read holds its texts as they come; the wide string is made when it is
/// asked for, and is the text from then on, at the same place until this ends.
///
/// Threads: any number may call the const operations at once, so that looking changes nothing that others can see.
/// Errors:  BaseException with id 5 where memory runs out; the text is then what it was.
class ZAM_EXPORT XmlText {
 public:
  /// Empty.
  XmlText() = default;
  /// `stored`, which outlives this; null is empty.
  explicit XmlText(StoredText const* stored) : word(reinterpret_cast<std::uintptr_t>(stored)) {}
  explicit XmlText(wstring const& text) { Set(text); }
  XmlText(XmlText const&) = delete;
  XmlText& operator=(XmlText const&) = delete;
  ~XmlText() {
    if (std::uintptr_t const held = word.load(std::memory_order_relaxed); IsWide(held)) delete WideIn(held);
  }

  [[nodiscard]] wstring const& Get() const {
    std::uintptr_t const held = word.load(std::memory_order_acquire);
    return IsWide(held) ? *WideIn(held) : Widen(held);
  }

  /// A string of the caller's own, without making one here.
  [[nodiscard]] wstring Copy() const;
  [[nodiscard]] bool IsEmpty() const;

  wstring const& Set(wstring const& text);

 private:
  static bool IsWide(std::uintptr_t held) { return (held & 1) != 0; }
  static wstring* WideIn(std::uintptr_t held) { return reinterpret_cast<wstring*>(held - 1); }
  static StoredText const* StoredIn(std::uintptr_t held) { return reinterpret_cast<StoredText const*>(held); }
  wstring& Widen(std::uintptr_t held) const;

  mutable std::atomic<std::uintptr_t> word = 0;  // a StoredText, or a wide string of ours with the lowest bit set
};

}  // namespace ZaM::detail

#endif
