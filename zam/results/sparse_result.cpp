#include "zam/results/sparse_result.h"

#include <algorithm>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/ref.h"
#include "zam/results/best_results.h"
#include "zam/results/result_xml.h"
#include "zam/xml/xml_sax_parser.h"

namespace ZaM {

namespace {

bool isFinal(IndexedResult const& entry) {
  return IsFinalType(entry.GetResType());
}

std::uint64_t keyOf(unsigned int classId, eResultType type) {
  return std::uint64_t{classId} << 32U | static_cast<std::uint32_t>(type & ResultTypeGroupMask);
}

std::uint64_t keyOf(IndexedResult const& entry) {
  return keyOf(entry.GetIndex(), entry.GetResType());
}

}  // namespace

constinit RepTag const SparseResult::DefaultTag = {{'S', 'r', 'e', 's'}};

SparseResult* SparseResult::Create() {
  return CreateCounted([] { return new SparseResult; });
}

SparseResult& SparseResult::operator=(SparseResult const& other) {
  results = other.results;  // first, since this alone may fail
  Result::operator=(other);
  places.clear();
  return *this;
}

SparseResult::~SparseResult() = default;

void SparseResult::SetResults(std::vector<IndexedResult> const& items) {
  results = items;
  places.clear();
}

std::vector<IndexedResult> SparseResult::GetResults() {
  return ReportOutOfMemory([this] { return results; });
}

void SparseResult::SortResults() {
  std::sort(results.begin(), results.end(), detail::ComesBefore);
  places.clear();
}

bool SparseResult::IsValid() const {
  return !results.empty();
}

float SparseResult::GetResult(unsigned int classId) const {
  IndexedResult const* const entry = find(classId);
  return entry ? entry->GetValue() : 0.0F;
}

std::vector<IndexedResult> const& SparseResult::GetBestResults(unsigned int /*count*/) {
  return results;
}

eResultType SparseResult::GetResultType(unsigned int classId) const {
  IndexedResult const* const entry = find(classId);
  return entry ? entry->GetResType() : ResultTypeNone;
}

void SparseResult::SetResultItem(unsigned int classId, float value, eResultType type) {
  ReportOutOfMemory([&] {
    if (IndexedResult* const entry = findInGroup(classId, type)) {
      entry->Set(classId, value, type);
    } else {
      append(classId, value, type);
    }
  });
}

// A stored result may have any number of entries, and reading it must not take the square of that.
IndexedResult* SparseResult::findInGroup(unsigned int classId, eResultType type) {
  constexpr std::size_t shortList = 64;
  std::uint64_t const key = keyOf(classId, type);
  if (results.size() <= shortList) {
    auto const match =
        std::find_if(results.begin(), results.end(), [key](IndexedResult const& entry) { return keyOf(entry) == key; });
    return match != results.end() ? &*match : nullptr;
  }
  if (places.empty()) {
    std::unordered_map<std::uint64_t, std::size_t> made;
    for (std::size_t i = 0; i < results.size(); ++i) made.emplace(keyOf(results[i]), i);
    places.swap(made);
  }
  auto const place = places.find(key);
  return place != places.end() ? &results[place->second] : nullptr;
}

void SparseResult::append(unsigned int classId, float value, eResultType type) {
  if (results.size() == results.capacity()) results.reserve(2 * results.size() + 1);
  if (!places.empty()) places.emplace(keyOf(classId, type), results.size());
  results.emplace_back().Set(classId, value, type);
}

unsigned int SparseResult::GetFinalClassCount() {
  return static_cast<unsigned int>(std::count_if(results.begin(), results.end(), isFinal));
}

unsigned int SparseResult::GetFinalClassId(unsigned int n) {
  for (IndexedResult const& entry : results) {
    if (isFinal(entry) && n-- == 0) return entry.GetIndex();
  }
  return 0;
}

Result* SparseResult::Clone() {
  Ref<SparseResult> clone(Create());
  for (IndexedResult const& entry : results) {
    clone->SetResultItem(entry.GetIndex(), entry.GetValue(), entry.GetResType());
  }
  return clone.Detach();
}

void SparseResult::InitializeProperties(XmlSaxParser* /*parser*/, unsigned char const** /*attributes*/) {}

void SparseResult::GetClsItemProperties(XmlSaxParser* parser, unsigned char const** attributes, float& value,
                                        eResultType& type, unsigned int& classId) {
  detail::ReadEntry(*parser, attributes, value, type, classId);
}

void SparseResult::OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) {
  if (detail::TakeEntry(*this, *parser, name, attributes)) parser->PushCallback(this);
}

void SparseResult::OnEndElement(XmlSaxParser* /*parser*/, unsigned char const* /*name*/) {}

IndexedResult const* SparseResult::find(unsigned int classId) const {
  auto const match = std::find_if(results.begin(), results.end(),
                                  [classId](IndexedResult const& entry) { return entry.GetIndex() == classId; });
  return match != results.end() ? &*match : nullptr;
}

}  // namespace ZaM
