// Any bytes as a series of events: from memory and from a file, with callbacks that take some elements and leave
// others, parse other documents in between, and throw.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "fuzz/scratch_file.h"
#include "zam/zam.h"

namespace {

std::string_view View(unsigned char const* text) {
  return reinterpret_cast<char const*>(text);
}

/// Notes what it is told, and throws an int instead of its event number `last`.
class Reader : public ZaM::XmlSaxCallback {
 public:
  explicit Reader(std::size_t last = SIZE_MAX) : left(last) {}

  void OnStartDocument(ZaM::XmlSaxParser* parser) override { Note(*parser, "^"); }
  void OnEndDocument(ZaM::XmlSaxParser* parser) override { Note(*parser, "$"); }

  void OnStartElement(ZaM::XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override {
    Require(attributes == nullptr || *attributes != nullptr);
    std::string tag("<");
    tag += View(name);
    for (; attributes != nullptr && *attributes != nullptr; attributes += 2) {
      tag.append(View(attributes[0])).append(View(attributes[1]));
      ReadNumbers(*parser, attributes[1]);
    }
    Note(*parser, tag);
    // The names decide what happens.
    switch (*name % 8) {
      case 0:
        return;
      case 1:
        return parser->PushCallback(nullptr);
      case 2:
        ParseAnother(*parser);
        break;
      case 3:
        parser->PushCallback(nullptr);
        break;
    }
    parser->PushCallback(this);
    open.emplace_back(View(name));
  }

  void OnEndElement(ZaM::XmlSaxParser* parser, unsigned char const* name) override {
    Require(!open.empty() && open.back() == View(name));
    open.pop_back();
    Note(*parser, ">");
  }

  std::string log;

 private:
  void Note(ZaM::XmlSaxParser& parser, std::string_view what) {
    if (left-- == 0) throw 0;
    unsigned char const* const text = parser.GetCharacterBuffer();
    log.append(text, text + parser.GetCharacterBufferSize()).append(what);
    ZaM::wstring wide;
    parser.ConvertString(text, static_cast<int>(parser.GetCharacterBufferSize()), wide);
    Require(wide.size() <= parser.GetCharacterBufferSize() && wide.empty() == (text == nullptr));
  }

  static void ReadNumbers(ZaM::XmlSaxParser const& parser, unsigned char const* value) {
    bool const isPlain = *value >= '1' && *value <= '9' && value[1] == 0;
    Require(!isPlain || parser.GetLongValue(value, -1) == *value - '0');
    Require(!isPlain || parser.GetSizetValue(value, 0) == parser.GetTimetValue(value, -1));
    Require(!isPlain || parser.GetDoubleValue(value, -1) == *value - '0');
    Require(parser.GetBoolValue(value, true) == (*value != '0'));
  }

  static void ParseAnother(ZaM::XmlSaxParser& parser) {
    Reader other;
    parser.ParseMemory("<d>1<e/>2</d>", 13, &other);
    Require(other.log == "^<d1<e>2>$");
    Reader thrower(1);
    try {
      parser.ParseMemory("<d>1<e/>2</d>", 13, &thrower);
    } catch (int) {
    }
    Require(thrower.log == "^");
  }

  std::size_t left;
  std::vector<std::string> open;
};

void Parse(ZaM::XmlSaxParser& parser, std::string_view text, Reader& reader) {
  parser.ParseMemory(text.data(), static_cast<unsigned int>(text.size()), &reader);
}

/// False where the file can't be read to its end.
bool ParseFile(ZaM::XmlSaxParser& parser, ScratchFile const& file, Reader& reader) {
  try {
    parser.ParseFile(file.Path(), &reader);
    return true;
  } catch (ZaM::FileIOException const& failure) {
    Require(failure.GetErrorId() == 2004);
    return false;
  }
}

template <class Run>
void Interrupt(std::size_t last, std::string const& whole, Run run) {
  Reader interrupted(last);
  try {
    run(interrupted);
  } catch (int) {
  }
  Require(whole.starts_with(interrupted.log));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string_view const text(reinterpret_cast<char const*>(data), size);
  ScratchFile const file(text);
  ZaM::XmlSaxParser parser;
  Reader fromMemory, fromFile;
  Parse(parser, text, fromMemory);
  Interrupt(size % 16, fromMemory.log, [&](Reader& reader) { Parse(parser, text, reader); });
  bool const isRead = ParseFile(parser, file, fromFile);
  Interrupt(size % 16, fromFile.log, [&](Reader& reader) { ParseFile(parser, file, reader); });
  bool const isPacked = text.starts_with("\x1f\x8b");
  Require(isPacked || (isRead && fromFile.log == fromMemory.log));
  return 0;
}
