// The small classes through which applications plug into the library.
#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>

#include "tests/support/probe_nodes.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

// A literal of another length than four is no tag.
template <std::size_t size>
constexpr bool isTag = std::is_constructible_v<detail::TagText, char const (&)[size]>;
static_assert(!isTag<4> && isTag<5> && !isTag<6>);

TEST(RepresentationTest, TakesTagsOfExactlyFourBytes) {
  EXPECT_EQ("a\0\xC3\xA4"_tag, SetRepTag(std::string("a\0\xC3\xA4", 4)));
  struct {
    std::string name, tag;
  } const cases[] = {
      {"abc", "Dflt"},
      {"abcde", "Dflt"},
      {"\xE4\0x", "Dflt"},
      {"\xC3\xA4\xC3\xB6", "\xC3\xA4\xC3\xB6"},
  };
  for (auto const& [name, tag] : cases) {
    Representation representation(SetRepTag("Frmr"));
    representation.SetTagName(name);
    EXPECT_EQ(representation.GetTagName(), tag);
    EXPECT_EQ(representation.GetTagId(), SetRepTag(name).id);
  }
  Representation zeros(SetRepTag(std::string("ab\0c", 4)));
  EXPECT_EQ(zeros.GetTagName(), "ab");
  zeros.SetTagId(-1);
  EXPECT_EQ(zeros.GetTagName(), "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(Representation::GetDefaultTag().id, 0x746C6644);  // "Dflt", first character in the lowest byte
}

TEST(RepresentationTest, KeepsItsSaveAndLoadBesideThoseOfNode) {
  Ref const both(TaggedNode::Create("Both"));
  Node& node = *both;
  Representation& representation = *both;
  std::stringstream stream;
  EXPECT_TRUE(node.Save(&stream) && node.Load(&stream));
  EXPECT_FALSE(representation.Save(&stream) || representation.Load(&stream));
  EXPECT_EQ(stream.str(), "");
  EXPECT_EQ(dynamic_cast<Node*>(&representation), &node);
}

TEST(CallBackTest, KeepsTheCurrentValueWithinTheMaximum) {
  CallBack progress;
  auto const expect = [&](unsigned int current, unsigned int maximum) {
    EXPECT_EQ(progress.GetCurrent(), current);
    EXPECT_EQ(progress.GetMaximum(), maximum);
  };
  progress.SetMaximum(10);
  progress.SetCurrent(5, nullptr);
  expect(5, 10);
  progress.SetMaximum(3);
  expect(3, 3);
  progress.SetCurrent(20, nullptr);
  expect(20, 20);
  progress.Increment(2, nullptr);
  expect(22, 22);
  progress.SetCurrent(0xFFFFFFFF, nullptr);
  progress.Increment(3, nullptr);
  expect(2, 0xFFFFFFFF);
}

/// Counts its ends.
template <class Contract>
struct Ending : Contract {
  explicit Ending(int* counter) : ends(counter) {}
  Ending(Ending const&) = default;
  ~Ending() override { ++*ends; }
  int* ends;
};

template <class Contract>
void expectCounted() {
  int ends = 0;
  Contract* const original = new Ending<Contract>(&ends);
  EXPECT_EQ(original->AddRefCount(), 1);
  EXPECT_EQ(original->AddRefCount(), 2);
  Contract* const copy = new Ending<Contract>(static_cast<Ending<Contract>&>(*original));
  for (Contract* const one : {copy, original}) {
    EXPECT_EQ(one->Release(), 1);
    EXPECT_EQ(one->Release(), 0);
  }
  EXPECT_EQ((new Ending<Contract>(&ends))->Release(), -1);
  EXPECT_EQ(ends, 3);
}

TEST(ContractsTest, LiveByTheirCountWhichACopyTakesOver) {
  expectCounted<Analyzer>();
  expectCounted<Cache>();
}

}  // namespace
}  // namespace ZaM::test
