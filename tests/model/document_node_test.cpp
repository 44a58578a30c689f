// Documents with their representations, and the small classes through which applications plug into the library.
#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>

#include "tests/support/probe_nodes.h"
#include "zam/model/children.h"
#include "zam/results/full_result.h"
#include "zam/results/sparse_result.h"

namespace ZaM::test {
namespace {

static_assert(!std::is_default_constructible_v<DocumentNode> && !std::is_destructible_v<DocumentNode>);

TEST(DocumentNodeTest, CarriesRepresentationsUnderTags) {
  Ref const document(DocumentNode::Create());
  auto* const words = TaggedNode::Create("Word");
  document->AddRepresentation(words);
  EXPECT_EQ(document->GetRepresentation("Word"_tag), words);
  EXPECT_EQ(document->GetRepresentation("Rslt"_tag), nullptr);
  Ref const removed(document->RemoveRepresentation("Word"_tag));
  EXPECT_EQ(removed.Get(), words);
}

TEST(DocumentNodeTest, FindsAndRemovesTheFirstRepresentationUnderATag) {
  struct {
    std::vector<std::string> chain;  // representations by their tags, other nodes by "-"
    std::string tag;
    std::size_t found;  // its place in the chain; the chain's end if there is none
  } const cases[] = {
      {{}, "AAAA", 0},
      {{"AAAA"}, "BBBB", 1},
      {{"AAAA", "BBBB", "CCCC"}, "AAAA", 0},
      {{"AAAA", "BBBB", "CCCC"}, "CCCC", 2},
      {{"-", "AAAA", "-", "-", "BBBB", "-"}, "BBBB", 4},
      {{"BBBB", "AAAA", "-", "AAAA"}, "AAAA", 1},
      {{std::string("A\0B\0", 4), std::string("A\0C\0", 4)}, std::string("A\0C\0", 4), 1},
  };
  for (auto const& [names, tag, found] : cases) {
    Ref const document(DocumentNode::Create());
    std::vector<Node*> chain;
    for (auto const& name : names) {
      chain.push_back(name == "-" ? static_cast<Node*>(ProbeNode::Create(name)) : TaggedNode::Create(name));
      name == "-" ? document->AddFeature(chain.back()) : void(document->AddRepresentation(chain.back()));
    }
    Node* const expected = found < chain.size() ? chain[found] : nullptr;
    EXPECT_EQ(document->GetRepresentation(SetRepTag(tag)), dynamic_cast<Representation*>(expected));
    Ref const removed(document->RemoveRepresentation(SetRepTag(tag)));
    EXPECT_EQ(removed.Get(), expected);
    if (removed) {
      EXPECT_EQ(removed->GetFeature(), nullptr);
      chain.erase(chain.begin() + static_cast<std::ptrdiff_t>(found));
    }
    Node* feature = document->GetFeature();
    for (Node* const left : chain) {
      EXPECT_EQ(feature, left);
      feature = left->GetFeature();
    }
    EXPECT_EQ(feature, nullptr);
  }
}

TEST(DocumentNodeTest, GivesRepresentationsAndChildrenOfOneType) {
  Ref const document(DocumentNode::Create());
  auto const make = [](auto* (*create)()) { return create(); };
  document->AddRepresentation(make(SparseResult::Create));
  EXPECT_EQ(document->Get<Result>(SparseResult::GetDefaultTag()), document->GetFeature());
  EXPECT_EQ(document->Get<SparseResult const>(SparseResult::GetDefaultTag()), document->GetFeature());
  EXPECT_EQ(document->Get<FullResult>(SparseResult::GetDefaultTag()), nullptr) << "of another type";
  EXPECT_EQ(document->Get<Result>(FullResult::GetDefaultTag()), nullptr) << "under another tag";

  Node* const children[] = {make(FullResult::Create), DocumentNode::Create(), nullptr, make(FullResult::Create),
                            DocumentNode::Create()};
  for (Node* const child : children) document->AddChild(child);
  ChildrenOf<DocumentNode> const documents(*document);
  for (int round = 0; round < 2; ++round) {
    auto place = documents.begin();
    EXPECT_TRUE(&*place == children[1] && place->GetParentDocument() == document.Get());
    EXPECT_EQ(&*++place, children[4]);
    EXPECT_TRUE(++place == documents.end());
  }
}

TEST(DocumentNodeTest, RefusesWhatIsNoRepresentationOrHangsThereAlready) {
  struct ClassNode : DocumentNode, Representation {};  // is none of its own representations
  Ref const document(CreateCounted([] { return new ClassNode; }));
  Ref<Node> const node(ProbeNode::Create("node"));
  for (Node* const none : std::initializer_list<Node*>{document.Get(), node.Get(), nullptr}) {
    EXPECT_FALSE(document->AddRepresentation(none));
  }
  EXPECT_EQ(document->GetFeature(), nullptr);
  auto* const a = TaggedNode::Create("AAAA");
  auto* const b = TaggedNode::Create("BBBB");
  EXPECT_TRUE(document->AddRepresentation(a) && document->AddRepresentation(b));
  EXPECT_FALSE(document->AddRepresentation(a) || document->AddRepresentation(b));  // would make a ring
  EXPECT_EQ(b->GetFeature(), nullptr);
  EXPECT_EQ(document->GetRepresentation(Representation::DefaultTag), nullptr);
  EXPECT_EQ(document->RemoveRepresentation(Representation::DefaultTag), nullptr);
}

TEST(DocumentNodeTest, BecomesTheParentOfTheChildrenThatItIsGivenAndRemovesThemById) {
  Ref const other(DocumentNode::Create());
  for (std::size_t const removed : {0u, 1u, 2u}) {
    Ref const root(DocumentNode::Create());
    auto* const last = DocumentNode::Create(4, other.Get());
    std::vector<Node*> children{DocumentNode::Create(), ProbeNode::Create("leaf"), last};
    EXPECT_EQ(last->GetParentDocument(), other.Get());
    for (Node* const child : children) root->AddChild(child);
    EXPECT_EQ(last->GetParentDocument(), root.Get());
    EXPECT_EQ(other->ChildCount(), 0u);
    for (unsigned int const id : {0u, root->GetId()}) EXPECT_EQ(root->RemoveChild(id), nullptr);
    Ref const child(root->RemoveChild(children[removed]->GetId()));
    EXPECT_EQ(child.Get(), children[removed]);
    children.erase(children.begin() + static_cast<std::ptrdiff_t>(removed));
    EXPECT_EQ(root->ChildCount(), 2u);
    EXPECT_TRUE(std::equal(children.begin(), children.end(), Children(*root).begin()));
  }
}

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
  progress.Increment(2, nullptr);
  expect(22, 22);
  progress.SetCurrent(0xFFFFFFFF, nullptr);
  progress.Increment(3, nullptr);
  expect(2, 0xFFFFFFFF);
}

TEST(IteratorTest, StartsAgainAndCopiesStandAtTheFirstElement) {
  Ref const a(ProbeNode::Create("a"));
  std::vector<Node*> nodes{a.Get()};
  VectorIterator& walk = *VectorIterator::Create(nodes);
  for (int times = 0; times < 2; ++times) walk.Next();
  EXPECT_TRUE(walk.Done() && walk.Current() == nullptr);
  EXPECT_EQ(VectorIterator(walk).Current(), a.Get());
  walk.Start();
  EXPECT_EQ(walk.Current(), a.Get());
  walk.Release();

  struct Bare : Composite {};  // is an empty walk by itself
  Ref const composite(CreateCounted([] { return new Bare; }));
  int visits = 0;
  FunctionVisitor visitor([&](Node*) { ++visits; });
  composite->Visit(&visitor);
  EXPECT_EQ(visits, 1);
  EXPECT_TRUE(composite->Save(nullptr) && composite->Load(nullptr));
  for (Node* child : Children(*composite)) FAIL() << child;
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
