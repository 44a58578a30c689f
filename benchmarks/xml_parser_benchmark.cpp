// Reading a document of 20 MB as events that nobody wants, plain and gzip, against libxml2's bare push parser with
// functions that do nothing and chunks of 64 KiB, the same at 200 MB, and a document out of life: the desktop's table
// of file types, with names in some fifty languages. `heap_KB` is the most memory that our parse takes at the start of
// any element: it doesn't grow with the document. The family `xml_parse_buffer` shows what other chunks cost or save.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <malloc.h>
#include <zlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "benchmarks/xml_sample.h"
#include "zam/zam.h"

namespace {

/// Of the package shared-mime-info.
constexpr char fileTypes[] = "/usr/share/mime/packages/freedesktop.org.xml";

/// Documents of `copies` times 20 MB, and for 0 copies the table of file types, made when they are asked for and gone
/// with the program.
class Files {
 public:
  Files() { std::filesystem::create_directories(folder); }
  Files(Files const&) = delete;
  ~Files() { std::filesystem::remove_all(folder); }

  std::string const& Get(bool isGzip, int copies) {
    std::string& file = files[{isGzip, copies}];
    if (file.empty()) Write(file = folder / (std::to_string(copies) + (isGzip ? ".xml.gz" : ".xml")), isGzip, copies);
    return file;
  }

  static Files& Instance() {
    static Files instance;
    return instance;
  }

 private:
  static void Write(std::string const& file, bool isGzip, int copies) {
    if (copies == 0) return WriteFileTypes(file, isGzip);
    std::string const document = sample::XmlDocument();
    std::size_t const begin = document.find("<document ");
    std::size_t const end = document.rfind("</documents>");
    // "T" is zlib's mode for a file that isn't compressed.
    gzFile const stream = gzopen(file.c_str(), isGzip ? "wb9" : "wbT");
    gzwrite(stream, document.data(), static_cast<unsigned int>(begin));
    for (int i = 0; i < copies; ++i) gzwrite(stream, &document[begin], static_cast<unsigned int>(end - begin));
    gzputs(stream, &document[end]);
    gzclose(stream);
  }

  static void WriteFileTypes(std::string const& file, bool isGzip) {
    std::ifstream original(fileTypes, std::ios::binary);
    std::string const document{std::istreambuf_iterator(original), {}};
    gzFile const stream = gzopen(file.c_str(), isGzip ? "wb9" : "wbT");
    gzwrite(stream, document.data(), static_cast<unsigned int>(document.size()));
    gzclose(stream);
  }

  std::filesystem::path const folder = std::filesystem::temp_directory_path() / "zam_xml_parser_benchmark";
  std::map<std::pair<bool, int>, std::string> files;
};

/// The most heap in use while the elements are told of.
class HeapMeter : public ZaM::XmlDefaultCallback {
 public:
  void OnStartElement(ZaM::XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override {
    if (++elements % 256 == 0) most = std::max(most, InUse());
    XmlDefaultCallback::OnStartElement(parser, name, attributes);
  }
  [[nodiscard]] double KiloBytes() const { return static_cast<double>(most - before) / 1024; }

 private:
  static std::size_t InUse() {
    struct mallinfo2 const heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
  }

  std::size_t elements = 0;
  std::size_t before = InUse();
  std::size_t most = before;
};

void Zam(benchmark::State& state, bool isGzip, int copies) {
  std::string const& file = Files::Instance().Get(isGzip, copies);
  ZaM::wstring const name(file.begin(), file.end());
  ZaM::XmlSaxParser parser;
  ZaM::XmlDefaultCallback nobody;
  for (auto _ : state) parser.ParseFile(name, &nobody);
  HeapMeter meter;
  parser.ParseFile(name, &meter);
  state.counters["heap_KB"] = meter.KiloBytes();
}

/// Functions that do nothing, for the same events as ours.
xmlSAXHandler NoEvents() {
  xmlSAXHandler handler = {};
  handler.startDocument = [](void*) {};
  handler.endDocument = [](void*) {};
  handler.startElement = [](void*, xmlChar const*, xmlChar const**) {};
  handler.endElement = [](void*, xmlChar const*) {};
  handler.characters = [](void*, xmlChar const*, int) {};
  handler.initialized = 1;
  return handler;
}

void Libxml2Push(benchmark::State& state, bool isGzip, int copies, unsigned int chunkSize = 65536) {
  std::string const& file = Files::Instance().Get(isGzip, copies);
  xmlSAXHandler handler = NoEvents();
  std::vector<char> chunk(chunkSize);
  for (auto _ : state) {
    // Without the copy that zlib makes of what isn't compressed, the plain file is read by the standard library.
    std::FILE* const plain = isGzip ? nullptr : std::fopen(file.c_str(), "rb");
    gzFile const gzip = isGzip ? gzopen(file.c_str(), "rb") : nullptr;
    auto const read = [&] {
      return isGzip ? gzread(gzip, chunk.data(), chunkSize)
                    : static_cast<int>(std::fread(chunk.data(), 1, chunkSize, plain));
    };
    int user = 0;
    int count = read();
    xmlParserCtxt* const context = xmlCreatePushParserCtxt(&handler, &user, chunk.data(), count, nullptr);
    while ((count = read()) > 0) xmlParseChunk(context, chunk.data(), count, 0);
    xmlParseChunk(context, chunk.data(), 0, 1);
    xmlFreeParserCtxt(context);
    isGzip ? gzclose(gzip) : std::fclose(plain);
  }
}

void RegisterAll() {
  struct Family {
    char const* name;
    bool isGzip;
    int copies;
  };
  static constexpr Family families[] = {{"xml_parse_plain", false, 1},
                                        {"xml_parse_gzip", true, 1},
                                        {"xml_parse_plain_200mb", false, 10},
                                        {"xml_parse_file_types_plain", false, 0},
                                        {"xml_parse_file_types_gzip", true, 0}};
  auto const add = [](std::string const& name, auto function) {
    benchmark::RegisterBenchmark(name.c_str(), function)->Unit(benchmark::kMillisecond);
  };
  for (Family const& family : families) {
    bool const isGzip = family.isGzip;
    int const copies = family.copies;
    if (copies == 0 && !std::filesystem::exists(fileTypes)) continue;
    add(std::string(family.name) + "/zam", [=](benchmark::State& state) { Zam(state, isGzip, copies); });
    add(std::string(family.name) + "/libxml2_push",
        [=](benchmark::State& state) { Libxml2Push(state, isGzip, copies); });
  }
  add("xml_parse_buffer/zam", [](benchmark::State& state) { Zam(state, false, 1); });
  for (unsigned int const kibibytes : {1U, 4U, 16U, 64U, 256U, 1024U}) {
    add("xml_parse_buffer/libxml2_push_" + std::to_string(kibibytes) + "_KiB",
        [=](benchmark::State& state) { Libxml2Push(state, false, 1, kibibytes * 1024); });
  }
}

[[maybe_unused]] bool const registered = (RegisterAll(), true);

}  // namespace
