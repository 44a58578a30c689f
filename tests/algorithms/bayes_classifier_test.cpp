#include "zam/algorithms/bayes_classifier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "tests/support/number_vector.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/result_items.h"
#include "zam/model/children.h"

namespace ZaM::test {
namespace {

RepTag const resultTag = SetRepTag("Rslt");

struct Class {
  unsigned int id;
  double score;
  double low = 1.0;
  double high = 1.0;
};

/// A tree of classes and one of documents. A document holds the number 1, so that a class's weight is its score.
class BayesClassifierTest : public ::testing::Test {
 protected:
  BayesClassifierTest() {
    control.SetResultTag(resultTag);
    control.SetRootDocument(documents.Get());
    control.SetDoLearn(true);
    control.SetDoClassify(true);
  }

  void SetClasses(std::vector<Class> const& list) {
    classes = Ref(DocumentNode::Create());
    control.SetRootClass(classes.Get());
    for (auto const& [id, score, low, high] : list) AddClass(*classes, ClassNode::Create(id, {score}, low, high));
  }
  static ClassNode* AddClass(DocumentNode& parent, ClassNode* node) {
    parent.AddChild(node);
    return node;
  }
  static DocumentNode* AddDocument(DocumentNode& parent, std::vector<double> numbers = {1.0}) {
    auto* const document = DocumentNode::Create();
    document->AddRepresentation(NumberVector::Create(std::move(numbers)));
    parent.AddChild(document);
    return document;
  }

  void Run() { classifier.DoAlgorithm(&control); }

  /// The entries of the document's result, or the slots of a full one; without a result a single entry of type 0.
  static Items Entries(DocumentNode* document) {
    Representation* const result = document->GetRepresentation(resultTag);
    if (auto* const sparse = dynamic_cast<SparseResult*>(result)) return sparse->GetResults();
    if (auto* const full = dynamic_cast<FullResult*>(result)) return Slots(*full);
    return {Item(0, 0.0F, 0)};
  }

  Ref<DocumentNode> classes;
  Ref<DocumentNode> documents{DocumentNode::Create()};
  BayesControl control;
  BayesClassifier classifier;
};

Items const none = {Item(0, 0.0F, 0)};

/// The rules followed step by step, over a list of classes in pre-order.
Items ScoresByTheRules(std::vector<Class> const& list, unsigned int maxResults, bool normalize,
                       unsigned int greatest = 1) {
  std::map<unsigned int, float> scores;
  std::size_t best = 0;
  double bestValue = std::numeric_limits<double>::lowest();
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i].id == 0) continue;
    if (bestValue < list[i].score) {
      best = i;
      bestValue = list[i].score;
    }
    scores[list[i].id] = static_cast<float>(list[i].score);
  }
  if (normalize && !list.empty() && list[best].low != list[best].high) {
    double const scale = 1.0 / (list[best].high - list[best].low);
    for (auto const& entry : list) {
      if (entry.id != 0) scores[entry.id] = static_cast<float>((double{scores[entry.id]} - list[best].low) * scale);
    }
  }
  Items items;
  if (maxResults == 0) {
    if (!scores.empty()) greatest = std::max(greatest, scores.rbegin()->first);
    for (unsigned int id = 0; id <= greatest; ++id) items.push_back(Item(id, scores.contains(id) ? scores[id] : 0.0F));
    return items;
  }
  for (auto const& [id, score] : scores) {
    if (score > 0) items.push_back(Item(id, score));
  }
  std::stable_sort(items.begin(), items.end(), [](auto& a, auto& b) { return a.GetValue() > b.GetValue(); });
  if (items.size() > maxResults) items.resize(maxResults);
  return items.empty() ? Items{Item(0, 0.0F)} : items;
}

TEST_F(BayesClassifierTest, LeavesTheBestClassesOnEachDocument) {
  SetClasses({{1, .25}, {2, .75}, {3, .5}});
  DocumentNode* const document = AddDocument(*documents);
  control.SetMaxResults(2);
  Run();
  EXPECT_EQ(Entries(document), (Items{Item(2, .75F), Item(3, .5F)}));
}

/// Adds children that `make` gives, and below them, in pre-order.
template <class Make>
void Grow(std::mt19937& random, DocumentNode& parent, Make const& make, int depth) {
  for (auto count = random() % 4; count > 0; --count) {
    Node* const child = make();
    parent.AddChild(child);
    if (auto* const document = dynamic_cast<DocumentNode*>(child); document && depth < 3) {
      Grow(random, *document, make, depth + 1);
    }
  }
}

TEST_F(BayesClassifierTest, FollowsTheRulesOnAnyTreesInAnyOrderOfRuns) {
  std::mt19937 random(1);
  double const values[] = {notANumber, -infinite, -1e300, -1.0,        -0.0, 0.0,   1e-46,   .1,
                           .3,         .7,        1.0,    1.0 + 1e-12, 3.0,  1e300, infinite};
  auto const value = [&] { return values[random() % std::size(values)]; };
  unsigned int const greatIds[] = {0, 1, 2, 3, 0xFFFFFFFF, 4'000'000'000};
  bool isGreat = false;
  std::vector<Class> list;  // what was learned last
  unsigned int greatest = 1;
  struct Expected {
    DocumentNode* document;
    bool isScored;
    Items entries;
  };
  std::vector<Expected> expected;
  control.SetClassTag("Clss");
  for (int round = 0; round < 3000; ++round) {
    if (round % 20 == 0) {
      isGreat = random() % 2 == 0;
      classifier = BayesClassifier();
      list.clear();
      greatest = 1;
    }
    control.SetMaxResults(static_cast<unsigned int>(isGreat ? 1 + random() % 5 : random() % 6));
    control.SetDoNormalize(random() % 2 == 0);
    control.SetDoLearn(random() % 4 != 0);
    control.SetDoClassify(random() % 8 != 0);
    if (control.GetDoLearn()) {
      list.clear();
      SetClasses({});
      auto const makeClass = [&]() -> Node* {
        auto const kind = random() % 8;
        if (kind == 0) return ProbeNode::Create("no document");
        if (kind == 1) {  // a class tag on the chain makes no class
          auto* const container = DocumentNode::Create(5, nullptr);
          container->AddRepresentation(TaggedNode::Create("Clss"));
          return container;
        }
        unsigned int const id = isGreat ? greatIds[random() % 6] : static_cast<unsigned int>(random() % 10);
        Class const entry{id, value(), value(), value()};
        auto* const node = ClassNode::Create(entry.id, {entry.score}, entry.low, entry.high);
        node->valid = kind != 2;
        node->SetTagName(kind == 3 ? "Othr" : "Clss");
        if (kind > 3) list.push_back(entry);
        if (kind > 3) greatest = std::max(greatest, id);
        return node;
      };
      Grow(random, *classes, makeClass, 0);
    }
    if (expected.empty() || random() % 2 == 0) {  // else the results of earlier runs are there
      expected.clear();
      documents = Ref(DocumentNode::Create());
      auto const makeDocument = [&]() -> Node* {
        auto const kind = random() % 6;
        if (kind == 0) return ProbeNode::Create("no document");
        auto* const document = DocumentNode::Create();
        if (kind != 1) document->AddRepresentation(NumberVector::Create(std::vector<double>(kind == 2 ? 0 : 1, 1.0)));
        if (kind == 4) document->AddRepresentation(TaggedNode::Create("Last"));
        expected.push_back({document, kind > 2, none});
        return document;
      };
      Grow(random, *documents, makeDocument, 1);
    }
    bool const isAlone = !expected.empty() && random() % 8 == 0;
    DocumentNode* const root = isAlone ? expected[random() % expected.size()].document : documents.Get();
    control.SetDoBatch(!isAlone);
    control.SetRootDocument(random() % 16 == 0 ? nullptr : root);
    CallBack callBack;
    classifier.SetCallBack(&callBack);
    Run();
    unsigned int scored = 0;
    for (Expected& each : expected) {
      bool const isMet = control.GetRootDocument() && control.GetDoClassify() && !list.empty() && each.isScored &&
                         (!isAlone || each.document == root);
      if (isMet) each.entries = ScoresByTheRules(list, control.GetMaxResults(), control.GetDoNormalize(), greatest);
      scored += isMet ? 1 : 0;
      ASSERT_EQ(Entries(each.document), each.entries) << "in round " << round;
      Node* last = each.document;
      int results = 0;
      while (last->GetFeature()) results += dynamic_cast<Result*>(last = last->GetFeature()) ? 1 : 0;
      ASSERT_EQ(results, each.entries == none ? 0 : 1);
      ASSERT_TRUE(!isMet || dynamic_cast<Result*>(last));  // behind all others
    }
    EXPECT_EQ(callBack.GetCurrent(), scored);
  }
}

TEST_F(BayesClassifierTest, RefusesFullResultsForTooGreatClassIds) {
  DocumentNode* const document = AddDocument(*documents);
  control.SetMaxResults(0);
  for (unsigned int const id : {FullResult::MaxSlots, 0xFFFFFFFFU}) {
    SetClasses({{id, .7}});
    EXPECT_EQ(FailureId([&] { Run(); }), 8);
    EXPECT_EQ(Entries(document), none);
  }
}

TEST_F(BayesClassifierTest, TakesForeignObjectsOffAndLeavesThemToTheirOwner) {
  SetClasses({{5, .5}});
  DocumentNode* const document = AddDocument(*documents);
  Ref const foreign = Ref<Node>::Share(document->GetFeature());
  control.SetResultTag(Representation::GetDefaultTag());
  Run();
  EXPECT_EQ(foreign->AddRefCount(), 3);  // that of the chain is ours now
  for (int times = 0; times < 2; ++times) foreign->Release();
  EXPECT_EQ(foreign->GetFeature(), nullptr);
  EXPECT_NE(dynamic_cast<SparseResult*>(document->GetRepresentation(Representation::GetDefaultTag())), nullptr);
}

/// Runs a function at each report, which says whether the run shall stop.
class Reported : public CallBack {
 public:
  explicit Reported(std::function<bool()> called) : stops(std::move(called)) {}
  void Increment(unsigned int step, bool* stop) override {
    EXPECT_FALSE(*stop);
    CallBack::Increment(step, stop);
    *stop = stops();
  }

 private:
  std::function<bool()> stops;
};

TEST_F(BayesClassifierTest, LeavesEachDocumentWithItsOldOrItsNewResult) {
  constexpr unsigned int count = 4;
  double value = 0.0;
  unsigned int dotsLeft = 0;  // a class's own bad_alloc is not to be taken for the classifier's
  SetClasses({});
  AddClass(*classes, ClassNode::Create(1, {}))->score = [&](Representation const&) {
    return dotsLeft-- != 0 ? value : throw std::bad_alloc();
  };
  std::vector<DocumentNode*> list(count);
  for (auto& document : list) document = AddDocument(*documents);
  control.SetMaxResults(0);
  for (unsigned int reached = 0; reached < count; ++reached) {
    for (bool const cancels : {false, true}) {
      Reported callBack([&] { return cancels && callBack.GetCurrent() == reached + 1; });
      value = .25;
      dotsLeft = count;
      classifier.SetCallBack(nullptr);
      Run();
      value = .5;
      dotsLeft = cancels ? count : reached;
      classifier.SetCallBack(&callBack);
      if (cancels) {
        EXPECT_THROW(Run(), UserCanceledException);
      } else {
        EXPECT_THROW(Run(), std::bad_alloc);
      }
      for (unsigned int i = 0; i < count; ++i) EXPECT_EQ(Entries(list[i]).at(1), Item(1, i < reached ? .5F : .25F));
    }
  }
}

TEST_F(BayesClassifierTest, MayBeRunFromItsOwnCallbackAndFromDot) {
  std::vector<Class> const first = {{1, .5}, {2, .25}, {3, .125}};
  std::vector<Class> const others[] = {{}, {{2, .75}}, {{1, .125}, {2, .25}, {70'000, .5}}};
  for (unsigned int variant = 0; variant < 24; ++variant) {
    std::vector<Class> const& learned = others[variant / 8];
    bool const fromDot = (variant & 1U) != 0;
    control.SetMaxResults((variant & 2U) != 0 ? 2 : 0);
    classifier = BayesClassifier();
    documents = Ref(DocumentNode::Create());
    control.SetRootDocument(documents.Get());
    DocumentNode* const list[] = {AddDocument(*documents), AddDocument(*documents)};
    SetClasses(first);
    Ref const outerClasses = fromDot ? classes : nullptr;  // a callback may end the tree that it replaces

    // Another run with everything else, within the work on the first document.
    bool ran = false;
    auto const runAnother = [&] {
      if (std::exchange(ran, true)) return false;
      SetClasses(learned);
      BayesControl inner = control;
      inner.SetMaxResults((variant & 4U) != 0 ? 1 : 0);
      inner.SetResultTag("Innr"_tag);
      inner.SetDoNormalize(true);
      inner.SetDoBatch(false);
      inner.SetRootDocument(list[1]);
      classifier.DoAlgorithm(&inner);
      Ref(list[0]->RemoveRepresentation(Representation::GetDefaultTag()));  // ends what is being scored
      return false;
    };
    Reported callBack(runAnother);
    if (!fromDot) classifier.SetCallBack(&callBack);
    dynamic_cast<ClassNode&>(*classes->GetVectorIterator().Current()).score = [&](Representation const&) {
      if (fromDot) runAnother();
      return .5;
    };
    Run();
    for (DocumentNode* const document : list) {
      Items entries = Entries(document);
      bool const isOld = fromDot && document == list[0];
      Items const expected = ScoresByTheRules(isOld ? first : learned, control.GetMaxResults(), false);
      ASSERT_GE(entries.size(), expected.size());
      // A full result has as many slots as the greatest class id ever seen asks for.
      for (; entries.size() > expected.size(); entries.pop_back()) ASSERT_EQ(entries.back().GetValue(), 0.0F);
      EXPECT_TRUE(entries == expected) << "variant " << variant;
    }
  }
}

TEST_F(BayesClassifierTest, SurvivesFailedAllocations) {
  DocumentNode* const document = AddDocument(*documents);
  for (unsigned int const maxResults : {0U, 3U}) {
    control.SetMaxResults(maxResults);
    SetClasses({{1, .25}, {2, .125}});
    Run();
    Items const before = Entries(document);
    SetClasses({{1, .5}, {2, .125}});
    classes->AddChild(CreateDeepTree(50));  // so that the walk needs memory on its way
    auto const oldOrNew = [&] {
      Items const entries = Entries(document);
      EXPECT_TRUE(entries == before || entries.at(maxResults == 0 ? 1 : 0) == Item(1, .5F));
      control.SetDoLearn(false);
      Run();  // with the whole list or with none
      control.SetDoLearn(true);
    };
    auto const runAfresh = [&] {
      classifier = BayesClassifier();
      Run();
    };
    EXPECT_GT(FailEachAllocation(runAfresh, oldOrNew, {.mayKeepMemory = true}), 12U);
    EXPECT_NE(Entries(document), before);
  }
  FailingAllocation const failing(0);
  EXPECT_EQ(classifier.CreateController(), nullptr);
}

TEST_F(BayesClassifierTest, WalksTreesThatAreDeeperThanTheStack) {
  constexpr int levels = 100'000;
  classes = Ref(CreateDeepTree(levels));
  documents = Ref(CreateDeepTree(levels));
  auto const last = [](DocumentNode* node) {
    while (node->ChildCount() != 0) node = dynamic_cast<DocumentNode*>(node->GetVectorIterator().Current());
    return node;
  };
  AddClass(*last(classes.Get()), ClassNode::Create(1, {.5}));
  DocumentNode* const document = AddDocument(*last(documents.Get()));
  control.SetRootClass(classes.Get());
  control.SetRootDocument(documents.Get());
  Run();
  EXPECT_EQ(Entries(document), Items{Item(1, .5F)});
}

TEST_F(BayesClassifierTest, SharesItsClassesWithClassifiersOnOtherThreads) {
  constexpr std::size_t threadCount = 4;
  constexpr int documentsOfAThread = 200;
  SetClasses({{1, .2, 0, 2}, {2, .7, -1, 1}, {3, .5, 0, 1}});
  control.SetDoNormalize(true);
  DocumentNode* const document = AddDocument(*documents);
  Run();
  Items const expected = Entries(document);

  std::vector<Ref<DocumentNode>> trees;
  for (std::size_t i = 0; i < threadCount; ++i) {
    trees.emplace_back(DocumentNode::Create());
    for (int k = 0; k < documentsOfAThread; ++k) AddDocument(*trees[i]);
  }
  {
    std::vector<std::jthread> threads;
    for (Ref<DocumentNode> const& tree : trees)
      threads.emplace_back([this, root = tree.Get()] {
        BayesControl own = control;
        own.SetRootDocument(root);
        BayesClassifier().DoAlgorithm(&own);
      });
  }
  for (Ref<DocumentNode> const& tree : trees)
    for (Node* child : Children(*tree)) EXPECT_EQ(Entries(dynamic_cast<DocumentNode*>(child)), expected);
}

TEST_F(BayesClassifierTest, DoesNothingWithoutAControlOfItsOwnAndItsSwitches) {
  SetClasses({{1, .5}});
  DocumentNode* const document = AddDocument(*documents);
  Control other;
  std::unique_ptr<Control> const created(classifier.CreateController());
  auto& fresh = dynamic_cast<BayesControl&>(*created);
  fresh.SetRootClass(classes.Get());
  fresh.SetRootDocument(documents.Get());
  for (Control* const block : {static_cast<Control*>(nullptr), &other, created.get()}) classifier.DoAlgorithm(block);
  EXPECT_TRUE(classifier.Save(nullptr) && classifier.Load(nullptr));
  control.SetDoClassify(false);
  Run();
  EXPECT_EQ(Entries(document), none);
}

}  // namespace
}  // namespace ZaM::test
