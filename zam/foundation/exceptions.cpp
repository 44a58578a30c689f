#include "zam/foundation/exceptions.h"

#include <charconv>
#include <cstddef>
#include <new>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/format_text.h"
#include "zam/foundation/library_texts.h"
#include "zam/foundation/messages.h"
#include "zam/foundation/never_destroyed.h"
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

wstring With(Message message, wstring const& detail, Message withoutDetail) {
  return detail.empty() ? Raw(withoutDetail) : With(message, detail);
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

wstring BaseSentence(std::int32_t id, wstring const& detail) {
  switch (id) {
    case 1:
      return With(Message::InvalidNamedArgument, detail, Message::InvalidArgument);
    case 3:
      return With(Message::InvalidFilePath, detail, Message::NullFilePath);
    case 5:
      return Raw(Message::OutOfMemory);
    case 17:
      return With(Message::UnknownErrorWithDetail, detail, Message::UnknownError);
    case 18:
      return With(Message::NewerNamedClassifier, detail, Message::NewerClassifier);
    case 25:
      return Raw(Message::FeatureNotSupported);
    case 27:
      return Raw(Message::XmlNodeInvalid);
    case 37:
      return With(Message::PreprocessingMissing, detail);
    case 38:
      return With(Message::NewerNamedExtraction, detail, Message::NewerExtraction);
    case 50:
      return Raw(Message::RegexSyntax);
    case 51:
      return With(Message::BarcodeErrorWithDetail, detail, Message::BarcodeError);
    case 53:
      return With(Message::SettingsIncomplete, detail, Message::SettingsIncomplete);
    default:
      return With(Message::BaseNumber, id);
  }
}

Message CanceledMessage(std::int32_t id) {
  switch (id) {
    case 20:
      return Message::ClassificationCanceled;
    case 21:
      return Message::TrainingCanceled;
    case 22:
      return Message::ParsingCanceled;
    case 23:
      return Message::AnalysisCanceled;
    default:
      return Message::CanceledNumber;
  }
}

Message XmlMessage(std::int32_t id) {
  switch (id) {
    case 3001:
      return Message::NoOpenXmlNode;
    case 3002:
      return Message::XmlNodeNotClosable;
    case 3003:
      return Message::FileAlreadyOpen;
    case 3004:
      return Message::FileStillOpen;
    case 3005:
      return Message::IllegalXmlCharacters;
    default:
      return Message::UnknownXmlError;
  }
}

template <class Number>
wstring Decimal(Number number) {
  char digits[24];
  return wstring(digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr);
}

/// What `make` gives, or an empty text if there is no memory for it: a failure is described while another one, such as
/// a lack of memory, is being dealt with.
template <class Make>
wstring OrNothing(Make make) {
  try {
    return make();
  } catch (std::bad_alloc const&) {
    return {};
  }
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

const wstring BaseException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    // The program's own words about what it doesn't support: neither formatted nor cut.
    if (errorId == 25 && !Detail().empty()) return Detail();
    return Cut(BaseSentence(errorId, Detail()), ordinaryCapacity);
  });
}

const wstring OutOfBoundsException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    std::int32_t const id = GetErrorId();
    return Cut(id == 8 ? IndexOutOfRange(current, bound) : With(Message::OutOfBoundsNumber, id), shortCapacity);
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
    std::int32_t const id = GetErrorId();
    Message const message = id == 9    ? Message::XmlFormatUpdate
                            : id == 10 ? Message::XmlSavedByNewerVersion
                                       : Message::XmlFormat;
    return Cut(With(message, node.Get()), shortCapacity);
  });
}

const wstring FileIOException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    switch (GetErrorId()) {
      case 2001:
        return With(Message::FileWrite, GetPathname());
      case 2002:
        return With(Message::FileCreate, GetPathname());
      case 2003:
        return With(Message::FileOpen, GetPathname());
      case 2004:
        return With(Message::FileRead, GetPathname(), Message::UnnamedFileRead);
      case 25:
        return With(Message::FileFormat, GetPathname());
      default:
        return u"FileIOException " + Decimal(GetErrorId()) + u", Filename: " + GetPathname();
    }
  });
}

const wstring UserCanceledException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    Message const message = CanceledMessage(GetErrorId());
    if (message != Message::CanceledNumber) return Raw(message);
    return Cut(With(message, GetErrorId()), canceledNumberCapacity);
  });
}

const wstring CollectionException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring {
    switch (GetErrorId()) {
      case 1001:
        return Cut(IndexOutOfRange(wrongIndex, itemCount), collectionCapacity);
      case 1002:
        return Cut(With(Message::ItemIdNotFound, wrongId), collectionCapacity);
      case 1003:
        return Cut(With(Message::ItemNameNotFound, wrongName.Get()), collectionCapacity);
      default:
        return Cut(With(Message::CollectionNumber, GetErrorId()), collectionCapacity);
    }
  });
}

const wstring XmlException::GetErrorDescription() const {
  return OrNothing([&]() -> wstring { return Cut(Raw(XmlMessage(GetErrorId())), shortCapacity); });
}

const wstring WinOperationException::GetErrorDescription() const {
  if (GetErrorId() != 100) return BaseException::GetErrorDescription();
  return OrNothing([&]() -> wstring {
    wstring const reason = platform::ErrorText(systemError);
    detail::FormatArgument const arguments[] = {Detail().c_str(), systemError, reason.c_str()};
    return detail::FormatText(Raw(Message::SystemCallFailed), arguments, systemCallCapacity);
  });
}

}  // namespace ZaM
