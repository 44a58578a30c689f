// The numbers of the library's failures. scripts/make-errors writes this file from errors.def.
#ifndef ZAM_FOUNDATION_ERROR_IDS_H
#define ZAM_FOUNDATION_ERROR_IDS_H

#include <cstdint>

/// The numbers of the failures, each with the class that carries it: `BaseException(ErrorId::OutOfMemory)`.
namespace ZaM::ErrorId {

// NOLINTBEGIN(readability-identifier-naming): they are named and used like enumerators.

/// BaseException: an argument can't be used, such as a null callback or a text that is no UUID.
inline constexpr std::int32_t InvalidArgument = 1;
/// BaseException, by programs: a path can't be used.
inline constexpr std::int32_t InvalidFilePath = 3;
/// BaseException: memory has run out; never because a limit is passed.
inline constexpr std::int32_t OutOfMemory = 5;
/// OutOfBoundsException: an index or id is beyond the elements.
inline constexpr std::int32_t IndexOutOfRange = 8;
/// XMLFormatException: a node lacks a child or has a form that isn't known.
inline constexpr std::int32_t InvalidNodeFormat = 9;
/// XMLFormatException, by programs: a newer version saved the file; the detail is that version.
inline constexpr std::int32_t NewerXmlFile = 10;
/// BaseException: XML isn't well-formed or can't be converted.
inline constexpr std::int32_t GeneralFailure = 17;
/// StructuredException: a fault of the processor strikes a thread that asked for it.
inline constexpr std::int32_t SystemFault = 17;
/// BaseException, by programs: a newer version of a classifier saved the file.
inline constexpr std::int32_t NewerClassifier = 18;
/// UserCanceledException: the callback of a classifier wants to stop.
inline constexpr std::int32_t ClassificationCanceled = 20;
/// UserCanceledException: the callback of a training wants to stop.
inline constexpr std::int32_t TrainingCanceled = 21;
/// UserCanceledException, by programs: their user stops the search of a folder.
inline constexpr std::int32_t DirectoryParsingCanceled = 22;
/// UserCanceledException, by programs: their user stops the analysis of a document.
inline constexpr std::int32_t DocumentAnalysisCanceled = 23;
/// BaseException, by programs: they don't support what is asked for; a detail is the sentence itself.
inline constexpr std::int32_t FeatureNotSupported = 25;
/// FileIOException, by programs: a file has an unknown format.
inline constexpr std::int32_t FileFormatNotSupported = 25;
/// BaseException: a tree without a root is written.
inline constexpr std::int32_t InvalidXmlNode = 27;
/// BaseException, by programs: a preprocessing method isn't installed.
inline constexpr std::int32_t PreprocessingMissing = 37;
/// BaseException, by programs: a newer version of an extraction method saved the file.
inline constexpr std::int32_t NewerExtraction = 38;
/// BaseException, by programs: a regular expression is malformed.
inline constexpr std::int32_t RegexSyntax = 50;
/// BaseException, by programs: no barcode is located.
inline constexpr std::int32_t BarcodeLocator = 51;
/// BaseException: something must be set before the call; the detail names it.
inline constexpr std::int32_t IncompleteSettings = 53;
/// WinOperationException, by programs: a call of the operating system fails.
inline constexpr std::int32_t SystemCall = 100;
/// CollectionException, by programs: a collection has no item at an index.
inline constexpr std::int32_t CollectionIndex = 1001;
/// CollectionException, by programs: no item has an id.
inline constexpr std::int32_t CollectionItemId = 1002;
/// CollectionException, by programs: no item has a name.
inline constexpr std::int32_t CollectionItemName = 1003;
/// FileIOException: a file can't be written to its end.
inline constexpr std::int32_t FileWrite = 2001;
/// FileIOException: a file can't be created.
inline constexpr std::int32_t FileCreate = 2002;
/// FileIOException: a file can't be opened.
inline constexpr std::int32_t FileOpen = 2003;
/// FileIOException: a file can't be read or ends too early.
inline constexpr std::int32_t FileRead = 2004;
/// XmlException: no start tag is open to take an attribute or a text.
inline constexpr std::int32_t NoOpenXmlNode = 3001;
/// XmlException: another node has to be closed first.
inline constexpr std::int32_t XmlNodeNotClosable = 3002;
/// XmlException: a stream that is open is opened.
inline constexpr std::int32_t FileAlreadyOpen = 3003;
/// XmlException, by programs: a stream is still open.
inline constexpr std::int32_t FileStillOpen = 3004;
/// XmlException, by programs: a text can't stand in XML.
inline constexpr std::int32_t IllegalXmlCharacters = 3005;
/// LimitExceededException: something is larger than the library takes.
inline constexpr std::int32_t LimitExceeded = 4001;

// NOLINTEND(readability-identifier-naming)

}  // namespace ZaM::ErrorId

#endif
