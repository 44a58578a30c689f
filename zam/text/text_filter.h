// The contract of text filters: text in, a stream of word symbols out.
#ifndef ZAM_TEXT_TEXT_FILTER_H
#define ZAM_TEXT_TEXT_FILTER_H

#include <cstdint>
#include <vector>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// Turns text into a compact stream of words made of small numbers, the symbols.
///
/// The stream is bytes: a 0, then for each word its symbols and a 0. "ab cd" becomes 0 26 27 0 28 29 0, an empty text
/// the single byte 0. Which characters make words and which symbols they have is up to the derived class; every byte of
/// a word lies below `GetSymbolCount`.
///
/// Owning:   counted; a derived class makes it with a count of 1, `Release` ends it.
/// Threads:  the count is a plain number. One object may filter on several threads at once as long as none of them
///           changes its settings or its count.
/// Errors:   this class throws nothing of its own; a text that doesn't fit is no error.
/// Deriving: a class that declares one `FilterText…` hides all inherited ones of that name; override both forms.
class ZAM_EXPORT TextFilter {
 public:
  /// Copying copies the reference count as well, against the custom of counted objects: a copy made with `new` is owned
  /// by as many references as its source, and an object assigned to forgets how many it had. Both are right only where
  /// the two counts agree.
  TextFilter(TextFilter const&) = default;
  TextFilter& operator=(TextFilter const&) = default;

  /// The same as `FilterTextW` with positions.
  virtual unsigned int FilterText(wchar const* text, unsigned int length, char* out, unsigned int outSize,
                                  std::vector<std::int32_t>& positions);

  /// Filters `length` bytes of `text` into `out` and returns how many bytes it wrote, at most `outSize`.
  ///
  /// `positions` becomes one index into `text` for each byte written: see AsciiTextFilter. Neither text is
  /// zero-terminated.
  virtual unsigned int FilterTextA(char const* text, unsigned int length, char* out, unsigned int outSize,
                                   std::vector<std::int32_t>& positions) = 0;
  virtual unsigned int FilterTextA(char const* text, unsigned int length, char* out, unsigned int outSize) = 0;

  /// The same for `length` 16-bit code units; positions count those.
  virtual unsigned int FilterTextW(wchar const* text, unsigned int length, char* out, unsigned int outSize,
                                   std::vector<std::int32_t>& positions) = 0;
  virtual unsigned int FilterTextW(wchar const* text, unsigned int length, char* out, unsigned int outSize) = 0;

  /// One more than the greatest symbol in a word.
  virtual unsigned int GetSymbolCount() = 0;

  /// A printable byte for each of 256 symbols. Belongs to the filter.
  virtual unsigned char const* GetAlphaNum() = 0;

  /// The same as `FilterTextW` without positions.
  unsigned int FilterText(wchar const* text, unsigned int length, char* out, unsigned int outSize);

  /// Adds 1 to the count and returns it.
  std::int32_t AddRefCount() { return ++refCount; }

  /// Subtracts 1 from the count and returns it. At 0 or below the object is gone.
  std::int32_t Release();

 protected:
  TextFilter() = default;
  virtual ~TextFilter();

 private:
  std::int32_t refCount = 0;
};

}  // namespace ZaM

#endif
