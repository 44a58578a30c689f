// Both results against a plain list and a plain array of what was set, in random sequences of all operations.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

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

/// Greatest first, what isn't a number last.
bool isBetter(IndexedResult const& a, IndexedResult const& b) {
  bool const numbers[] = {!std::isnan(a.GetValue()), !std::isnan(b.GetValue())};
  if (numbers[0] != numbers[1]) return numbers[0];
  return numbers[0] && a.GetValue() != b.GetValue() ? a.GetValue() > b.GetValue() : a.GetIndex() < b.GetIndex();
}

Items finalOnes(Items items) {
  std::erase_if(items, [](IndexedResult const& item) { return item.GetResType() % 2 == 0; });
  return items;
}

/// What a SparseResult has to be.
struct PlainList {
  using Kind = SparseResult;
  static constexpr char const* tag = "Sres";
  static constexpr int types[] = {1, 2, 3, 0x1001, 0x2000, 0x7002, 0x8FF1, -1};
  static constexpr unsigned int greatestId = 0xFFFFFFFF;

  void Set(IndexedResult const& item) {
    auto const same = std::find_if(items.begin(), items.end(), [&](IndexedResult const& other) {
      return other.GetIndex() == item.GetIndex() && ((other.GetResType() ^ item.GetResType()) & 0x7000) == 0;
    });
    same == items.end() ? items.push_back(item) : static_cast<void>(*same = item);
  }
  void Replace(Items const& list) { items = list; }
  Items Best(unsigned int /*count*/) { return items; }
  [[nodiscard]] Items Final() const { return finalOnes(items); }
  [[nodiscard]] IndexedResult Find(unsigned int id) const {
    auto const first = std::find_if(items.begin(), items.end(), [id](auto& item) { return item.GetIndex() == id; });
    return first == items.end() ? Item(id, 0.0F, 0) : *first;
  }
  [[nodiscard]] PlainList Cloned() const {
    PlainList clone;
    for (IndexedResult const& item : items) clone.Set(item);
    return clone;
  }
  void Begin(std::size_t /*storedCount*/) {}
  void Sort(SparseResult& result) {
    result.SortResults();
    Items const former = std::exchange(items, result.GetResults());  // equal ones may stand in any order
    EXPECT_TRUE(std::is_sorted(items.begin(), items.end(), isBetter));
    EXPECT_TRUE(std::is_permutation(items.begin(), items.end(), former.begin(), former.end()));
  }

  static void Replace(SparseResult& result, Items const& list) { result.SetResults(list); }
  static Items Entries(SparseResult const& result) { return result.GetResults(); }

  Items items;
};

/// What a FullResult has to be.
struct PlainSlots {
  using Kind = FullResult;
  static constexpr char const* tag = "Fres";
  static constexpr int types[] = {1, 2, 3, 0x1001};  // of these 1 alone makes a candidate of any value
  static constexpr unsigned int greatestId = 9;

  void Set(IndexedResult const& item) {
    while (items.size() <= item.GetIndex()) items.push_back(Item(static_cast<unsigned int>(items.size()), 0.0F));
    IndexedResult& slot = items[item.GetIndex()];
    if (slot.GetValue() != item.GetValue()) {
      kept.clear();
      slot.SetValue(item.GetValue());
    }
    slot.SetResType(item.GetResType());
  }
  void Replace(Items const& list) {
    *this = {};
    for (IndexedResult const& item : list) {
      items.push_back(Item(static_cast<unsigned int>(items.size()), item.GetValue(), item.GetResType()));
    }
  }
  Items Best(unsigned int count) {
    std::size_t const wanted = count == 0 ? items.size() : count;
    if (wanted <= kept.size()) return kept;
    kept = items;
    std::erase_if(kept, [](auto& item) { return !(item.GetValue() > 0) && item.GetResType() != ResultTypeFinal; });
    std::stable_sort(kept.begin(), kept.end(), isBetter);
    if (kept.size() > wanted) kept.resize(wanted);
    if (kept.empty()) kept.push_back(Item(0, 0.0F));
    return kept;
  }
  [[nodiscard]] Items Final() const {  // slot 0 belongs to no class
    return finalOnes(items.empty() ? items : Items(items.begin() + 1, items.end()));
  }
  [[nodiscard]] IndexedResult Find(unsigned int id) const { return id < items.size() ? items[id] : Item(id, 0.0F, 0); }
  [[nodiscard]] PlainSlots Cloned() const { return {items, {}}; }
  void Begin(std::size_t storedCount) {
    if (storedCount != 0) Replace(Items(storedCount + 1));
  }
  void Sort(FullResult& result) {  // what only this one can do
    IndexedResult const first = items.empty() ? Item(0, 0.5F, 1) : items.back();
    FullResultItem own;
    own.Set(first.GetValue(), first.GetResType());
    auto* const last = items.empty() ? &own : const_cast<FullResultItem*>(&std::as_const(result).GetResults().back());
    result.Initialize(3, last);
    Replace(Items(4, first));
  }

  static void Replace(FullResult& result, Items const& list) {
    std::vector<FullResultItem> slots(list.size());
    std::vector<float> values;
    bool areScored = true;
    for (std::size_t i = 0; i < list.size(); ++i) {
      slots[i].Set(list[i].GetValue(), list[i].GetResType());
      values.push_back(list[i].GetValue());
      areScored = areScored && list[i].GetResType() == ResultTypeScored;
    }
    areScored ? result.SetResults(values) : result.SetResults(slots);
  }
  static Items Entries(FullResult const& result) { return Slots(result); }

  Items items;
  Items kept;  // the answer of Best, as long as it holds
};

std::string saved(Result& result) {
  ZamXmlOutStream stream(StorageMemory);
  stream.CreateNode("all");
  result.Save("Res", &stream);  // becomes a child
  stream.CloseNode("all");
  stream.Close();
  std::string const document = stream.getXmlString();
  std::size_t const begin = document.find("<all>") + 5;
  return document.substr(begin, document.rfind("</all>") - begin);
}

/// The element that stores `entries`; they become what comes back of them.
std::string written(Items& entries) {
  std::string element = "<Res ClsCount=\"" + std::to_string(entries.size()) + "\">";
  std::erase_if(entries, [](IndexedResult const& entry) { return !(double{entry.GetValue()} > 1e-07); });
  for (IndexedResult& entry : entries) {
    char text[200];
    std::snprintf(text, sizeof text, R"(<ClsItem conf="%.6f" restype="%d" ClassId="%u"></ClsItem>)",
                  double{entry.GetValue()}, static_cast<int>(entry.GetResType()), entry.GetIndex());
    element += text;
    entry.SetValue(static_cast<float>(std::strtod(text + std::strlen("<ClsItem conf=\""), nullptr)));
  }
  return element + "</Res>";
}

/// The callback of a program that meets results anywhere in a document of its own.
template <class Kind>
class ResultReader : public XmlSaxCallback {
 public:
  explicit ResultReader(Kind& into) : result(&into) {}
  void OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override {
    bool const isResult = std::strcmp(reinterpret_cast<char const*>(name), "Res") == 0;
    if (isResult) result->InitializeProperties(parser, attributes);
    parser->PushCallback(isResult ? static_cast<XmlSaxCallback*>(result) : this);
    reachedEnd = std::strcmp(reinterpret_cast<char const*>(name), "next") == 0;
  }
  void OnEndElement(XmlSaxParser*, unsigned char const*) override {}

  bool reachedEnd = false;

 private:
  Kind* result;
};

/// Reads an element into a result; the one after it has to be reached.
template <class Kind>
void read(Kind& result, std::string const& element) {
  std::string const document = "<all>" + element + "<next/></all>";
  ResultReader<Kind> reader(result);
  XmlSaxParser().ParseMemory(document.data(), static_cast<unsigned int>(document.size()), &reader);
  EXPECT_TRUE(reader.reachedEnd) << element;
}

template <class Kind>
Ref<Kind> readNew(std::string const& element) {
  Ref<Kind> result(Kind::Create());
  read(*result, element);
  return result;
}

template <class Plain>
void expectEqual(typename Plain::Kind& result, Plain const& plain) {
  ASSERT_EQ(Plain::Entries(result), plain.items);
  ASSERT_EQ(result.GetResults().size(), plain.items.size());
  ASSERT_EQ(result.IsValid(), !plain.items.empty());
  for (unsigned int const id : {0U, 1U, 2U, 3U, 4U, 7U, 8U, 9U, 100U, 0xFFFFFFFFU}) {
    ASSERT_EQ(Item(id, result.GetResult(id), result.GetResultType(id)), plain.Find(id));
  }
  Items const final = plain.Final();
  ASSERT_EQ(result.GetFinalClassCount(), final.size());
  for (unsigned int n = 0; n < final.size(); ++n) ASSERT_EQ(result.GetFinalClassId(n), final[n].GetIndex());
  for (unsigned int const n : {result.GetFinalClassCount(), 0xFFFFFFFFU}) ASSERT_EQ(result.GetFinalClassId(n), 0U);
}

/// Random operations on two results, with class ids below `ids` and some that are great.
template <class Plain>
void expectToFollow(std::mt19937& random, unsigned int ids, int steps, int looks) {
  float const values[] = {notANumber, -infinite, -1.0F, -0.0F, 0.0F, 4e-7F, 1e-7F, 0.912345678F, 0.5F, 0.75F, infinite};
  using Kind = typename Plain::Kind;
  auto const below = [&](auto bound) { return static_cast<unsigned int>(random() % static_cast<unsigned int>(bound)); };
  auto const randomItem = [&] {
    unsigned int const id = below(8) == 0 ? Plain::greatestId : below(ids);
    return Item(id, values[below(std::size(values))], Plain::types[below(std::size(Plain::types))]);
  };
  Ref<Kind> result(Kind::Create()), other(Kind::Create());
  Plain plain, otherPlain;
  for (int step = 0; step < steps; ++step) {
    if (unsigned int const operation = below(looks == 1 ? 16 : 200); operation == 0) {
      Items list(below(ids));
      std::generate(list.begin(), list.end(), randomItem);
      Plain::Replace(*result, list);
      plain.Replace(list);
    } else if (operation == 1) {
      result->SetResults(std::as_const(*result).GetResults());  // its own
      plain.Replace(Items(plain.items));
    } else if (operation == 2) {
      plain.Sort(*result);
    } else if (operation == 3) {
      *other = *result;
      otherPlain = plain;
    } else if (operation == 4) {
      std::swap(result, other);
      std::swap(plain, otherPlain);
    } else if (operation == 5) {
      other = Ref(CreateCounted([&] { return new Kind(*result); }));
      otherPlain = plain;
    } else if (operation == 6) {
      result->SetTagName("Abcd");
      other = Ref(dynamic_cast<Kind*>(result->Clone()));
      otherPlain = plain.Cloned();
      ASSERT_EQ(other->GetTagName(), Plain::tag);
    } else if (operation == 7) {
      Items entries = plain.Best(0);
      std::string const element = written(entries);
      ASSERT_EQ(saved(*result), element);
      if (element.find("inf") != std::string::npos) continue;  // is written, but not read
      std::size_t const count = std::strtoul(element.c_str() + std::strlen("<Res ClsCount=\""), nullptr, 10);
      read(*other, element);
      otherPlain.Begin(count);
      for (IndexedResult const& entry : entries) otherPlain.Set(entry);
    } else if (operation < 11) {
      unsigned int const count = below(8);
      ASSERT_EQ(result->GetBestResults(count), plain.Best(count)) << count;
    } else {
      IndexedResult const item = randomItem();
      result->SetResultItem(item.GetIndex(), item.GetValue(), item.GetResType());
      plain.Set(item);
    }
    if (step % looks != 0) continue;
    ASSERT_NO_FATAL_FAILURE(expectEqual(*result, plain)) << step;
    ASSERT_NO_FATAL_FAILURE(expectEqual(*other, otherPlain)) << step;
  }
}

TEST(ResultsTest, FollowTheirRulesInAnyOrderOfCalls) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    ASSERT_NO_FATAL_FAILURE(expectToFollow<PlainList>(random, 5, 100, 1));
    ASSERT_NO_FATAL_FAILURE(expectToFollow<PlainSlots>(random, 8, 100, 1));
  }
  ASSERT_NO_FATAL_FAILURE(expectToFollow<PlainList>(random, 300, 20'000, 50));
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
  for (unsigned int const id : {FullResult::MaxSlots, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
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
              FullResult::MostReserved + 1U);
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
