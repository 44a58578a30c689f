#include "zam/xml/zam_xml_out_stream.h"

#include <libxml/encoding.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

#include "zam/foundation/create_counted.h"
#include "zam/platform/file.h"
#include "zam/platform/files.h"
#include "zam/platform/surrogates.h"
#include "zam/platform/unicode.h"
#include "zam/xml/gzip_file.h"
#include "zam/xml/number_text.h"
#include "zam/xml/step_buffer.h"
#include "zam/xml/xml_escape.h"
#include "zam/xml/xml_library.h"

namespace ZaM {

namespace {

constexpr std::string_view declaration = "<?xml version=\"1.0\"?>\n";
constexpr std::size_t numberCapacity = 256;  // units, with the one for a zero after the number
constexpr wchar replacementCharacter = 0xFFFD;

_xmlCharEncodingHandler* FetchEncodingHandler() {
  detail::XmlScope const scope;
  return xmlGetCharEncodingHandler(XML_CHAR_ENCODING_UTF16LE);
}

char* Put(char* out, char byte) {
  *out = byte;
  return out + 1;
}

char* Put(char* out, std::string_view text) {
  std::memcpy(out, text.data(), text.size());
  return out + text.size();
}

/// What the first byte of a sequence says: how many bytes there are, and the uppermost bits.
struct Lead {
  std::size_t length;
  unsigned int bits;
};

Lead LeadOf(unsigned char byte) {
  if (byte < 0x80) return {1, byte};
  if (byte < 0xE0) return {2, byte & 0x1Fu};
  if (byte < 0xF0) return {3, byte & 0x0Fu};
  if (byte < 0xF8) return {4, byte & 0x07u};
  return {1, replacementCharacter};
}

}  // namespace

ZamXmlOutStream::ZamXmlOutStream()
    : buffer(ReportOutOfMemory([] { return std::make_unique<detail::StepBuffer>(); })),
      encodingHandler(FetchEncodingHandler()) {}

ZamXmlOutStream::ZamXmlOutStream(StorageType type) : ZamXmlOutStream() {
  storageType = type;
  BeginDocument();
}

ZamXmlOutStream::ZamXmlOutStream(StorageType type, wstring const& filename) : ZamXmlOutStream(type) {
  if (type == StorageFile || type == StorageCompressed) OpenFile(filename, type == StorageCompressed);
}

ZamXmlOutStream::~ZamXmlOutStream() {
  if (storageType != StorageMemory) HandOver();
  CloseFiles();
}

void ZamXmlOutStream::Open(wstring const& filename) {
  bool const isOpen = compressedFile || (fileStream && fileStream->is_open());
  if (isOpen) throw XmlException(ErrorId::FileAlreadyOpen);
  HandOver();  // what was written without a file mustn't get into this one
  if (storageType == StorageFile || storageType == StorageCompressed) {
    OpenFile(filename, storageType == StorageCompressed);
  }
  BeginDocument();
}

void ZamXmlOutStream::Close() {
  WriteBuffer();
  HandOver();
  CloseFiles();
}

std::string const& ZamXmlOutStream::getXmlString() {
  if (storageType == StorageMemory) HandOver();
  return xmlString;
}

void ZamXmlOutStream::ClearBuffer() {
  buffer->DropPending();
}

void ZamXmlOutStream::utf8towstr(wstring& result, std::string const& text) {
  ReportOutOfMemory([&] { result.reserve(result.size() + text.size()); });
  for (std::size_t at = 0; at < text.size();) {
    auto [length, point] = LeadOf(static_cast<unsigned char>(text[at]));
    if (text.size() - at < length) {
      result += replacementCharacter;
      return;
    }
    for (std::size_t i = 1; i < length; ++i) point = point << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3Fu);
    at += length;
    if (length < 4) {
      result += static_cast<wchar>(point);
    } else {
      result += platform::HighSurrogate(point);
      result += platform::LowSurrogate(point);
    }
  }
}

void ZamXmlOutStream::CreateNode(std::string const& name) {
  char* out = MakeRoom(name.size() + 2);
  ReportOutOfMemory([&] { nodeStack.push(name); });
  WriteBuffer();
  if (tagOpen) out = Put(out, '>');
  out = Put(out, '<');
  out = Put(out, name);
  buffer->SetEnd(out);
  tagOpen = true;
}

void ZamXmlOutStream::CloseNode(std::string const& name) {
  if (nodeStack.empty() || nodeStack.top() != name) throw XmlException(ErrorId::XmlNodeNotClosable);
  char* out = MakeRoom(name.size() + 4);
  if (tagOpen) out = Put(out, '>');
  out = Put(out, "</");
  out = Put(out, name);
  out = Put(out, '>');
  buffer->SetEnd(out);
  WriteBuffer();
  nodeStack.pop();
  tagOpen = false;
}

void ZamXmlOutStream::AddProperty(std::string const& name, wstring const& value) {
  AddValue(name, value);
}

void ZamXmlOutStream::AddProperty(std::string const& name, bool const& value) {
  AddValue(name, value ? u"1" : u"0");
}

void ZamXmlOutStream::AddProperty(std::string const& name, std::int32_t const& value) {
  AddValue(name, detail::FormatNumber(value));
}

void ZamXmlOutStream::AddProperty(std::string const& name, std::int64_t const& value) {
  AddValue(name, detail::FormatNumber(value));
}

void ZamXmlOutStream::AddProperty(std::string const& name, unsigned int const& value) {
  AddValue(name, detail::FormatNumber(value));
}

void ZamXmlOutStream::AddProperty(std::string const& name, double const& value) {
  AddValue(name, detail::FormatDouble(value, numberCapacity));
}

void ZamXmlOutStream::AddProperty(std::string const& name, wchar const* value) {
  AddValue(name, value ? value : u"");
}

void ZamXmlOutStream::AddProperty(std::string const& name, char const* value) {
  AddValue(name, ReportOutOfMemory([&] { return platform::Utf16FromUtf8(value ? value : ""); }));
}

void ZamXmlOutStream::AddText(wstring const& text) {
  RequireOpenTag();
  char* out = MakeRoomForValue(1, text);
  out = Put(out, '>');
  out = detail::WriteEscaped(text, out);
  buffer->SetEnd(out);
  WriteBuffer();
  tagOpen = false;
}

void ZamXmlOutStream::AddSubNodeText(std::string const& name, wstring const& text) {
  char* out = MakeRoomForValue(2 * name.size() + 6, text);
  if (tagOpen) out = Put(out, '>');
  out = Put(out, '<');
  out = Put(out, name);
  out = Put(out, '>');
  out = detail::WriteEscaped(text, out);
  out = Put(out, "</");
  out = Put(out, name);
  out = Put(out, '>');
  buffer->SetEnd(out);
  WriteBuffer();
  tagOpen = false;
}

void ZamXmlOutStream::OpenFile(wstring const& filename, bool compressed) {
  ReportOutOfMemory([&] {
    if (compressed) {
      platform::File file = platform::File::CreateForWriting(filename);
      if (!file.IsOpen()) throw FileIOException(ErrorId::FileCreate, filename);
      compressedFile = std::make_unique<detail::GzipFile>(std::move(file), detail::GzipFile::Mode::Write);
      return;
    }
    auto plain = std::make_unique<std::ofstream>();
    auto lock = std::make_unique<platform::File>();
    std::string const path = platform::NativePath(filename);
    *lock = platform::File::CreateForWriting(filename);
    errno = 0;
    if (lock->IsOpen()) plain->open(path, std::ios_base::out);
    if (lock->IsOpen() && plain->fail() && errno == ENOMEM) throw BaseException(ErrorId::OutOfMemory);
    fileStream = std::move(plain);
    fileLock = std::move(lock);
  });
}

void ZamXmlOutStream::CloseFiles() {
  if (compressedFile && !compressedFile->Close()) written = false;
  compressedFile.reset();
  if (fileStream) {
    fileStream->close();
    if (fileStream->fail()) written = false;
  }
  fileStream.reset();
  fileLock.reset();
}

void ZamXmlOutStream::RequireOpenTag() const {
  if (nodeStack.empty() || !tagOpen) throw XmlException(ErrorId::NoOpenXmlNode);
}

void ZamXmlOutStream::AddValue(std::string const& name, std::u16string_view value) {
  RequireOpenTag();
  char* out = MakeRoomForValue(name.size() + 4, value);
  out = Put(out, ' ');
  out = Put(out, name);
  out = Put(out, "=\"");
  out = detail::WriteEscaped(value, out);
  out = Put(out, '"');
  buffer->SetEnd(out);
  WriteBuffer();
}

void ZamXmlOutStream::AddUnsigned(std::string const& name, std::uint64_t value) {
  AddValue(name, detail::FormatNumber(value));
}

void ZamXmlOutStream::BeginDocument() {
  ClearBuffer();
  buffer->SetEnd(Put(MakeRoom(declaration.size()), declaration));
  tagOpen = false;
  written = true;
}

char* ZamXmlOutStream::MakeRoom(std::size_t size) {
  if (!buffer->HasRoom(size)) HandOver();
  if (!buffer->HasRoom(size)) buffer->MakeRoom(size);
  return buffer->End();
}

char* ZamXmlOutStream::MakeRoomForValue(std::size_t others, std::u16string_view value) {
  if (!encodingHandler) throw BaseException(ErrorId::GeneralFailure);
  return MakeRoom(others + detail::EscapedCapacity(value.size()));
}

void ZamXmlOutStream::WriteBuffer() {
  buffer->Settle();
}

void ZamXmlOutStream::HandOver() {
  std::string_view const text = buffer->Settled();
  if (text.empty()) return;
  if (storageType == StorageMemory) {
    ReportOutOfMemory([&] { xmlString += text; });
  } else if (compressedFile) {
    if (!compressedFile->Write(text)) written = false;
  } else if (!fileStream || !fileStream->write(text.data(), static_cast<std::streamsize>(text.size()))) {
    written = false;
  }
  buffer->DropSettled();
}

}  // namespace ZaM
