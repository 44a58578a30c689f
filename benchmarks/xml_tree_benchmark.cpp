// Reading a document of 20 MB into a tree, plain and gzip, alone and with the release of the tree: ours by both ways,
// libxml2's document model and pugixml. `MB` is the heap that the tree takes.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <malloc.h>
#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "benchmarks/xml_sample.h"
#include "zam/zam.h"

namespace {

/// The document as a plain and as a gzip file, gone with the program.
class Files {
 public:
  Files() {
    std::filesystem::create_directories(folder);
    std::string const text = sample::XmlDocument();
    std::ofstream(Plain(), std::ios::binary) << text;
    gzFile const stream = gzopen(Gzip().c_str(), "wb9");
    gzwrite(stream, text.data(), static_cast<unsigned int>(text.size()));
    gzclose(stream);
  }
  Files(Files const&) = delete;
  ~Files() { std::filesystem::remove_all(folder); }

  std::string Plain() const { return folder / "plain.xml"; }
  std::string Gzip() const { return folder / "gzip.xml"; }

  static Files const& Instance() {
    static Files const files;
    return files;
  }

 private:
  std::filesystem::path const folder = std::filesystem::temp_directory_path() / "zam_xml_tree_benchmark";
};

struct ZamRead {
  explicit ZamRead(std::string const& file) { tree.Read(ZaM::wstring(file.begin(), file.end())); }
  ZaM::XmlTree tree;
};

struct ZamRead2 {
  explicit ZamRead2(std::string const& file) {
    tree.SetFilename(ZaM::wstring(file.begin(), file.end()));
    tree.Read2();
  }
  ZaM::XmlTree tree;
};

struct Libxml2 {
  explicit Libxml2(std::string const& file) : document(xmlReadFile(file.c_str(), nullptr, XML_PARSE_NOBLANKS)) {}
  Libxml2(Libxml2 const&) = delete;
  ~Libxml2() { xmlFreeDoc(document); }
  xmlDocPtr document;
};

struct Pugixml {
  /// It doesn't inflate files.
  explicit Pugixml(std::string const& file) {
    if (!file.ends_with("gzip.xml")) {
      document.load_file(file.c_str());
      return;
    }
    std::string text;
    std::string piece(65536, '\0');
    gzFile const stream = gzopen(file.c_str(), "rb");
    while (int const count = gzread(stream, piece.data(), static_cast<unsigned int>(piece.size()))) {
      text.append(piece, 0, static_cast<std::size_t>(count));
    }
    gzclose(stream);
    document.load_buffer(text.data(), text.size());
  }
  pugi::xml_document document;
};

double heapInUse() {
  struct mallinfo2 const info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd) / 1e6;
}

template <class Tree>
double sizeOf(std::string const& file) {
  double const before = heapInUse();
  Tree const tree(file);
  return heapInUse() - before;
}

template <class Tree>
void read(benchmark::State& state, std::string const& file) {
  state.counters["MB"] = sizeOf<Tree>(file);
  for (auto _ : state) {
    auto tree = std::make_unique<Tree>(file);
    benchmark::DoNotOptimize(tree.get());
    state.PauseTiming();
    tree.reset();
    state.ResumeTiming();
  }
}

/// The heap puts off some of its work from releasing to the next reading; here both are measured together.
template <class Tree>
void readAndRelease(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(std::make_unique<Tree>(Files::Instance().Plain()).get());
}

void registerAll() {
  auto const add = [](char const* name, auto function) {
    benchmark::RegisterBenchmark(name, function)->Unit(benchmark::kMillisecond);
  };
  std::string const plain = Files::Instance().Plain();
  std::string const gzip = Files::Instance().Gzip();
  for (auto const& [family, file] : {std::pair<std::string, std::string>("", plain), {"_gzip", gzip}}) {
    auto const reads = [file = file]<class Tree>(std::type_identity<Tree>) {
      return [file](benchmark::State& state) { read<Tree>(state, file); };
    };
    add(("xml_tree_read" + family + "/zam").c_str(), reads(std::type_identity<ZamRead>()));
    add(("xml_tree_read" + family + "/libxml2").c_str(), reads(std::type_identity<Libxml2>()));
    add(("xml_tree_read" + family + "/pugixml").c_str(), reads(std::type_identity<Pugixml>()));
    add(("xml_tree_read2" + family + "/zam").c_str(), reads(std::type_identity<ZamRead2>()));
    add(("xml_tree_read2" + family + "/libxml2").c_str(), reads(std::type_identity<Libxml2>()));
    add(("xml_tree_read2" + family + "/pugixml").c_str(), reads(std::type_identity<Pugixml>()));
  }
  add("xml_tree_read_and_release/zam", &readAndRelease<ZamRead>);
  add("xml_tree_read_and_release/libxml2", &readAndRelease<Libxml2>);
  add("xml_tree_read_and_release/pugixml", &readAndRelease<Pugixml>);
}

[[maybe_unused]] bool const registered = (registerAll(), true);

}  // namespace
