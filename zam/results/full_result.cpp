#include "zam/results/full_result.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/foundation/ref.h"
#include "zam/results/best_results.h"
#include "zam/results/out_of_bounds.h"
#include "zam/results/result_xml.h"
#include "zam/xml/xml_sax_parser.h"

namespace ZaM {

namespace {

void CheckSlotCount(std::uint64_t count) {
  RequireAtMost(u"slots of a result", count, FullResult::maxSlots);
}

bool IsCandidate(FullResultItem const& slot) {
  return slot.GetValue() > 0.0F || slot.GetResType() == ResultTypeFinal;
}

}  // namespace

constinit RepTag const FullResult::DefaultTag = {{'F', 'r', 'e', 's'}};

FullResult* FullResult::Create() {
  return CreateCounted([] { return new FullResult; });
}

FullResult::~FullResult() = default;

void FullResult::Initialize(unsigned int classCount, FullResultItem* item) {
  std::uint64_t const count = std::uint64_t{classCount} + 1;
  CheckSlotCount(count);
  ReplaceSlots(ReportOutOfMemory([&] { return std::vector<FullResultItem>(count, item ? *item : FullResultItem()); }));
}

void FullResult::SetResults(std::vector<float> const& values) {
  CheckSlotCount(values.size());
  auto items = ReportOutOfMemory([&] { return std::vector<FullResultItem>(values.size()); });
  for (std::size_t i = 0; i < values.size(); ++i) items[i].SetValue(values[i]);
  ReplaceSlots(std::move(items));
}

void FullResult::SetResults(std::vector<FullResultItem> const& items) {
  CheckSlotCount(items.size());
  ReplaceSlots(ReportOutOfMemory([&] { return std::vector(items); }));
}

std::vector<FullResultItem> FullResult::GetResults() {
  return ReportOutOfMemory([this] { return results; });
}

bool FullResult::IsValid() const {
  return !results.empty();
}

float FullResult::GetResult(unsigned int classId) const {
  return classId < results.size() ? results[classId].GetValue() : 0.0F;
}

std::vector<IndexedResult> const& FullResult::GetBestResults(unsigned int count) {
  std::size_t const wanted = count != 0 ? count : results.size();
  if (wanted <= bestResults.size()) return bestResults;

  std::vector<IndexedResult> best;
  ReportOutOfMemory([&] {
    IndexedResult candidate;
    for (unsigned int i = 0; i < results.size(); ++i) {
      if (!IsCandidate(results[i])) continue;
      candidate.Set(i, results[i].GetValue(), results[i].GetResType());
      detail::OfferToBest(best, wanted, candidate);
    }
    detail::SortBest(best);
  });
  bestResults = std::move(best);
  return bestResults;
}

eResultType FullResult::GetResultType(unsigned int classId) const {
  return classId < results.size() ? results[classId].GetResType() : ResultTypeNone;
}

void FullResult::SetResultItem(unsigned int classId, float value, eResultType type) {
  if (classId >= maxSlots) detail::ThrowOutOfBounds(classId, maxSlots);
  if (classId >= results.size()) ReportOutOfMemory([&] { results.resize(std::size_t{classId} + 1); });

  FullResultItem& slot = results[classId];
  slot.SetResType(type);
  if (value == slot.GetValue()) return;  // what isn't a number differs from everything
  slot.SetValue(value);
  bestResults.clear();
}

unsigned int FullResult::GetFinalClassCount() {
  unsigned int count = 0;
  for (std::size_t i = 1; i < results.size(); ++i) {
    if (IsFinalType(results[i].GetResType())) ++count;
  }
  return count;
}

unsigned int FullResult::GetFinalClassId(unsigned int n) {
  for (unsigned int i = 1; i < results.size(); ++i) {
    if (IsFinalType(results[i].GetResType()) && n-- == 0) return i;
  }
  return 0;
}

Result* FullResult::Clone() {
  Ref<FullResult> clone(Create());
  clone->SetResults(results);
  return clone.Detach();
}

void FullResult::InitializeProperties(XmlSaxParser* parser, unsigned char const** attributes) {
  unsigned int const count = detail::ReadCount(attributes);
  if (count == 0) return;
  std::uint64_t const affordable = parser ? parser->GetAllowance() / sizeof(FullResultItem) : mostReserved;
  Initialize(static_cast<unsigned int>(std::min<std::uint64_t>({count, mostReserved, affordable})), nullptr);
  if (parser) parser->TakeAllowance(results.size() * sizeof(FullResultItem));
}

void FullResult::GetClsItemProperties(XmlSaxParser* /*parser*/, unsigned char const** attributes, float& value,
                                      eResultType& type, unsigned int& classId) {
  detail::ReadEntry(attributes, value, type, classId);
}

void FullResult::OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) {
  auto const entry = detail::ReadEntry(name, attributes);
  if (!entry) return;
  if (entry->classId < maxSlots) {
    std::uint64_t const before = results.size();
    std::uint64_t const affordable = before + parser->GetAllowance() / sizeof(FullResultItem);
    if (entry->classId >= affordable) detail::ThrowOutOfBounds(entry->classId, affordable);
    SetResultItem(entry->classId, entry->value, entry->type);
    parser->TakeAllowance((results.size() - before) * sizeof(FullResultItem));
  }
  parser->PushCallback(this);
}

void FullResult::OnEndElement(XmlSaxParser* /*parser*/, unsigned char const* /*name*/) {}

void FullResult::ReplaceSlots(std::vector<FullResultItem> items) {
  results = std::move(items);
  bestResults.clear();
}

}  // namespace ZaM
