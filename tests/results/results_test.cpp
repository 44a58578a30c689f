// Single calls of both results; fuzz/results_fuzzer.cpp compares all calls in any order with what was set.
#include <gtest/gtest.h>

#include <chrono>

#include "fuzz/result_in_xml.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/result_items.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

TEST(ResultsTest, HoldClassesWithConfidencesAndTypes) {
  Ref<Result> const sparse(SparseResult::Create()), full(FullResult::Create());
  for (Ref<Result> const& result : {sparse, full}) {
    result->SetResultItem(7, 0.25F, ResultTypeScored);
    result->SetResultItem(3, 0.75F, ResultTypeFinal);
    EXPECT_EQ(result->GetResult(7), 0.25F);
    EXPECT_EQ(result->GetResultType(9), ResultTypeNone);
    EXPECT_EQ(result->GetFinalClassId(0), 3U);
  }
  EXPECT_EQ(full->GetBestResults(1), Items{Item(3, 0.75F, 1)});
  EXPECT_EQ(sparse->GetBestResults(1), (Items{Item(7, 0.25F), Item(3, 0.75F, 1)}));  // all, as they were set
}

template <class Kind>
Ref<Kind> readNew(std::string const& element) {
  Ref<Kind> result(Kind::Create());
  ReadResult(*result, element);
  return result;
}

TEST(ResultsTest, FindEntriesOfLongListsInTimeAndPayForThatOnlyThen) {
  Items items;
  for (unsigned int id = 0; id < 1000; ++id) items.push_back(Item(id, 0.5F));
  Ref const result(SparseResult::Create());
  result->SetResults(items);
  std::size_t const allocated = AllocatedBytes();
  result->SetResultItem(999, 0.75F, ResultTypeFinal);
  EXPECT_EQ(AllocatedBytes(), allocated);
  std::ptrdiff_t const blocks = LiveBlocks();
  Ref const clone(result->Clone());
  EXPECT_EQ(LiveBlocks(), blocks + 2);  // the object and its list
  for (int i = 0; i < 3; ++i) clone->SetResultItem(999, 0.25F, ResultTypeScored);
  EXPECT_EQ(LiveBlocks(), blocks + 3);  // and an index

  // Without an index this takes some 10^11 steps.
  auto const begin = std::chrono::steady_clock::now();
  Ref const many(SparseResult::Create());
  for (unsigned int id = 0; id < 500'000; ++id) many->SetResultItem(id << 12U, 0.5F, ResultTypeScored);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST(ResultsTest, StayAsTheyAreWhereSlotsAreRefused) {
  Ref const result(FullResult::Create());
  result->SetResults(std::vector<float>{0.5F, 0.7F});
  Items const slots = Slots(*result), best = result->GetBestResults(1);
  for (unsigned int const id : {FullResult::maxSlots, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
    EXPECT_EQ(FailureId([&] { result->SetResultItem(id, 0.5F, ResultTypeFinal); }), 8);
    EXPECT_EQ(FailureId([&] { result->Initialize(id, nullptr); }), 4001);
    EXPECT_EQ(Slots(*result), slots);
    EXPECT_EQ(result->GetBestResults(1), best);
  }
}

TEST(ResultXmlTest, ReadsWhatIsThereAndPassesOverTheRest) {
  struct {
    std::string element;
    Items list;   // as a SparseResult
    Items slots;  // as a FullResult
  } const cases[] = {
      {"<Res ClsCount='1' other='7'><ClsItem x='1' restype='1' ClassId='0' conf=' 1e-1x'/></Res>",
       {Item(0, 0.1F, 1)},
       {Item(0, 0.1F, 1), Item(1, 0.0F)}},
      {"<Res><ClsItem ClassId='x' conf='y' restype='z'/></Res>", {Item(0, 0.0F, 0)}, {Item(0, 0.0F, 0)}},
      {"<Res><ClsItem ClassId='1' conf='1e99'>t<ClsItem/></ClsItem></Res>",
       {Item(1, infinite, 0), Item(0, 0.0F, 0)},
       {Item(0, 0.0F, 0), Item(1, infinite, 0)}},
      {"<Res><Other ClassId='5'><ClsItem ClassId='5' conf='1'/></Other><clsitem/></Res>", {}, {}},
      {"<Res><ClsItem ClassId='134217728' conf='1'/></Res>", {Item(134217728, 1.0F, 0)}, {}},  // more than slots
      {"<Res><ClsItem ClassId='-1' conf='1'/></Res>", {Item(0xFFFFFFFF, 1.0F, 0)}, {}},
  };
  for (auto const& [element, list, slots] : cases) {
    EXPECT_EQ(readNew<SparseResult>(element)->GetResults(), list) << element;
    EXPECT_EQ(Slots(*readNew<FullResult>(element)), slots) << element;
  }
}

TEST(ResultXmlTest, LimitsWhatADocumentTakesInProportionToItsLength) {
  // 16 MiB, and 128 bytes for each byte of the document.
  auto const allowance = [](std::string const& element) { return (16U << 20U) + 128 * (element.size() + 18); };
  auto const entryOf = [](std::size_t classId) {
    return "<ClsItem ClassId='" + std::to_string(classId) + "' conf='1'/>";
  };
  for (std::string const padding : {"", " ", "<other/>"}) {
    std::size_t const slots = allowance("<Res>" + padding + entryOf(2'000'000) + "</Res>") / sizeof(FullResultItem);
    std::string const accepted = "<Res>" + padding + entryOf(slots - 1) + "</Res>";
    EXPECT_EQ(readNew<FullResult>(accepted)->GetResults().size(), slots);
    EXPECT_EQ(FailureId([&] { readNew<FullResult>("<Res>" + padding + entryOf(slots) + "</Res>"); }), 8);
    // A second result shares what there is.
    auto const both = [&](std::size_t classId) { return accepted + "<Res>" + entryOf(classId) + "</Res>"; };
    std::size_t const more = slots + 16 * (both(slots).size() - accepted.size());
    EXPECT_EQ(readNew<FullResult>(both(more - 1))->GetResults().size(), more);
    EXPECT_EQ(FailureId([&] { readNew<FullResult>(both(more)); }), 8);
  }
  for (std::string const count : {"1048577", "99999999999"}) {
    EXPECT_EQ(readNew<FullResult>("<Res ClsCount='" + count + "'/>")->GetResults().size(),
              FullResult::mostReserved + 1U);
  }
  std::string counts;
  for (int i = 0; i < 1000; ++i) counts += "<Res ClsCount='1048576'/>";
  std::size_t const before = AllocatedBytes();
  EXPECT_EQ(FailureId([&] { readNew<FullResult>(counts); }), 0);
  EXPECT_LT(AllocatedBytes() - before, allowance(counts) + 16 * counts.size());
}

template <class Kind>
std::size_t slotsReadWithoutAParser() {
  auto const bytes = [](char const* text) { return reinterpret_cast<unsigned char const*>(text); };
  unsigned char const* attributes[] = {bytes("ClsCount"), bytes("7"), bytes("ClassId"), bytes("5"), nullptr};
  Ref const result(Kind::Create());
  for (auto const given : {static_cast<unsigned char const**>(nullptr), attributes}) {
    float value = 0.5F;
    eResultType type = ResultTypeFinal;
    unsigned int classId = 9;
    result->GetClsItemProperties(nullptr, given, value, type, classId);
    EXPECT_EQ(Item(classId, value, type), Item(given ? 5 : 9, 0.5F, 1));
    result->InitializeProperties(nullptr, given);
  }
  return result->GetResults().size();
}

TEST(ResultXmlTest, ReadsAttributesWithoutAParser) {
  EXPECT_EQ(slotsReadWithoutAParser<SparseResult>(), 0U);
  EXPECT_EQ(slotsReadWithoutAParser<FullResult>(), 8U);
}

}  // namespace
}  // namespace ZaM::test
