#include "zam/foundation/exceptions.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/format_text.h"
#include "zam/foundation/library_texts.h"
#include "zam/foundation/messages.h"
#include "zam/foundation/never_destroyed.h"
#include "zam/foundation/text_encoding.h"
#include "zam/platform/error_text.h"

namespace ZaM {

namespace {

using detail::Message;

// The most units of a sentence, a terminator counted, by what it is about.
constexpr std::size_t ordinaryCapacity = 1024;
constexpr std::size_t shortCapacity = 128;
constexpr std::size_t collectionCapacity = 256;
constexpr std::size_t canceledNumberCapacity = 256;
constexpr std::size_t systemCallCapacity = 512;

ResMgr const& Texts() {
  return detail::LibraryTexts::Get();
}
unsigned int IdOf(Message message) {
  return static_cast<unsigned int>(message);
}

wstring Raw(Message message) {
  return Texts().GetString(IdOf(message));
}
wstring With(Message message, wstring const& detail) {
  return Texts().GetString(IdOf(message), detail.c_str());
}
wstring With(Message message, std::int32_t number) {
  return Texts().GetStringL(IdOf(message), &number);
}

/// The sentence about an index; `bound` is the first index that is out of range, and the sentence names the last one
/// that isn't.
wstring IndexOutOfRange(std::int32_t index, std::int32_t bound) {
  auto const last = static_cast<std::int32_t>(static_cast<std::uint32_t>(bound) - 1);
  return Texts().GetStringL(IdOf(Message::IndexOutOfRange), &index, &last);
}

wstring Cut(wstring sentence, std::size_t capacity) {
  if (sentence.size() >= capacity) sentence.resize(capacity - 1);
  return sentence;
}

enum class Class {
  BaseException,
  CollectionException,
  FileIOException,
  LimitExceededException,
  OutOfBoundsException,
  StructuredException,
  UserCanceledException,
  WinOperationException,
  XMLFormatException,
  XmlException
};

struct Error {
  Class of;
  std::int32_t id;
  Message withDetail;
  Message withoutDetail;
};

constexpr Error errors[] = {
#define ZAM_ERROR(name, id, of, withDetail, withoutDetail, when) \
  {Class::of, ErrorId::name, Message::withDetail, Message::withoutDetail},
#include "zam/foundation/errors.def"
#undef ZAM_ERROR
};

/// The sentence of a case; nothing where the class has none for this number.
std::optional<wstring> SentenceOf(Class of, std::int32_t id, wstring const& detail = {}) {
  auto const* const found = std::ranges::find_if(errors, [&](Error const& e) { return e.id == id && e.of == of; });
  if (found == std::end(errors)) return std::nullopt;
  bool const isNamed = found->withoutDetail == Message::None || (found->withDetail != Message::None && !detail.empty());
  return isNamed ? With(found->withDetail, detail) : Raw(found->withoutDetail);
}

template <class Number>
wstring Decimal(Number number) {
  char digits[24];
  return wstring(digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr);
}

/// What `make` gives, or an empty text if there is no memory for it: a failure is described while another one, such as
/// a lack of memory, is being dealt with.
template <class Make>
std::invoke_result_t<Make> OrNothing(Make make) {
  try {
    return make();
  } catch (std::bad_alloc const&) {
  } catch (BaseException const&) {
  }
  return {};
}

}  // namespace

detail::SharedText::SharedText(wstring const& given) {
  if (!given.empty()) text = ReportOutOfMemory([&] { return std::make_shared<wstring const>(given); });
}

wstring const& detail::SharedText::Get() const noexcept {
  static NeverDestroyed<wstring> nothing;
  return text ? *text : nothing.Get();
}

BaseException::~BaseException() = default;

std::string BaseException::what() const {
  return OrNothing([&] { return ToUtf8(GetErrorDescription()); });
}

const wstring BaseException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    // The program's own words about what it doesn't support: neither formatted nor cut.
    if (errorId == ErrorId::FeatureNotSupported && !Detail().empty()) return Detail();
    auto sentence = SentenceOf(Class::BaseException, errorId, Detail());
    return Cut(sentence ? *std::move(sentence) : With(Message::BaseNumber, errorId), ordinaryCapacity);
  });
}

const wstring OutOfBoundsException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    std::int32_t const id = GetErrorId();
    bool const isKnown = id == ErrorId::IndexOutOfRange;
    return Cut(isKnown ? IndexOutOfRange(current, bound) : With(Message::OutOfBoundsNumber, id), shortCapacity);
  });
}

const wstring LimitExceededException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    return Texts().GetString(IdOf(Message::LimitExceeded), GetWhat().c_str(), Decimal(tooLarge).c_str(),
                             Decimal(most).c_str());
  });
}

const wstring XMLFormatException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    auto sentence = SentenceOf(Class::XMLFormatException, GetErrorId(), node.Get());
    return Cut(sentence ? *std::move(sentence) : With(Message::XmlFormat, node.Get()), shortCapacity);
  });
}

const wstring FileIOException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    auto sentence = SentenceOf(Class::FileIOException, GetErrorId(), GetPathname());
    if (sentence) return *std::move(sentence);
    return u"FileIOException " + Decimal(GetErrorId()) + u", Filename: " + GetPathname();
  });
}

const wstring UserCanceledException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    auto sentence = SentenceOf(Class::UserCanceledException, GetErrorId());
    return sentence ? *std::move(sentence) : Cut(With(Message::CanceledNumber, GetErrorId()), canceledNumberCapacity);
  });
}

const wstring CollectionException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    switch (GetErrorId()) {
      case ErrorId::CollectionIndex:
        return Cut(IndexOutOfRange(wrongIndex, itemCount), collectionCapacity);
      case ErrorId::CollectionItemId:
        return Cut(With(Message::ItemIdNotFound, wrongId), collectionCapacity);
      case ErrorId::CollectionItemName:
        return Cut(With(Message::ItemNameNotFound, wrongName.Get()), collectionCapacity);
      default:
        return Cut(With(Message::CollectionNumber, GetErrorId()), collectionCapacity);
    }
  });
}

const wstring XmlException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    auto sentence = SentenceOf(Class::XmlException, GetErrorId());
    return Cut(sentence ? *std::move(sentence) : Raw(Message::UnknownXmlError), shortCapacity);
  });
}

const wstring WinOperationException::GetErrorDescription() const {
  if (GetErrorId() != ErrorId::SystemCall) return BaseException::GetErrorDescription();
  return OrNothing([&]() -> wstring {
    wstring const reason = platform::ErrorText(systemError);
    detail::FormatArgument const arguments[] = {Detail().c_str(), systemError, reason.c_str()};
    return detail::FormatText(Raw(Message::SystemCallFailed), arguments, systemCallCapacity);
  });
}

}  // namespace ZaM
