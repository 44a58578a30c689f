// Whether time grows with the bytes of a document alone: documents of 4 MB in shapes that an attacker would choose,
// against an ordinary one of the same size, type and encoding. In each job the variant `zam` is the ordinary one, so
// that the others' ratios say how many times as long a byte of them takes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/xml_sample.h"
#include "zam/zam.h"

namespace {

constexpr std::size_t documentSize = 4'000'000;

/// `part` so many times, with a number from 0 on for each `@`.
std::string Repeated(std::string const& part, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) {
    for (char const c : part) c == '@' ? all += std::to_string(i) : all += c;
  }
  return all;
}

/// Enough of `part` for a document.
std::string Filled(std::string const& part, std::size_t size = documentSize) {
  return Repeated(part, size / part.size() + 1);
}

struct Shape {
  char const* name;
  std::function<std::string()> content;  // of the root
  std::string attributes = {};           // of the root
};

std::string Ordinary() {
  std::string const document = sample::XmlDocument(documentSize);
  std::size_t const begin = document.find("<document ");
  return document.substr(begin, document.rfind("</documents>") - begin);
}

/// The entities that every document with a type declares.
constexpr char entities[] =
    "<!ENTITY text 'orders on goods'><!ENTITY tags '<b>orders</b> on <c>goods</c>'>"
    "<!ENTITY inner '<b>&text;</b>'><!ENTITY outer 'of &inner; and &inner;'>";

std::vector<Shape> const& Shapes() {
  auto const tags = [](std::string const& attribute, std::size_t count) {
    return [=] { return Filled("<e" + Repeated(attribute, count) + "/>\n"); };
  };
  static std::vector<Shape> const shapes = {
      {"zam", Ordinary},
      {"attributes_64", tags(" name@='value'", 64)},
      {"attributes_256", tags(" name@='value'", 256)},
      {"attributes_1024", tags(" name@='value'", 1024)},
      {"attributes_4096", tags(" name@='value'", 4096)},
      {"namespaces_100", tags(" xmlns:n@='urn:u'", 100)},
      {"namespaces_1000", tags(" xmlns:n@='urn:u'", 1000)},
      {"namespaces_4000", tags(" xmlns:n@='urn:u'", 4000)},
      {"outer_prefixes_4000", [] { return Filled(Repeated("<n@:e n@:name='value'>text</n@:e>\n", 4000)); },
       Repeated(" xmlns:n@='urn:u'", 4000)},
      {"names_50000", [] { return Repeated("<element@ name@='value'>text</element@>\n", documentSize / 50); }},
      {"depth_50000", [] { return Repeated("<level>text", 50'000) + Repeated("</level>", 50'000) + Ordinary(); }},
      {"character_references", [] { return Filled("<e name='&#65;&lt;&#x263a;'>&#65;&lt;&#x263a;</e>\n"); }},
  };
  return shapes;
}

/// Those that need a type. References may stand for five times what the document has, and are as dense as that allows.
std::vector<Shape> const& TypedShapes() {
  static std::vector<Shape> const shapes = {
      {"entity_text", [] { return Filled("&text; &text; &text;\n"); }},
      {"entity_tags", [] { return Filled("<e>due on or after &tags;</e>\n"); }},
      {"entity_nested", [] { return Filled("<e>due within thirty days after the receipt &outer;</e>\n"); }},
      {"entity_in_values", [] { return Filled("<e name='&text;' title='&text;'/>\n"); }},
  };
  return shapes;
}

enum class Encoding { Utf8, Latin1, Utf16 };

std::string Encoded(std::string const& text, Encoding encoding) {
  if (encoding == Encoding::Utf8) return text;
  ZaM::wstring const wide = std::filesystem::path(text).u16string();
  std::string bytes = encoding == Encoding::Utf16 ? "\xFF\xFE" : "";
  for (char16_t const unit : wide) {
    bytes += static_cast<char>(unit & 0xFF);
    if (encoding == Encoding::Utf16) bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

std::string Document(Shape const& shape, bool isTyped, Encoding encoding) {
  char const* const names[] = {"UTF-8", "ISO-8859-1", "UTF-16"};
  std::string text = std::string("<?xml version='1.0' encoding='") + names[static_cast<int>(encoding)] + "'?>\n";
  if (isTyped) text += std::string("<!DOCTYPE root [") + entities + "]>\n";
  return Encoded(text + "<root" + shape.attributes + ">" + shape.content() + "</root>", encoding);
}

enum class Route { Events, Tree, Model };

void Run(benchmark::State& state, Route route, Shape const& shape, bool isTyped, Encoding encoding) {
  std::string const document = Document(shape, isTyped, encoding);
  auto const file = std::filesystem::temp_directory_path() / "zam_xml_linear_benchmark.xml";
  std::ofstream(file, std::ios::binary) << document;
  ZaM::wstring const path = file.u16string();
  ZaM::XmlSaxParser parser;
  ZaM::XmlDefaultCallback nobody;
  for (auto _ : state) {
    ZaM::XmlTree tree;
    bool isRead = true;
    if (route == Route::Events) {
      parser.ParseMemory(document.data(), static_cast<unsigned int>(document.size()), &nobody);
    } else if (route == Route::Tree) {
      isRead = tree.Read(path) && tree.GetRoot() != nullptr;
    } else {
      tree.SetFilename(path);
      isRead = tree.Read2();
    }
    if (!isRead) state.SkipWithError("not read");
  }
  std::filesystem::remove(file);
}

void RegisterAll() {
  static constexpr char const* routes[] = {"events", "tree", "model"};
  static constexpr char const* encodings[] = {"utf8", "latin1", "utf16"};
  for (int route = 0; route < 3; ++route) {
    for (int encoding = 0; encoding < 3; ++encoding) {
      for (bool const isTyped : {false, true}) {
        if (!isTyped && (route > 0 || encoding > 0)) continue;
        auto const add = [=](Shape const& shape) {
          std::string const family = std::string("xml_linear_") + routes[route] + "_" + encodings[encoding];
          std::string const name = family + (isTyped ? "_typed/" : "/") + shape.name;
          benchmark::RegisterBenchmark(name.c_str(), [=, &shape](benchmark::State& state) {
            Run(state, Route{route}, shape, isTyped, Encoding{encoding});
          })->Unit(benchmark::kMillisecond);
        };
        for (Shape const& shape : Shapes()) add(shape);
        if (!isTyped) continue;
        for (Shape const& shape : TypedShapes()) add(shape);
      }
    }
  }
}

[[maybe_unused]] bool const registered = (RegisterAll(), true);

}  // namespace
