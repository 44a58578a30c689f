// All ways to read an XML document, for tests of what holds for each of them.
#ifndef TESTS_XML_READERS_H
#define TESTS_XML_READERS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "tests/support/gzip.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/xml_text.h"
#include "zam/xml/xml_library.h"
#include "zam/zam.h"

namespace ZaM::test {

/// `part` so many times, with a number from 0 on for each `#`.
inline std::string Repeated(std::string const& part, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) {
    for (char const c : part) c == '#' ? all += std::to_string(i) : all += c;
  }
  return all;
}

/// Notes its events as `^<a p='1'>[text in front of a tag]</a>$`, each after the recorder's name if it has one.
struct Recorder : XmlSaxCallback {
  Recorder() : log(ownLog) {}
  Recorder(std::string label, std::string& sharedLog) : name(std::move(label)), log(sharedLog) {}

  void OnStartDocument(XmlSaxParser* parser) override { Note(*parser, "^"); }
  void OnEndDocument(XmlSaxParser* parser) override { Note(*parser, "$"); }
  void OnStartElement(XmlSaxParser* parser, unsigned char const* element, unsigned char const** attributes) override {
    std::string tag = "<" + Text(element) + (attributes != nullptr && *attributes == nullptr ? " empty run" : "");
    for (; attributes != nullptr && *attributes != nullptr; attributes += 2) {
      tag += " " + Text(attributes[0]) + "='" + Text(attributes[1]) + "'";
    }
    Note(*parser, tag + ">");
    push(*parser, Text(element));
  }
  void OnEndElement(XmlSaxParser* parser, unsigned char const* element) override {
    Note(*parser, "</" + Text(element) + ">");
  }

  void Note(XmlSaxParser& parser, std::string const& event) {
    unsigned char const* const text = parser.GetCharacterBuffer();
    std::string const run(text, text + parser.GetCharacterBufferSize());
    log += name + (text != nullptr ? "[" + run + "]" : "") + event;
    onEvent(parser, event);
  }

  static std::string Text(unsigned char const* text) { return reinterpret_cast<char const*>(text); }

  std::string ownLog;
  std::string name;
  std::string& log;
  std::function<void(XmlSaxParser&, std::string const& event)> onEvent = [](auto&, auto const&) {};
  std::function<void(XmlSaxParser&, std::string const& element)> push = [this](auto& parser, auto const&) {
    parser.PushCallback(this);
  };
};

/// The ways, by what they give: events, a tree of what events leave, or a document model.
enum class Way { parseMemory, parseFile, read, read2, readBuffer, readWithBlanks, readWithReferences };
constexpr Way fileWays[] = {Way::parseFile, Way::read, Way::read2};
constexpr Way everyWay[] = {Way::parseMemory,    Way::parseFile,         Way::read, Way::read2, Way::readBuffer,
                            Way::readWithBlanks, Way::readWithReferences};

inline bool GivesEvents(Way way) {
  return way == Way::parseMemory || way == Way::parseFile;
}
inline bool ReadsFile(Way way) {
  return way >= Way::parseFile && way <= Way::read2;
}
inline bool GivesModel(Way way) {
  return way >= Way::read2;
}

/// Goes each way with one object, again and again, and looks whether it can still be used: nothing that a document
/// leaves behind shows in the next.
class Readers {
 public:
  /// What has been read, "malformed", `over 1000 bytes of …`, or the id of another failure after the events so far.
  std::string Read(Way way, std::string const& document, bool isPacked = false) {
    return ReadFile(way, ReadsFile(way) ? Written(isPacked ? Gzip(document) : document) : u"", document);
  }
  std::string ReadFile(Way way, wstring const& path, std::string const& document = "") {
    std::string result = Attempt(way, path, document);
    // As for all that follows in the process.
    EXPECT_EQ(detail::GetKeepBlanks(), way == Way::readWithBlanks);
    EXPECT_EQ(detail::GetSubstituteEntities(), way != Way::readWithReferences);
    std::uint64_t const most = std::exchange(mostBytes, UINT64_MAX);
    std::string const usable = Attempt(way, usablePath, usableDocument);
    EXPECT_EQ(usable, GivesEvents(way)  ? "^<a>[x]<b></b>[y]</a>$"
                      : GivesModel(way) ? "<a>[x]<b/>[y]</a>"
                                        : "<a><b/>[y]</a>");
    mostBytes = most;
    return result;
  }

  std::uint64_t mostBytes = UINT64_MAX;
  TemporaryFolder const folder;

 private:
  wstring Written(std::string const& bytes) {
    return folder.Write(std::to_string(++files), bytes).u16string();  // replacing one takes long on some file systems
  }

  std::string Attempt(Way way, wstring const& path, std::string const& document) {
    recorder.log.clear();
    parser.SetMaxBytes(mostBytes);
    tree.SetMaxBytes(mostBytes);
    detail::SetKeepBlanks(ReadsFile(way) || way == Way::parseMemory || way == Way::readWithBlanks);
    detail::SetSubstituteEntities(GivesModel(way) && way != Way::readWithReferences);
    try {
      switch (way) {
        case Way::parseMemory:
          parser.ParseMemory(document.data(), static_cast<unsigned int>(document.size()), &recorder);
          return recorder.log;
        case Way::parseFile:
          parser.ParseFile(path, &recorder);
          return recorder.log;
        case Way::read:
          EXPECT_TRUE(tree.Read(path));
          return Describe(tree.GetRoot());
        case Way::read2:
          tree.SetFilename(path);
          return Model(tree.Read2());
        default:
          return Model(tree.ReadBuffer(document));
      }
    } catch (LimitExceededException const& failure) {
      EXPECT_GT(failure.GetValue(), failure.GetLimit());
      EXPECT_TRUE(!GivesModel(way) || tree.GetRoot() == nullptr);
      return "over " + std::to_string(failure.GetLimit()) + " " + Ascii(failure.GetWhat());
    } catch (BaseException const& failure) {
      EXPECT_TRUE(GivesEvents(way) || failure.GetErrorId() != 2003 || tree.GetRoot() == nullptr);
      return (GivesEvents(way) ? recorder.log : "") + std::to_string(failure.GetErrorId());
    }
  }

  std::string Model(bool isWellFormed) {
    EXPECT_EQ(tree.initialized(), isWellFormed);
    EXPECT_EQ(tree.GetRoot() != nullptr, isWellFormed);
    return isWellFormed ? Describe(tree.GetRoot()) : "malformed";
  }

  static constexpr char usableDocument[] = "<!DOCTYPE a [<!ENTITY e '!'>]><a>x<b/>y</a>";
  wstring const usablePath = folder.Write("usable", usableDocument).u16string();
  XmlSaxParser parser;
  Recorder recorder;
  XmlTree tree;
  int files = 0;
};

}  // namespace ZaM::test

#endif
