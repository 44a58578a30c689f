// The failures that the library reports. All are thrown by value and caught as `BaseException const&`:
//
//   try {
//     classifier->DoAlgorithm(&control);
//   } catch (ZaM::UserCanceledException const&) {
//     return;                                         // the user knows
//   } catch (ZaM::BaseException const& failure) {
//     Show(failure.GetErrorId(), failure.GetErrorDescription());
//   }
//
// An exception holds a number and the raw data of its case. The sentence is made when it is asked for, in the language
// that was chosen when the library was loaded (see ResMgr). A number has its meaning only together with the class that
// carries it: 25 is one case in BaseException and another in FileIOException, and BaseException(20) doesn't say that
// anything was cancelled. A number without a case of its own gets its class's sentence for unknown numbers. The numbers
// stand in error_ids.h, and with their sentences in docs/errors.md.
//
// No class of the family is a std::exception, so that a `catch (std::exception const&)` catches none of them. A failure
// that nobody catches ends the program; DescribeUncaught in uncaught.h makes it say its sentence first.
//
// StructuredException, which a fault of the processor becomes, has a header of its own.
#ifndef ZAM_FOUNDATION_EXCEPTIONS_H
#define ZAM_FOUNDATION_EXCEPTIONS_H

#include <cstdint>
#include <memory>
#include <string>

#include "zam/foundation/error_ids.h"
#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

namespace detail {

/// A text that an exception carries.
class ZAM_EXPORT SharedText {
 public:
  SharedText() = default;
  /// Throws BaseException with id 5 when memory runs out.
  explicit SharedText(wstring const& given);

  [[nodiscard]] wstring const& Get() const noexcept;

 private:
  std::shared_ptr<wstring const> text;  // null where it is empty
};

}  // namespace detail

/// The root of the family, and the failures that need no more than a message.
///
/// Threads: never changes after construction; may be read by any number of threads. Threads that ask for sentences have
///          to end before the process does or unloads the library, which frees the language satellite.
/// Errors:  copying never fails: copies share their texts. Where there is no memory for the text of a new exception,
///          its constructor throws BaseException with id 5, which then is what a `throw` throws. Asking for a sentence
///          throws nothing; one that there is no memory for is empty.
class ZAM_EXPORT BaseException {
 public:
  /// Without a detail.
  explicit BaseException(std::int32_t id) : errorId(id) {}

  /// `message` is the detail that the sentence of `id` names: an argument, a path, a method, the cause.
  BaseException(std::int32_t id, wstring const& message) : errorId(id), text(message) {}

  BaseException(BaseException const&) = default;
  BaseException& operator=(BaseException const&) = default;
  virtual ~BaseException();

  /// The sentence for the user. Formatted sentences are cut to 1023 units; the bare message of
  /// ErrorId::FeatureNotSupported isn't cut.
  /// A number without a case gives "ZaM exception number …".
  [[nodiscard]] virtual const wstring GetErrorDescription() const;

  /// The sentence in UTF-8, made anew at each call, for programs that print it: `std::cerr << failure.what()`.
  [[nodiscard]] std::string what() const;

  /// The number, which decides on the sentence.
  [[nodiscard]] std::int32_t GetErrorId() const { return errorId; }

 protected:
  /// The message that the exception was made with, for sentences of derived classes.
  [[nodiscard]] wstring const& Detail() const { return text.Get(); }

 private:
  std::int32_t errorId;
  detail::SharedText text;  // empty without one
};

/// An index beyond the elements it should name. ErrorId::IndexOutOfRange; others give "ZaM exception number …".
class ZAM_EXPORT OutOfBoundsException : public BaseException {
 public:
  /// `maxIndex` is the number of elements: the first index that is out of range.
  OutOfBoundsException(std::int32_t id, std::int32_t currentIndex, std::int32_t maxIndex)
      : BaseException(id), current(currentIndex), bound(maxIndex) {}

  /// Names the index and the greatest one allowed, which is -1 where there are no elements. At most 127 units.
  [[nodiscard]] const wstring GetErrorDescription() const override;

  /// The two indices, as they were given.
  [[nodiscard]] std::int32_t GetCurrentIndex() const { return current; }
  [[nodiscard]] std::int32_t GetMaxIndex() const { return bound; }

 private:
  std::int32_t current;
  std::int32_t bound;  // exclusive
};

/// Something that is larger than the library takes: a size, a count, a depth or an effort.
/// Always ErrorId::LimitExceeded.
///
///     RequireAtMost(u"passes", passes, mostPasses);  // "Limit exceeded: passes (4294967295, at most 1048576)"
///
/// Never a lack of memory, which is ErrorId::OutOfMemory in a BaseException; an index has OutOfBoundsException.
class ZAM_EXPORT LimitExceededException : public BaseException {
 public:
  /// `what` names what was too large; `limit` is the greatest value that is allowed.
  LimitExceededException(wstring const& what, std::uint64_t value, std::uint64_t limit)
      : BaseException(ErrorId::LimitExceeded, what), tooLarge(value), most(limit) {}

  /// Names what was too large, its value and the limit. Cut to 1023 units.
  [[nodiscard]] const wstring GetErrorDescription() const override;

  /// What was too large. Valid as long as the exception.
  [[nodiscard]] wstring const& GetWhat() const { return Detail(); }
  /// The two numbers, as they were given.
  [[nodiscard]] std::uint64_t GetValue() const { return tooLarge; }
  [[nodiscard]] std::uint64_t GetLimit() const { return most; }

 private:
  std::uint64_t tooLarge;
  std::uint64_t most;  // inclusive
};

/// Throws LimitExceededException where `value` is above `limit`. Costs one comparison where it isn't.
inline void RequireAtMost(wchar const* what, std::uint64_t value, std::uint64_t limit) {
  if (value > limit) throw LimitExceededException(what, value, limit);
}

/// XML that is well-formed but doesn't say what was expected.
///
/// ErrorId::InvalidNodeFormat, ErrorId::NewerXmlFile; any other number says that a node has an invalid form.
class ZAM_EXPORT XMLFormatException : public BaseException {
 public:
  /// `nodeName` is the name of the node; for ErrorId::NewerXmlFile, the version that saved the file.
  XMLFormatException(std::int32_t id, wstring const& nodeName) : BaseException(id), node(nodeName) {}

  /// Names the node or the version. Cut to 127 units.
  [[nodiscard]] const wstring GetErrorDescription() const override;

 private:
  detail::SharedText node;
};

/// A file that couldn't be used.
///
/// ErrorId::FileRead and its neighbours, and ErrorId::FileFormatNotSupported. Any other number gives a fixed English
/// sentence with the number and the path.
class ZAM_EXPORT FileIOException : public BaseException {
 public:
  /// The sentence names `pathName`; without it, an empty path.
  explicit FileIOException(std::int32_t id) : BaseException(id) {}
  FileIOException(std::int32_t id, wstring const& pathName) : BaseException(id), path(pathName) {}

  /// Names the path. Cut to 1023 units, but for the fixed sentence.
  [[nodiscard]] const wstring GetErrorDescription() const override;

  /// The path, empty without one. Valid as long as the exception.
  [[nodiscard]] wstring const& GetPathname() const { return path.Get(); }

 private:
  detail::SharedText path;
};

/// The user's wish to stop, as an application's call-back reported it.
///
/// ErrorId::ClassificationCanceled and its neighbours. Other numbers give "ZaM exception number …".
class ZAM_EXPORT UserCanceledException : public BaseException {
 public:
  /// `id` says what was cancelled.
  explicit UserCanceledException(std::int32_t id) : BaseException(id) {}

  /// Says what was cancelled.
  [[nodiscard]] const wstring GetErrorDescription() const override;
};

/// An item that a collection doesn't hold. Each constructor goes with one number; any other number gives
/// "Unknown collection exception …".
class ZAM_EXPORT CollectionException : public BaseException {
 public:
  /// ErrorId::CollectionIndex: an index out of range. `bound` is the number of items.
  CollectionException(std::int32_t id, std::int32_t index, std::int32_t bound)
      : BaseException(id), wrongIndex(index), itemCount(bound) {}

  /// ErrorId::CollectionItemId: no item with this id.
  CollectionException(std::int32_t id, std::int32_t itemId) : BaseException(id), wrongId(itemId) {}

  /// ErrorId::CollectionItemName: no item with this name.
  CollectionException(std::int32_t id, wstring itemName) : BaseException(id), wrongName(itemName) {}

  /// Names the index and the greatest one allowed, the id or the name. Cut to 255 units.
  [[nodiscard]] const wstring GetErrorDescription() const override;

 private:
  // What the chosen constructor doesn't take stays empty.
  std::int32_t wrongIndex = 0;
  std::int32_t itemCount = 0;
  std::int32_t wrongId = 0;
  detail::SharedText wrongName;
};

/// An operation on an XML stream that its state doesn't allow.
///
/// ErrorId::NoOpenXmlNode and its neighbours. Any other number gives "Unknown XML error.".
class ZAM_EXPORT XmlException : public BaseException {
 public:
  /// `id` says what the state doesn't allow.
  explicit XmlException(std::int32_t id) : BaseException(id) {}

  /// `message` is kept, but no sentence shows it.
  XmlException(std::int32_t id, wstring const& message) : BaseException(id, message) {}

  [[nodiscard]] const wstring GetErrorDescription() const override;
};

/// A call of the operating system that failed.
///
///     if (mkdir(path) != 0) throw WinOperationException(ErrorId::SystemCall, u"mkdir", errno);
///
/// ErrorId::SystemCall; any other number has the sentence of BaseException, with the operation as its detail.
class ZAM_EXPORT WinOperationException : public BaseException {
 public:
  /// `operation` names the call, and `errorCode` is the system's number for what went wrong, such as `errno`.
  explicit WinOperationException(std::int32_t id) : BaseException(id) {}
  WinOperationException(std::int32_t id, wstring const& operation) : BaseException(id, operation) {}
  WinOperationException(std::int32_t id, wstring const& operation, std::uint32_t errorCode)
      : BaseException(id, operation), systemError(errorCode) {}

  /// Names the operation and the code, and adds the system's own text in the language of the calling thread's locale;
  /// nothing for a code that the system doesn't know. Cut to 511 units.
  [[nodiscard]] const wstring GetErrorDescription() const override;

 private:
  std::uint32_t systemError = 0;
};

}  // namespace ZaM

#endif
