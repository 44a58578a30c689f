#include "zam/results/full_result.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "tests/support/failing_allocation.h"
#include "tests/support/result_items.h"

namespace ZaM::test {
namespace {

/// Slots from the beginning on; the class ids of `items` are not looked at.
Ref<FullResult> Make(Items const& items) {
  std::vector<FullResultItem> slots(items.size());
  for (std::size_t i = 0; i < items.size(); ++i) slots[i].Set(items[i].GetValue(), items[i].GetResType());
  Ref<FullResult> result(FullResult::Create());
  result->SetResults(slots);
  return result;
}

TEST(FullResultTest, ChoosesAsSortingAllCandidatesDoes) {
  std::mt19937 random(1);
  float const values[] = {notANumber, -infinite, -1.0F, -0.0F, 0.0F, 0.25F, 0.5F, 0.75F, infinite};
  int const types[] = {1, 2, 3, 0x1001};  // of these 1 alone makes a candidate of any value
  for (int round = 0; round < 2000; ++round) {
    Items slots;
    for (auto size = random() % 20; slots.size() < size;) {
      slots.push_back(Item(static_cast<unsigned int>(slots.size()), values[random() % 9], types[random() % 4]));
    }
    Items expected;
    for (auto const& slot : slots) {
      if (slot.GetValue() > 0 || slot.GetResType() == 1) expected.push_back(slot);
    }
    // Stable, and with a number for what is none.
    auto const rank = [](IndexedResult const& item) {
      return std::isnan(item.GetValue()) ? -infinite : std::max(-10.0F, item.GetValue());
    };
    std::stable_sort(expected.begin(), expected.end(), [&](auto& a, auto& b) { return rank(a) > rank(b); });
    auto const count = static_cast<unsigned int>(random() % 8);
    if (count != 0 && count < expected.size()) expected.resize(count);
    if (expected.empty() && (count != 0 || !slots.empty())) expected = {Item(0, 0.0F)};
    EXPECT_EQ(Make(slots)->GetBestResults(count), expected);
  }
}

TEST(FullResultTest, KeepsItsAnswerUntilAValueChanges) {
  Ref const result = Make({Item(0, 0.0F), Item(1, 0.3F), Item(2, 0.0F), Item(3, 0.9F)});
  Items const both = {Item(3, 0.9F), Item(1, 0.3F)};
  EXPECT_EQ(result->GetBestResults(1), Items{Item(3, 0.9F)});
  EXPECT_EQ(result->GetBestResults(2), both);

  result->SetResultItem(3, 0.9F, ResultTypeFinal);  // the type alone
  result->SetResultItem(2, -0.0F, ResultTypeFinal);
  result->SetResultItem(7, 0.0F, ResultTypeFinal);  // new slots alone
  EXPECT_EQ(result->GetBestResults(1), both);       // longer than asked for
  EXPECT_EQ(result->GetBestResults(0), (Items{Item(3, 0.9F, 1), Item(1, 0.3F), Item(2, 0.0F, 1), Item(7, 0.0F, 1)}));

  result->SetResultItem(1, notANumber, ResultTypeScored);
  EXPECT_EQ(result->GetBestResults(1), Items{Item(3, 0.9F, 1)});
  result->SetResults(std::vector<FullResultItem>(1));
  EXPECT_EQ(result->GetBestResults(1), Items{Item(0, 0.0F)});  // a stand-in, which is kept too
  result->SetResultItem(0, 0.0F, ResultTypeFinal);
  EXPECT_EQ(result->GetBestResults(1), Items{Item(0, 0.0F)});
}

TEST(FullResultTest, MakesSlots) {
  Ref const result(FullResult::Create());
  EXPECT_FALSE(result->IsValid());
  result->SetResultItem(5, 0.5F, Type(0x1003));
  EXPECT_EQ(Slots(*result).size(), 6U);
  result->Initialize(1, const_cast<FullResultItem*>(&std::as_const(*result).GetResults()[5]));
  EXPECT_EQ(Slots(*result), (Items{Item(0, 0.5F, 0x1003), Item(1, 0.5F, 0x1003)}));
  result->SetResults(std::vector<float>{0.1F, 0.2F, 0.3F});
  EXPECT_EQ(Slots(*result), (Items{Item(0, 0.1F), Item(1, 0.2F), Item(2, 0.3F)}));
  EXPECT_EQ(result->GetResultType(3), ResultTypeNone);
}

TEST(FullResultTest, NeverReportsSlotZeroAsFinal) {
  Ref const result = Make({Item(0, 0.9F, 1), Item(1, 0.1F, 2), Item(2, 0.0F, 3), Item(3, 0.1F, 0x1001)});
  EXPECT_EQ(result->GetFinalClassCount(), 2U);
  for (unsigned int n = 0; n < 3; ++n) EXPECT_EQ(result->GetFinalClassId(n), n < 2 ? n + 2 : 0);
}

TEST(FullResultTest, ClonesTheSlotsAlone) {
  Ref const result = Make({Item(0, 0.5F), Item(1, 0.7F, 1)});
  result->SetTagName("Abcd");
  result->GetBestResults(0);
  result->SetResultItem(1, 0.7F, ResultTypeScored);  // the kept answer goes on showing type 1
  Ref const clone(dynamic_cast<FullResult*>(result->Clone()));
  EXPECT_EQ(Slots(*clone), (Items{Item(0, 0.5F), Item(1, 0.7F)}));
  EXPECT_EQ(clone->GetBestResults(1), Items{Item(1, 0.7F)});
  EXPECT_EQ(clone->GetTagName(), "Fres");
}

TEST(FullResultTest, IsUnchangedWhenItRefusesSlots) {
  Items const slots = {Item(0, 0.5F, 1), Item(1, 0.7F)};
  Ref const result = Make(slots);
  Items const best = {Item(1, 0.7F)};
  EXPECT_EQ(result->GetBestResults(1), best);
  for (unsigned int const id : {FullResult::MaxSlots, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
    EXPECT_EQ(FailureId([&] { result->SetResultItem(id, 0.5F, ResultTypeFinal); }), 8);
    EXPECT_EQ(FailureId([&] { result->Initialize(id, nullptr); }), 4001);
    EXPECT_EQ(Slots(*result), slots);
    EXPECT_EQ(result->GetBestResults(1), best);
  }
}

}  // namespace
}  // namespace ZaM::test
