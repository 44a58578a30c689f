#include "zam/results/sparse_result.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <random>

#include "tests/support/failing_allocation.h"
#include "tests/support/result_items.h"

namespace ZaM::test {
namespace {

Ref<SparseResult> Make(Items const& items) {
  Ref<SparseResult> result(SparseResult::Create());
  result->SetResults(items);
  return result;
}

TEST(SparseResultTest, KeepsOneEntryPerClassAndGroup) {
  struct {
    Items set;
    Items list;
  } const cases[] = {
      {{Item(4, 0.5F, 2), Item(4, 0.1F, 0x1002)}, {Item(4, 0.5F, 2), Item(4, 0.1F, 0x1002)}},
      {{Item(4, 0.5F, 2), Item(4, 0.1F, 0x8FF1)}, {Item(4, 0.1F, 0x8FF1)}},  // none of these bits is the group's
      {{Item(9, 0.1F), Item(4, 0.5F, 0x4000), Item(4, 0.6F, 0x2000), Item(9, 0.3F), Item(4, 0.7F, 0x4001)},
       {Item(9, 0.3F), Item(4, 0.7F, 0x4001), Item(4, 0.6F, 0x2000)}},
      {{Item(0, 0.1F), Item(0xFFFFFFFF, notANumber, 0x7000), Item(0xFFFFFFFF, 0.0F, -1)},
       {Item(0, 0.1F), Item(0xFFFFFFFF, 0.0F, -1)}},
  };
  for (auto const& [set, list] : cases) {
    Ref const result(SparseResult::Create());
    EXPECT_FALSE(result->IsValid());
    for (auto const& item : set) result->SetResultItem(item.GetIndex(), item.GetValue(), item.GetResType());
    EXPECT_EQ(result->GetBestResults(1), list);  // the whole list, whatever is asked for
    EXPECT_TRUE(result->IsValid());

    // A copy of the entries as they were set ends in the same list.
    Ref const raw = Make(set);
    raw->SetTagName("Abcd");
    Ref const clone(dynamic_cast<SparseResult*>(raw->Clone()));
    EXPECT_EQ(clone->GetResults(), list);
    EXPECT_EQ(clone->GetTagName(), "Sres");
    EXPECT_EQ(raw->GetResults(), set);
  }
}

TEST(SparseResultTest, SetsEntriesOfALongListLikeOnesOfAShortList) {
  std::mt19937 random(5);
  Ref const result(SparseResult::Create());
  Items expected;
  for (int step = 0; step < 5000; ++step) {
    auto const item = Item(static_cast<unsigned int>(random() % 300), static_cast<float>(random() % 100),
                           static_cast<int>(random() % 4 << 12 | 2));
    auto const same = std::find_if(expected.begin(), expected.end(), [&](IndexedResult const& entry) {
      return entry.GetIndex() == item.GetIndex() && entry.GetResType() == item.GetResType();
    });
    same == expected.end() ? expected.push_back(item) : static_cast<void>(*same = item);
    result->SetResultItem(item.GetIndex(), item.GetValue(), item.GetResType());
    if (step % 1000 == 500) {
      result->SortResults();
      expected = result->GetResults();
    }
    if (step % 1000 == 700) result->SetResults(expected = Items(expected.begin() + 100, expected.end()));
    if (step % 1000 == 800) result->SetResults(static_cast<SparseResult const&>(*result).GetResults());  // its own
  }
  EXPECT_GT(expected.size(), 300U);
  EXPECT_TRUE(result->GetResults() == expected);
}

TEST(SparseResultTest, PaysForItsIndexOnlyWhereItSearchesALongListOften) {
  Items items;
  for (unsigned int id = 0; id < 1000; ++id) items.push_back(Item(id * 7919 % 1009, 0.5F));
  Ref const result = Make(items);
  std::size_t allocated = AllocatedBytes();
  result->SetResultItem(items[999].GetIndex(), 0.75F, ResultTypeFinal);
  EXPECT_EQ(AllocatedBytes(), allocated);
  std::ptrdiff_t const blocks = LiveBlocks();
  Ref const clone(result->Clone());
  EXPECT_EQ(LiveBlocks(), blocks + 2);  // the object and its list
  for (int i = 0; i < 3; ++i) clone->SetResultItem(items[999].GetIndex(), 0.25F, ResultTypeScored);
  EXPECT_EQ(LiveBlocks(), blocks + 3);  // and an index
  allocated = AllocatedBytes();
  *result = dynamic_cast<SparseResult&>(*clone);
  EXPECT_EQ(AllocatedBytes(), allocated + 1000 * sizeof(IndexedResult));

  // Without an index this takes some 10^11 steps.
  auto const begin = std::chrono::steady_clock::now();
  Ref const many(SparseResult::Create());
  for (unsigned int id = 0; id < 500'000; ++id) many->SetResultItem(id << 12U, 0.5F, ResultTypeScored);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST(SparseResultTest, AnswersForTheFirstEntryOfAClassAndForFinalClassesInOrder) {
  Ref const result = Make({Item(4, 0.5F, 2), Item(7, 0.2F, 3), Item(4, 0.9F, 0x1001), Item(9, 0.1F, 1)});
  EXPECT_EQ(result->GetResult(4), 0.5F);
  EXPECT_EQ(result->GetResultType(4), ResultTypeScored);
  EXPECT_EQ(result->GetResult(5), 0.0F);
  EXPECT_EQ(result->GetResultType(5), ResultTypeNone);
  EXPECT_EQ(result->GetFinalClassCount(), 3U);
  for (unsigned int const n : {0U, 1U, 2U, 3U, 0xFFFFFFFFU}) {
    EXPECT_EQ(result->GetFinalClassId(n), n == 0 ? 7U : n == 1 ? 4U : n == 2 ? 9U : 0U);
  }
}

TEST(SparseResultTest, SortsWhateverTheValuesAre) {
  Ref const result = Make(
      {Item(3, notANumber), Item(7, 1.0F), Item(2, -infinite), Item(1, notANumber), Item(9, infinite), Item(5, 1.0F)});
  result->SortResults();
  EXPECT_EQ(result->GetResults(), (Items{Item(9, infinite), Item(5, 1.0F), Item(7, 1.0F), Item(2, -infinite),
                                         Item(1, notANumber), Item(3, notANumber)}));
}

}  // namespace
}  // namespace ZaM::test
