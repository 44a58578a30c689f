// Reading a document of 20 MB into a tree, plain and gzip, alone, with the release of the tree, and with a look at each
// name, attribute and text before that: ours by both ways, libxml2's document model, as it is by default and with short
// texts inside of its nodes, and pugixml. `MB` is the heap that the tree takes, `peak_MB` the most memory meanwhile.
// Every measurement begins with a heap as a new process has it, or some would pay for what others have left behind.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <malloc.h>
#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

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

template <int options>
struct Libxml2 {
  explicit Libxml2(std::string const& file) : document(xmlReadFile(file.c_str(), nullptr, options)) {}
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

std::size_t Look(ZaM::XmlNode const& node) {
  if (node.IsContent()) return node.GetContent().size();
  std::size_t size = node.GetName().size();
  for (ZaM::XmlProperty const* property : node.GetProperties()) {
    size += property->GetName().size() + property->GetValue().size();
  }
  for (ZaM::XmlNode const* child : node.GetChildren()) size += Look(*child);
  return size;
}

std::size_t Look(xmlNode const& node) {
  auto const length = [](xmlChar const* text) { return static_cast<std::size_t>(xmlStrlen(text)); };
  if (node.type != XML_ELEMENT_NODE) return length(node.content);
  std::size_t size = length(node.name);
  for (xmlAttr const* attribute = node.properties; attribute != nullptr; attribute = attribute->next) {
    size += length(attribute->name) + (attribute->children ? length(attribute->children->content) : 0);
  }
  for (xmlNode const* child = node.children; child != nullptr; child = child->next) size += Look(*child);
  return size;
}

std::size_t Look(pugi::xml_node const& node) {
  std::size_t size = std::string_view(node.name()).size() + std::string_view(node.value()).size();
  for (pugi::xml_attribute const& attribute : node.attributes()) {
    size += std::string_view(attribute.name()).size() + std::string_view(attribute.value()).size();
  }
  for (pugi::xml_node const& child : node.children()) size += Look(child);
  return size;
}

template <class Tree>
std::size_t LookAtAll(Tree const& tree) {
  if constexpr (requires { tree.tree; }) {
    return Look(*tree.tree.GetRoot());
  } else if constexpr (std::is_same_v<Tree, Pugixml>) {
    return Look(tree.document.document_element());
  } else {
    return Look(*xmlDocGetRootElement(tree.document));
  }
}

double HeapInUse() {
  struct mallinfo2 const info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd) / 1e6;
}

/// A line of what the kernel tells of this process, in MB; it has kB.
double Memory(std::string_view name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::stod(line.substr(name.size())) * 1.024e-3;
  }
  return 0;
}

template <class Tree>
void MeasureMemory(benchmark::State& state, std::string const& file) {
  std::ofstream("/proc/self/clear_refs") << '5';  // the peak starts anew
  double const residentBefore = Memory("VmRSS:");
  double const heapBefore = HeapInUse();
  Tree const tree(file);
  state.counters["MB"] = HeapInUse() - heapBefore;
  state.counters["peak_MB"] = Memory("VmHWM:") - residentBefore;
}

template <class Tree>
void Read(benchmark::State& state, std::string const& file) {
  MeasureMemory<Tree>(state, file);
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
void ReadAndRelease(benchmark::State& state, std::string const& file) {
  for (auto _ : state) benchmark::DoNotOptimize(std::make_unique<Tree>(file).get());
}

template <class Tree>
void ReadLookAndRelease(benchmark::State& state, std::string const& file) {
  for (auto _ : state) benchmark::DoNotOptimize(LookAtAll(Tree(file)));
}

void Add(std::string const& name, std::function<void(benchmark::State&)> const& function) {
  benchmark::RegisterBenchmark(name.c_str(), function)
      ->Setup([](benchmark::State const&) { malloc_trim(0); })
      ->Unit(benchmark::kMillisecond);
}

/// Ours, which is one of the two ways, and the peers.
template <class Zam>
void AddFamilies(std::string const& name, std::string const& file) {
  auto const addVariant = [&]<class Tree>(std::string const& variant, std::type_identity<Tree>) {
    Add(name + variant, [file](benchmark::State& state) { Read<Tree>(state, file); });
    Add(name + "_and_release" + variant, [file](benchmark::State& state) { ReadAndRelease<Tree>(state, file); });
    Add(name + "_look_and_release" + variant,
        [file](benchmark::State& state) { ReadLookAndRelease<Tree>(state, file); });
  };
  addVariant("/zam", std::type_identity<Zam>());
  addVariant("/libxml2", std::type_identity<Libxml2<0>>());
  addVariant("/libxml2_compact", std::type_identity<Libxml2<XML_PARSE_COMPACT>>());
  addVariant("/pugixml", std::type_identity<Pugixml>());
}

void RegisterAll() {
  // The table of file types of the package shared-mime-info, with names in some fifty languages.
  std::string const fileTypes = "/usr/share/mime/packages/freedesktop.org.xml";
  for (auto const& [suffix, file] : {std::pair<std::string, std::string>("", Files::Instance().Plain()),
                                     {"_gzip", Files::Instance().Gzip()},
                                     {"_file_types", fileTypes}}) {
    if (!std::filesystem::exists(file)) continue;
    AddFamilies<ZamRead>("xml_tree_read" + suffix, file);
    AddFamilies<ZamRead2>("xml_tree_read2" + suffix, file);
  }
}

[[maybe_unused]] bool const registered = (RegisterAll(), true);

}  // namespace
