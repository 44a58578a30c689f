// Writing a document of 20 MB to memory and to a plain file: ours and libxml2's writer from UTF-16 values, pugixml's
// writer from its own tree, which lies ready in UTF-8. Nobody breaks lines.
#include <benchmark/benchmark.h>
#include <libxml/encoding.h>
#include <libxml/xmlwriter.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "benchmarks/xml_sample.h"

namespace {

// The C library keeps what is freed, so that no variant pays for fresh pages and none is lucky.
[[maybe_unused]] bool const keepsMemory = mallopt(M_MMAP_THRESHOLD, 1 << 30) != 0 && mallopt(M_TRIM_THRESHOLD, -1) != 0;

std::vector<sample::XmlElement> const& Elements() {
  static auto const all = sample::XmlElements();
  return all;
}

/// A file name in memory where there is such a folder, so that no disk is measured.
std::string const& FileName() {
  static struct File {
    File() { close(mkstemp(name.data())); }
    ~File() { unlink(name.c_str()); }
    std::string name = access("/dev/shm", W_OK) == 0 ? "/dev/shm/zam-XXXXXX" : "/tmp/zam-XXXXXX";
  } const file;
  return file.name;
}

std::u16string Wide(std::string const& text) {
  return {text.begin(), text.end()};
}

/// UTF-8 by libxml2's own means, in an area that is used again.
class Utf8 {
 public:
  xmlChar const* operator()(std::u16string const& text) {
    area.resize(text.size() * 3 + 1);
    int inputLength = static_cast<int>(text.size() * 2);
    int outputLength = static_cast<int>(area.size());
    handler->input(area.data(), &outputLength, reinterpret_cast<unsigned char const*>(text.data()), &inputLength);
    area[static_cast<std::size_t>(outputLength)] = 0;
    return area.data();
  }

 private:
  xmlCharEncodingHandlerPtr handler = xmlGetCharEncodingHandler(XML_CHAR_ENCODING_UTF16LE);
  std::vector<xmlChar> area;
};

xmlChar const* Name(char const* text) {
  return reinterpret_cast<xmlChar const*>(text);
}

void WriteOurs(ZaM::ZamXmlOutStream& stream) {
  stream.CreateNode("documents");
  for (auto const& element : Elements()) sample::WriteXmlElement(stream, element);
  stream.CloseNode("documents");
  stream.Close();
}

void WriteLibxml2(xmlTextWriterPtr writer) {
  Utf8 utf8;
  xmlTextWriterStartDocument(writer, nullptr, nullptr, nullptr);
  xmlTextWriterStartElement(writer, Name("documents"));
  for (auto const& element : Elements()) {
    xmlTextWriterStartElement(writer, Name("document"));
    xmlTextWriterWriteAttribute(writer, Name("id"), utf8(element.id));
    xmlTextWriterWriteAttribute(writer, Name("path"), utf8(element.path));
    xmlTextWriterWriteAttribute(writer, Name("title"), utf8(element.title));
    xmlTextWriterWriteString(writer, utf8(element.text));
    xmlTextWriterEndElement(writer);
  }
  xmlTextWriterEndDocument(writer);
  xmlFreeTextWriter(writer);
}

pugi::xml_document const& PugixmlTree() {
  static auto const tree = [] {
    auto document = std::make_unique<pugi::xml_document>();
    Utf8 utf8;
    auto const text = [&](std::u16string const& value) { return reinterpret_cast<char const*>(utf8(value)); };
    auto root = document->append_child("documents");
    for (auto const& element : Elements()) {
      auto node = root.append_child("document");
      node.append_attribute("id") = text(element.id);
      node.append_attribute("path") = text(element.path);
      node.append_attribute("title") = text(element.title);
      node.text() = text(element.text);
    }
    return document;
  }();
  return *tree;
}

struct StringWriter : pugi::xml_writer {
  void write(void const* data, std::size_t size) override { text.append(static_cast<char const*>(data), size); }
  std::string text;
};

void MemoryZam(benchmark::State& state) {
  Elements();
  for (auto _ : state) {
    ZaM::ZamXmlOutStream stream(ZaM::StorageMemory);
    WriteOurs(stream);
    benchmark::DoNotOptimize(stream.getXmlString().data());
  }
}

void MemoryLibxml2(benchmark::State& state) {
  Elements();
  for (auto _ : state) {
    xmlBufferPtr const buffer = xmlBufferCreate();
    WriteLibxml2(xmlNewTextWriterMemory(buffer, 0));
    benchmark::DoNotOptimize(xmlBufferContent(buffer));
    xmlBufferFree(buffer);
  }
}

void MemoryPugixml(benchmark::State& state) {
  PugixmlTree();
  for (auto _ : state) {
    StringWriter writer;
    PugixmlTree().save(writer, "", pugi::format_raw);
    benchmark::DoNotOptimize(writer.text.data());
  }
}

void FileZam(benchmark::State& state) {
  Elements();
  for (auto _ : state) {
    ZaM::ZamXmlOutStream stream(ZaM::StorageFile, Wide(FileName()));
    WriteOurs(stream);
    if (!stream.IsWritten()) state.SkipWithError("not written");
  }
}

void FileLibxml2(benchmark::State& state) {
  Elements();
  for (auto _ : state) WriteLibxml2(xmlNewTextWriterFilename(FileName().c_str(), 0));
}

void FilePugixml(benchmark::State& state) {
  PugixmlTree();
  for (auto _ : state) PugixmlTree().save_file(FileName().c_str(), "", pugi::format_raw);
}

BENCHMARK(MemoryZam)->Name("xml_write_memory/zam")->Unit(benchmark::kMillisecond);
BENCHMARK(MemoryLibxml2)->Name("xml_write_memory/libxml2_writer")->Unit(benchmark::kMillisecond);
BENCHMARK(MemoryPugixml)->Name("xml_write_memory/pugixml")->Unit(benchmark::kMillisecond);
BENCHMARK(FileZam)->Name("xml_write_file/zam")->Unit(benchmark::kMillisecond);
BENCHMARK(FileLibxml2)->Name("xml_write_file/libxml2_writer")->Unit(benchmark::kMillisecond);
BENCHMARK(FilePugixml)->Name("xml_write_file/pugixml")->Unit(benchmark::kMillisecond);

}  // namespace
