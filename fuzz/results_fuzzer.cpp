// Both results against a plain list and a plain array of what was set, after any operations in any order.
//
// The first byte chooses the kind of result, each further one an operation or what it is done with.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/byte_source.h"
#include "fuzz/require.h"
#include "fuzz/result_in_xml.h"
#include "tests/support/result_items.h"

namespace {

using namespace ZaM;
using namespace ZaM::test;

/// Greatest first, what isn't a number last.
bool IsBetter(IndexedResult const& a, IndexedResult const& b) {
  bool const numbers[] = {!std::isnan(a.GetValue()), !std::isnan(b.GetValue())};
  if (numbers[0] != numbers[1]) return numbers[0];
  return numbers[0] && a.GetValue() != b.GetValue() ? a.GetValue() > b.GetValue() : a.GetIndex() < b.GetIndex();
}

Items FinalOnes(Items items) {
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
  [[nodiscard]] Items Final() const { return FinalOnes(items); }
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
    Require(std::is_sorted(items.begin(), items.end(), IsBetter), "sorted entries stand in order");
    Require(std::is_permutation(items.begin(), items.end(), former.begin(), former.end()), "sorting keeps all entries");
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
    std::stable_sort(kept.begin(), kept.end(), IsBetter);
    if (kept.size() > wanted) kept.resize(wanted);
    if (kept.empty()) kept.push_back(Item(0, 0.0F));
    return kept;
  }
  [[nodiscard]] Items Final() const {  // slot 0 belongs to no class
    return FinalOnes(items.empty() ? items : Items(items.begin() + 1, items.end()));
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

std::string Saved(Result& result) {
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
std::string Written(Items& entries) {
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

/// Everything that a result tells is what the plain one says.
template <class Plain>
void Compare(typename Plain::Kind& result, Plain const& plain) {
  Require(Plain::Entries(result) == plain.items, "the entries are what was set");
  Require(result.GetResults().size() == plain.items.size(), "a copy of the entries has all of them");
  Require(result.IsValid() == !plain.items.empty(), "a result with entries is valid");
  for (unsigned int const id : {0U, 1U, 2U, 3U, 4U, 7U, 8U, 9U, 100U, 0xFFFFFFFFU}) {
    Require(Item(id, result.GetResult(id), result.GetResultType(id)) == plain.Find(id), "a class is found by its id");
  }
  Items const final = plain.Final();
  Require(result.GetFinalClassCount() == final.size(), "the final classes are counted");
  for (unsigned int n = 0; n < final.size(); ++n) {
    Require(result.GetFinalClassId(n) == final[n].GetIndex(), "final classes come in order");
  }
  for (unsigned int const n : {result.GetFinalClassCount(), 0xFFFFFFFFU}) {
    Require(result.GetFinalClassId(n) == 0, "there is no final class after the last");
  }
}

float const values[] = {notANumber, -infinite, -1.0F, -0.0F, 0.0F, 4e-7F, 1e-7F, 0.912345678F, 0.5F, 0.75F, infinite};

/// Two results of a kind, and what they have to be.
template <class Plain>
class Pair {
 public:
  explicit Pair(ByteSource given) : bytes(given) {}

  void Follow() {
    while (!bytes.IsEmpty()) {
      Step();
      Compare(*result, plain);
      Compare(*other, otherPlain);
    }
  }

 private:
  using Kind = typename Plain::Kind;

  void Step() {
    switch (bytes.Below(16)) {
      case 0:
        return ReplaceAll();
      case 1:
        return ReplaceByItself();
      case 2:
        return plain.Sort(*result);
      case 3:
        return Assign();
      case 4:
        return Exchange();
      case 5:
        return Copy();
      case 6:
        return Clone();
      case 7:
        return Store();
      case 8:
        return AskForBest();
      case 9:
        return SetMany();
      default:
        return Set(AnyItem());
    }
  }

  IndexedResult AnyItem() {
    unsigned int const choice = bytes.Below(9);
    unsigned int const id = choice == 8 ? Plain::greatestId : choice;
    float const value = bytes.OneOf(values);
    return Item(id, value, bytes.OneOf(Plain::types));
  }

  void Set(IndexedResult const& item) {
    result->SetResultItem(item.GetIndex(), item.GetValue(), item.GetResType());
    plain.Set(item);
  }
  void SetMany() {  // so many that a list looks them up by an index
    unsigned int const first = bytes.Below(64);
    float const value = bytes.OneOf(values);
    for (unsigned int id = first; id < first + 70; ++id) Set(Item(id, value, 1));
  }
  void ReplaceAll() {
    Items list(bytes.Below(8));
    for (IndexedResult& item : list) item = AnyItem();
    Plain::Replace(*result, list);
    plain.Replace(list);
  }
  void ReplaceByItself() {
    result->SetResults(std::as_const(*result).GetResults());
    plain.Replace(Items(plain.items));
  }
  void Assign() {
    *other = *result;
    otherPlain = plain;
  }
  void Exchange() {
    std::swap(result, other);
    std::swap(plain, otherPlain);
  }
  void Copy() {
    other = Ref(CreateCounted([&] { return new Kind(*result); }));
    otherPlain = plain;
  }
  void Clone() {
    result->SetTagName("Abcd");
    other = Ref(dynamic_cast<Kind*>(result->Clone()));
    otherPlain = plain.Cloned();
    Require(other->GetTagName() == Plain::tag, "a clone has the tag of its kind");
  }
  void Store() {
    Items entries = plain.Best(0);
    std::string const element = Written(entries);
    Require(Saved(*result) == element, "the best entries are written");
    if (element.find("inf") != std::string::npos) return;  // is written, but not read
    std::size_t const count = std::strtoul(element.c_str() + std::strlen("<Res ClsCount=\""), nullptr, 10);
    ReadResult(*other, element);
    otherPlain.Begin(count);
    for (IndexedResult const& entry : entries) otherPlain.Set(entry);
  }
  void AskForBest() {
    unsigned int const count = bytes.Below(8);
    Require(result->GetBestResults(count) == plain.Best(count), "the best come first");
  }

  ByteSource bytes;
  Ref<Kind> result{Kind::Create()}, other{Kind::Create()};
  Plain plain, otherPlain;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  ByteSource bytes(data, size);
  if (bytes.Below(2) == 0) {
    Pair<PlainList>(bytes).Follow();
  } else {
    Pair<PlainSlots>(bytes).Follow();
  }
  return 0;
}
