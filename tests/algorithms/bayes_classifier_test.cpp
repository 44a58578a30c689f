#include "zam/algorithms/bayes_classifier.h"

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <new>
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

TEST_F(BayesClassifierTest, LeavesTheBestClassesOnEachDocument) {
  SetClasses({{1, .25}, {2, .75}, {3, .5}});
  DocumentNode* const document = AddDocument(*documents);
  control.SetMaxResults(2);
  Run();
  EXPECT_EQ(Entries(document), (Items{Item(2, .75F), Item(3, .5F)}));
}

TEST_F(BayesClassifierTest, RefusesFullResultsForTooGreatClassIds) {
  DocumentNode* const document = AddDocument(*documents);
  control.SetMaxResults(0);
  for (unsigned int const id : {FullResult::maxSlots, 0xFFFFFFFFU}) {
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
  for (bool const fromDot : {false, true}) {
    classifier = BayesClassifier();
    documents = Ref(DocumentNode::Create());
    control.SetRootDocument(documents.Get());
    DocumentNode* const list[] = {AddDocument(*documents), AddDocument(*documents)};
    SetClasses({{1, .5}, {2, .25}, {3, .125}});
    Ref const outerClasses = fromDot ? classes : nullptr;  // a callback may end the tree that it replaces

    // Another run with everything else, within the work on the first document.
    bool ran = false;
    auto const runAnother = [&] {
      if (std::exchange(ran, true)) return false;
      SetClasses({{1, .75}, {70'000, .5}});
      BayesControl inner = control;
      inner.SetMaxResults(1);
      inner.SetResultTag("Innr"_tag);
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
    control.SetMaxResults(2);
    Run();
    Items const learned = {Item(1, .75F), Item(70'000, .5F)};
    EXPECT_EQ(Entries(list[0]), fromDot ? (Items{Item(1, .5F), Item(2, .25F)}) : learned);
    EXPECT_EQ(Entries(list[1]), learned);
    EXPECT_EQ(dynamic_cast<SparseResult&>(*list[1]->GetRepresentation("Innr"_tag)).GetResults(), Items{learned[0]});
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
