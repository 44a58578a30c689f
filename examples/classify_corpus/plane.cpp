#include "plane.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <system_error>

#include "run_error.h"
#include "tags.h"
#include "utf8.h"

namespace classify {

namespace fs = std::filesystem;

namespace {

constexpr unsigned int dimensions = 2;

using Fingerprint = std::array<char, 8>;

Fingerprint Bytes(std::uint64_t number) {
  Fingerprint bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(number >> (8 * i));
  return bytes;
}

// FNV-1a over 64 bits, with its authors' constants.
class Hash {
 public:
  void Add(std::uint64_t number) { AddBytes(Bytes(number)); }
  void Add(std::string const& text) {
    AddBytes(text);
    Add(text.size());
  }
  std::uint64_t Value() const { return value; }

 private:
  void AddBytes(auto const& bytes) {
    for (char const byte : bytes) value = (value ^ static_cast<unsigned char>(byte)) * 0x100000001B3U;
  }

  std::uint64_t value = 0xCBF29CE484222325U;
};

}  // namespace

std::vector<std::size_t> Plane::Choose(std::vector<unsigned int> const& classIds) {
  std::map<unsigned int, std::vector<std::size_t>> byClass;
  for (std::size_t i = 0; i < classIds.size(); ++i) byClass[classIds[i]].push_back(i);
  std::size_t const share = std::max<std::size_t>(mostExamples / std::max<std::size_t>(byClass.size(), 1), 1);
  std::vector<std::size_t> chosen;
  for (auto const& [classId, members] : byClass) {
    std::size_t const count = std::min({share, members.size(), mostExamples - chosen.size()});
    for (std::size_t i = 0; i < count; ++i) chosen.push_back(members[i * members.size() / count]);
  }
  return chosen;
}

Plane::Plane(std::vector<PlaneExample> chosen) : examples(std::move(chosen)) {
  std::vector<WordVector*> vectors;
  for (PlaneExample const& example : examples) vectors.push_back(example.words.Get());
  WordVector::ShareIndex(vectors);
}

void Plane::CheckModel(fs::path const& model) {
  std::error_code unknown;
  if (!fs::exists(model, unknown)) PendingFile const writable(model);
}

void Plane::LearnOrLoad(fs::path const& model, std::vector<PendingFile>& outputs, Progress& progress) {
  analyzer.SetCallBack(&progress);
  std::error_code unknown;
  if (!model.empty() && fs::exists(model, unknown)) return Load(model);
  if (examples.size() < fewestExamples) throw RunError{"there are too few documents to learn a map from"};
  ZaM::PcaControl control;
  SupplyExamples(control);
  control.SetDoLearn(true);
  control.SetDimension(dimensions);
  control.SetMaxExamples(mostExamples);
  control.SetEnableAcceleration(true);
  analyzer.DoAlgorithm(&control);
  if (!model.empty()) outputs.push_back(Save(model));
}

void Plane::SupplyExamples(ZaM::PcaControl& control) const {
  std::vector<ZaM::Representation*> representations;
  for (PlaneExample const& example : examples) representations.push_back(example.words.Get());
  control.SetDoExamples(true);
  control.SetExampleVector(representations);
  control.SetActivityVector(std::vector<std::int8_t>(representations.size(), 1));
}

void Plane::Load(fs::path const& model) {
  std::ifstream file(model, std::ios::binary);
  Fingerprint stored;
  if (!analyzer.Load(&file) || !file.read(stored.data(), stored.size()))
    throw RunError{"can't read " + Printable(model.native()) + ": it isn't a whole model"};
  if (stored != Bytes(HashOfExamples()))
    throw RunError{"can't use " + Printable(model.native()) + ": it was learned from other documents or settings"};
  ZaM::PcaControl control;
  SupplyExamples(control);
  analyzer.DoAlgorithm(&control);
}

PendingFile Plane::Save(fs::path const& model) {
  std::ostringstream stream;
  Fingerprint const bytes = Bytes(HashOfExamples());
  bool const isWhole = analyzer.Save(&stream) && stream.write(bytes.data(), bytes.size());
  PendingFile file(model);
  if (!isWhole) file.Fail("there is no room for it in memory");
  file.Write(stream.view());
  return file;
}

std::uint64_t Plane::HashOfExamples() const {
  Hash hash;
  for (PlaneExample const& example : examples) {
    hash.Add(example.name);
    hash.Add(example.classId);
    for (auto const& [index, weight] : example.words->Terms()) {
      hash.Add(index);
      hash.Add(std::bit_cast<std::uint32_t>(weight));
    }
  }
  return hash.Value();
}

void Plane::Project(ZaM::DocumentNode& documents) {
  ZaM::PcaControl control;
  control.SetDoProject(true);
  control.SetSourceNode(&documents);
  control.SetRepresentationTag(DocumentTag());
  control.SetResultTag(PointTag());
  analyzer.DoAlgorithm(&control);
}

std::optional<PlanePoint> Plane::PointOf(ZaM::DocumentNode& document) {
  auto* const point = document.Get<ZaM::FullResult>(PointTag());
  if (!point) return std::nullopt;
  return PlanePoint{point->GetResult(0), point->GetResult(1)};
}

}  // namespace classify
