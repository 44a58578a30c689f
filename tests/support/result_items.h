// Entries of results, written and compared in short.
#ifndef TESTS_SUPPORT_RESULT_ITEMS_H
#define TESTS_SUPPORT_RESULT_ITEMS_H

#include <bit>
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include "zam/zam.h"

namespace ZaM {

/// Equal bit by bit, so that what isn't a number equals itself and the two zeros differ.
inline bool operator==(IndexedResult const& a, IndexedResult const& b) {
  return a.GetIndex() == b.GetIndex() && a.GetResType() == b.GetResType() &&
         std::bit_cast<std::uint32_t>(a.GetValue()) == std::bit_cast<std::uint32_t>(b.GetValue());
}

inline std::ostream& operator<<(std::ostream& out, IndexedResult const& item) {
  return out << '(' << item.GetIndex() << ", " << item.GetValue() << ", " << item.GetResType() << ')';
}

}  // namespace ZaM

namespace ZaM::test {

inline constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
inline constexpr float infinite = std::numeric_limits<float>::infinity();

using Items = std::vector<IndexedResult>;

inline eResultType Type(int bits) {
  return static_cast<eResultType>(bits);
}

inline IndexedResult Item(unsigned int classId, float value, int type = 2) {
  IndexedResult item;
  item.Set(classId, value, Type(type));
  return item;
}

/// A result that calls itself valid or not, whatever it holds, and writes down what it was asked.
class ProbeResult : public SparseResult {
 public:
  static ProbeResult* Create(Items const& items, bool isValid = true) {
    auto* const result = CreateCounted([] { return new ProbeResult; });
    result->SetResults(items);
    result->valid = isValid;
    return result;
  }
  bool IsValid() const override {
    asked += "valid? ";
    return valid;
  }
  Items const& GetBestResults(unsigned int count) override {
    asked += "best " + std::to_string(count);
    return SparseResult::GetBestResults(count);
  }

  mutable std::string asked;

 private:
  bool valid = true;
};

/// The slots of a full result, as entries.
inline Items Slots(FullResult const& result) {
  Items items;
  for (FullResultItem const& slot : result.GetResults()) {
    items.push_back(Item(static_cast<unsigned int>(items.size()), slot.GetValue(), slot.GetResType()));
  }
  return items;
}

}  // namespace ZaM::test

#endif
