#include "zam/results/sparse_result.h"

#include <algorithm>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/ref.h"
#include "zam/results/best_results.h"
#include "zam/results/result_xml.h"
#include "zam/xml/xml_sax_parser.h"

namespace ZaM {

namespace {

bool IsFinal(IndexedResult const& entry) {
  return IsFinalType(entry.GetResType());
}

}  // namespace

constinit RepTag const SparseResult::DefaultTag = {{'S', 'r', 'e', 's'}};

SparseResult* SparseResult::Create() {
  return CreateCounted([] { return new SparseResult; });
}

SparseResult::~SparseResult() = default;

void SparseResult::SetResults(std::vector<IndexedResult> const& items) {
  results = items;
  places.Forget();
}

std::vector<IndexedResult> SparseResult::GetResults() {
  return ReportOutOfMemory([this] { return results; });
}

void SparseResult::SortResults() {
  std::sort(results.begin(), results.end(), detail::comesBefore);
  places.Forget();
}

bool SparseResult::IsValid() const {
  return !results.empty();
}

float SparseResult::GetResult(unsigned int classId) const {
  IndexedResult const* const entry = Find(classId);
  return entry ? entry->GetValue() : 0.0F;
}

std::vector<IndexedResult> const& SparseResult::GetBestResults(unsigned int /*count*/) {
  return results;
}

eResultType SparseResult::GetResultType(unsigned int classId) const {
  IndexedResult const* const entry = Find(classId);
  return entry ? entry->GetResType() : ResultTypeNone;
}

void SparseResult::SetResultItem(unsigned int classId, float value, eResultType type) {
  ReportOutOfMemory([&] {
    std::uint64_t const key = detail::EntryKey(classId, type);
    std::size_t const place = places.Find(results, key);
    if (place == results.size()) {
      if (place == results.capacity()) results.reserve(2 * place + 1);
      places.Append(results, key);
      results.emplace_back();
    }
    results[place].Set(classId, value, type);
  });
}

unsigned int SparseResult::GetFinalClassCount() {
  return static_cast<unsigned int>(std::count_if(results.begin(), results.end(), IsFinal));
}

unsigned int SparseResult::GetFinalClassId(unsigned int n) {
  for (IndexedResult const& entry : results) {
    if (IsFinal(entry) && n-- == 0) return entry.GetIndex();
  }
  return 0;
}

Result* SparseResult::Clone() {
  Ref<SparseResult> clone(Create());
  if (ReportOutOfMemory([this] { return detail::EntryPlaces::AreDistinct(results); })) {
    clone->results = results;
    return clone.Detach();
  }
  for (IndexedResult const& entry : results) {
    clone->SetResultItem(entry.GetIndex(), entry.GetValue(), entry.GetResType());
  }
  return clone.Detach();
}

void SparseResult::InitializeProperties(XmlSaxParser* /*parser*/, unsigned char const** /*attributes*/) {}

void SparseResult::GetClsItemProperties(XmlSaxParser* /*parser*/, unsigned char const** attributes, float& value,
                                        eResultType& type, unsigned int& classId) {
  detail::ReadEntry(attributes, value, type, classId);
}

void SparseResult::OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) {
  auto const entry = detail::ReadEntry(name, attributes);
  if (!entry) return;
  SetResultItem(entry->classId, entry->value, entry->type);
  parser->PushCallback(this);
}

void SparseResult::OnEndElement(XmlSaxParser* /*parser*/, unsigned char const* /*name*/) {}

IndexedResult const* SparseResult::Find(unsigned int classId) const {
  auto const match = std::find_if(results.begin(), results.end(),
                                  [classId](IndexedResult const& entry) { return entry.GetIndex() == classId; });
  return match != results.end() ? &*match : nullptr;
}

}  // namespace ZaM
