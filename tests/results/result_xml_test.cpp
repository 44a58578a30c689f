#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "tests/support/failing_allocation.h"
#include "tests/support/result_items.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

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

/// The callback of a program that meets results anywhere in a document of its own.
template <class Kind>
class ResultReader : public XmlSaxCallback {
 public:
  explicit ResultReader(Kind* into) : result(into) {}
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

/// Reads an element into a result; there is another element behind it, which has to be reached.
template <class Kind>
Ref<Kind> readInto(Ref<Kind> result, std::string const& element) {
  std::string const document = "<all>" + element + "<next/></all>";
  ResultReader<Kind> reader(result.Get());
  XmlSaxParser().ParseMemory(document.data(), static_cast<unsigned int>(document.size()), &reader);
  EXPECT_TRUE(reader.reachedEnd) << element;
  return result;
}

template <class Kind>
Ref<Kind> readNew(std::string const& element) {
  return readInto(Ref<Kind>(Kind::Create()), element);
}

Ref<SparseResult> sparse(Items const& items) {
  Ref<SparseResult> result(SparseResult::Create());
  result->SetResults(items);
  return result;
}

TEST(ResultXmlTest, WritesTheEntriesThatSixDigitsShow) {
  Ref const result = sparse({Item(7, 0.912345678F, 1), Item(3, 0.25F), Item(9, 0.00000005F), Item(4, -1.0F),
                             Item(5, notANumber, 1), Item(0xFFFFFFFF, 1e-07F, 0x1002), Item(6, 0.0000003F, -1)});
  std::string const element = saved(*result);
  EXPECT_EQ(element,
            "<Res ClsCount=\"7\">"
            "<ClsItem conf=\"0.912346\" restype=\"1\" ClassId=\"7\"></ClsItem>"
            "<ClsItem conf=\"0.250000\" restype=\"2\" ClassId=\"3\"></ClsItem>"
            "<ClsItem conf=\"0.000000\" restype=\"4098\" ClassId=\"4294967295\"></ClsItem>"
            "<ClsItem conf=\"0.000000\" restype=\"-1\" ClassId=\"6\"></ClsItem>"
            "</Res>");
  EXPECT_EQ(readNew<SparseResult>(element)->GetResults(),
            (Items{Item(7, 0.912346F, 1), Item(3, 0.25F, 2), Item(0xFFFFFFFF, 0.0F, 0x1002), Item(6, 0.0F, -1)}));
  EXPECT_EQ(saved(*sparse({})), "<Res ClsCount=\"0\"></Res>");
}

TEST(ResultXmlTest, ReportsThatMemoryRanOut) {
  Ref const result = sparse({Item(7, 0.5F, 1), Item(3, 0.25F)});
  std::string const element = saved(*result);
  Outcomes const outcomes{.ids = {5, badAlloc}};  // the second where it is this program's own strings
  EXPECT_GT(FailEachAllocation([&] { saved(*result); }, [] {}, outcomes), 5U);
  EXPECT_GT(FailEachAllocation([&] { readNew<SparseResult>(element); }, [] {}, outcomes), 5U);
  EXPECT_GT(FailEachAllocation([&] { readNew<FullResult>(element); }, [] {}, outcomes), 5U);
}

TEST(ResultXmlTest, WritesTheCandidatesOfAFullResultBestFirst) {
  Ref const result(FullResult::Create());
  EXPECT_EQ(saved(*result), "<Res ClsCount=\"0\"></Res>");
  result->SetResults(std::vector<float>{0.5F, 0.0F, 0.75F});
  result->SetResultItem(1, 0.0F, ResultTypeFinal);  // counts, but isn't written
  std::string const element = saved(*result);
  EXPECT_EQ(element,
            "<Res ClsCount=\"3\">"
            "<ClsItem conf=\"0.750000\" restype=\"2\" ClassId=\"2\"></ClsItem>"
            "<ClsItem conf=\"0.500000\" restype=\"2\" ClassId=\"0\"></ClsItem>"
            "</Res>");
  result->SetResultItem(2, 0.75F, ResultTypeFinal);
  EXPECT_EQ(saved(*result), element);  // the type alone doesn't drop the list of the best
  EXPECT_EQ(Slots(*readNew<FullResult>(element)), (Items{Item(0, 0.5F), Item(1, 0.0F), Item(2, 0.75F), Item(3, 0.0F)}));
}

TEST(ResultXmlTest, ReadsWhatIsThereAndPassesOverTheRest) {
  struct {
    std::string element;
    Items list;   // as a SparseResult
    Items slots;  // as a FullResult
  } const cases[] = {
      {"<Res ClsCount='0'><ClsItem ClassId='1' conf='0.5' restype='2'/></Res>",
       {Item(1, 0.5F)},
       {Item(0, 0.0F), Item(1, 0.5F)}},
      {"<Res ClsCount='1' other='7'><ClsItem x='1' restype='1' ClassId='0' conf=' 1e-1x'/></Res>",
       {Item(0, 0.1F, 1)},
       {Item(0, 0.1F, 1), Item(1, 0.0F)}},
      {"<Res><ClsItem ClassId='x' conf='y' restype='z'/></Res>", {Item(0, 0.0F, 0)}, {Item(0, 0.0F, 0)}},
      {"<Res><ClsItem ClassId='1' conf='1e99'>t<ClsItem/></ClsItem></Res>",
       {Item(1, infinite, 0), Item(0, 0.0F, 0)},
       {Item(0, 0.0F, 0), Item(1, infinite, 0)}},
      {"<Res><Other ClassId='5'><ClsItem ClassId='5' conf='1'/></Other><clsitem/></Res>", {}, {}},
      {"<Res><ClsItem ClassId='1' conf='1' restype='2'/><ClsItem ClassId='1' conf='2' restype='4098'/>"
       "<ClsItem ClassId='1' conf='3' restype='1'/></Res>",
       {Item(1, 3.0F, 1), Item(1, 2.0F, 4098)},
       {Item(0, 0.0F), Item(1, 3.0F, 1)}},
  };
  for (auto const& [element, list, slots] : cases) {
    EXPECT_EQ(readNew<SparseResult>(element)->GetResults(), list) << element;
    EXPECT_EQ(Slots(*readNew<FullResult>(element)), slots) << element;
  }
}

TEST(ResultXmlTest, KeepsWhatWasThereUnlessAFullResultIsToldItsCount) {
  std::string const entry = "<ClsItem ClassId='1' conf='1' restype='2'/>";
  Items const before = {Item(2, 0.5F), Item(1, 0.25F, 1)};
  EXPECT_EQ(readInto(sparse(before), "<Res ClsCount='9'>" + entry + "</Res>")->GetResults(),
            (Items{Item(2, 0.5F), Item(1, 1.0F)}));
  for (std::string const count : {"", " ClsCount='0'", " ClsCount='3'"}) {
    Ref<FullResult> full(FullResult::Create());
    full->SetResults(std::vector<float>{0.0F, 0.25F, 0.5F});
    full = readInto(std::move(full), "<Res" + count + ">" + entry + "</Res>");
    bool const anew = count.ends_with("'3'");
    EXPECT_EQ(full->GetResult(2), anew ? 0.0F : 0.5F);
    EXPECT_EQ(full->GetResult(1), 1.0F);
    EXPECT_EQ(full->GetResults().size(), anew ? 4U : 3U);
  }
}

TEST(ResultXmlTest, ReservesLittleForGreatNumbersAndPassesOverWhatCannotBeHeld) {
  for (std::string const count : {"1048577", "99999999999"}) {
    Ref const full = readNew<FullResult>("<Res ClsCount='" + count + "'><ClsItem ClassId='2' conf='1'/></Res>");
    EXPECT_EQ(full->GetResults().size(), FullResult::MostReserved + 1U) << count;
    EXPECT_EQ(full->GetResult(2), 1.0F);
  }
  for (std::string const id : {"134217728", "-1"}) {
    std::string const element = "<Res><ClsItem ClassId='" + id + "' conf='1'/><ClsItem ClassId='1' conf='1'/></Res>";
    EXPECT_EQ(Slots(*readNew<FullResult>(element)), (Items{Item(0, 0.0F), Item(1, 1.0F, 0)})) << id;
    EXPECT_EQ(readNew<SparseResult>(element)->GetResults().size(), 2U);
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
  std::string counts;
  for (int i = 0; i < 1000; ++i) counts += "<Res ClsCount='1048576'/>";
  std::size_t const before = AllocatedBytes();
  EXPECT_EQ(FailureId([&] { readInto(Ref(FullResult::Create()), counts); }), 0);
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

TEST(ResultXmlTest, ComesBackValueForValue) {
  std::mt19937 random(3);
  Items items;
  for (unsigned int id = 0; id < 500; ++id) {  // multiples of 1/64 need no more than six digits
    items.push_back(Item(id, static_cast<float>(1 + random() % 1000) / 64.0F, static_cast<int>(random())));
  }
  std::string const element = saved(*sparse(items));
  EXPECT_EQ(readNew<SparseResult>(element)->GetResults(), items);
  items.push_back(Item(500, 0.0F));  // the count makes one slot more
  Items const slots = Slots(*readNew<FullResult>(element));
  EXPECT_EQ(slots, items);
}

}  // namespace
}  // namespace ZaM::test
