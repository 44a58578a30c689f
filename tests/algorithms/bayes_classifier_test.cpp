#include "zam/algorithms/bayes_classifier.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <random>
#include <utility>

#include "tests/support/failing_allocation.h"
#include "tests/support/number_vector.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/result_items.h"

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

TEST_F(BayesClassifierTest, TakesClassIdsOfAnySize) {
  DocumentNode* const document = AddDocument(*documents);
  SetClasses({{0xFFFFFFFF, .5}, {4'000'000'000, .7}});
  Run();
  EXPECT_EQ(Entries(document), (Items{Item(4'000'000'000, .7F), Item(0xFFFFFFFF, .5F)}));
  control.SetMaxResults(0);
  for (unsigned int const id : {FullResult::MaxSlots, 0xFFFFFFFFU}) {
    SetClasses({{id, .7}});
    EXPECT_EQ(FailureId([&] { Run(); }), 5);
    EXPECT_EQ(Entries(document).size(), 2U);
  }
}

/// The rules followed step by step, in an array over all class ids.
Items ScoresByTheRules(std::vector<Class> const& list, unsigned int maxResults, bool normalize) {
  unsigned int greatest = 1;
  for (auto const& entry : list) greatest = std::max(greatest, entry.id);
  std::vector<float> scores(greatest + 1);
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
  if (normalize && list[best].low != list[best].high) {
    double const scale = 1.0 / (list[best].high - list[best].low);
    for (auto const& entry : list) {
      if (entry.id != 0) scores[entry.id] = static_cast<float>((double{scores[entry.id]} - list[best].low) * scale);
    }
  }
  Ref const full(FullResult::Create());
  full->SetResults(scores);
  return maxResults == 0 ? Slots(*full) : full->GetBestResults(maxResults);
}

TEST_F(BayesClassifierTest, FollowsTheRulesForAnyClasses) {
  std::mt19937 random(1);
  double const values[] = {notANumber, -infinite, -1e300, -1.0,        -0.0, 0.0,   1e-46,   .1,
                           .3,         .7,        1.0,    1.0 + 1e-12, 3.0,  1e300, infinite};
  auto const value = [&] { return values[random() % std::size(values)]; };
  DocumentNode* const document = AddDocument(*documents);
  for (int round = 0; round < 3000; ++round) {
    std::vector<Class> list(1 + random() % 12);
    for (auto& entry : list) entry = {static_cast<unsigned int>(random() % 10), value(), value(), value()};
    SetClasses(list);
    auto const maxResults = static_cast<unsigned int>(random() % 6);
    control.SetMaxResults(maxResults);
    control.SetDoNormalize(random() % 2 == 0);
    BayesClassifier().DoAlgorithm(&control);
    ASSERT_EQ(Entries(document), ScoresByTheRules(list, maxResults, control.GetDoNormalize())) << "in round " << round;
  }
}

TEST_F(BayesClassifierTest, AsksTheValidClassesOfTheTagInPreOrder) {
  std::vector<unsigned int> calls;
  auto const add = [&](DocumentNode& parent, unsigned int id, std::string const& tag = "Clss") {
    auto* const node = AddClass(parent, ClassNode::Create(id, {}));
    node->SetTagName(tag);
    node->score = [&calls, id](Representation const&) {
      calls.push_back(id);
      return 0.5;
    };
    return node;
  };
  SetClasses({});
  auto* const invalid = add(*add(*classes, 1), 2);
  invalid->valid = false;
  add(*add(*invalid, 3), 4, "Othr");
  auto* const container = DocumentNode::Create(5, nullptr);
  container->AddRepresentation(TaggedNode::Create("Clss"));
  classes->AddChild(container);
  add(*add(*container, 6, "Othr"), 7);
  classes->AddChild(ProbeNode::Create("no document"));
  add(*add(*classes, 0), 8);
  add(*classes, 1);
  control.SetClassTag("Clss");
  AddDocument(*documents);
  Run();
  EXPECT_EQ(calls, (std::vector<unsigned int>{1, 3, 7, 8, 1}));
}

TEST_F(BayesClassifierTest, ClassifiesDocumentsAndPassesContainersOver) {
  SetClasses({{1, .5}});
  Items const scored = {Item(1, .5F)};
  CallBack callBack;
  classifier.SetCallBack(&callBack);
  DocumentNode* const outer = AddDocument(*documents);
  DocumentNode* const invalid = AddDocument(*outer, {});
  DocumentNode* const inner = AddDocument(*invalid);
  auto* const foreign = ProbeNode::Create("no document");
  outer->AddChild(foreign);
  Run();
  for (DocumentNode* const document : {outer, inner}) EXPECT_EQ(Entries(document), scored);
  for (DocumentNode* const document : {documents.Get(), invalid}) EXPECT_EQ(Entries(document), none);
  EXPECT_EQ(callBack.GetCurrent(), 2U);

  DocumentNode* const late = AddDocument(*outer);
  control.SetDoLearn(false);  // the classes of the first run stand
  control.SetDoBatch(false);
  for (Node* const root : std::initializer_list<Node*>{documents.Get(), outer, foreign, nullptr}) {
    control.SetRootDocument(root);
    Run();
  }
  EXPECT_EQ(callBack.GetCurrent(), 3U);
  control.SetDoBatch(true);
  control.SetDoLearn(true);
  control.SetRootDocument(documents.Get());
  SetClasses({});  // no class, no effect
  Run();
  EXPECT_EQ(callBack.GetCurrent(), 3U);
  EXPECT_EQ(Entries(late), none);
}

TEST_F(BayesClassifierTest, ReplacesAnEarlierResultAndTakesForeignObjectsOff) {
  SetClasses({{5, .5}});
  DocumentNode* const document = AddDocument(*documents);
  Run();
  document->AddRepresentation(TaggedNode::Create("Last"));
  SetClasses({{1, .25}});
  control.SetMaxResults(0);
  Run();
  EXPECT_EQ(Entries(document).size(), 6U);  // as many as the greatest class id ever seen asks for
  Node* const vector = document->GetFeature();
  EXPECT_EQ(dynamic_cast<Representation*>(vector->GetFeature())->GetTagName(), "Last");
  EXPECT_NE(dynamic_cast<FullResult*>(vector->GetFeature()->GetFeature()), nullptr);
  EXPECT_EQ(vector->GetFeature()->GetFeature()->GetFeature(), nullptr);

  control.SetResultTag(Representation::GetDefaultTag());
  Run();
  Ref const foreign(vector);  // off the chain, and ours to release
  EXPECT_EQ(foreign->AddRefCount(), 2);
  foreign->Release();
  EXPECT_EQ(foreign->GetFeature(), nullptr);
  EXPECT_NE(dynamic_cast<FullResult*>(document->GetRepresentation(Representation::GetDefaultTag())), nullptr);
}

/// Cancels at the report with this number.
class Canceling : public CallBack {
 public:
  explicit Canceling(unsigned int number) : at(number) {}
  void Increment(unsigned int step, bool* stop) override {
    EXPECT_FALSE(*stop);
    CallBack::Increment(step, stop);
    *stop = GetCurrent() == at;
  }

 private:
  unsigned int at;
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
      Canceling callBack(cancels ? reached + 1 : 0);
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
  // An assignment that fails leaves the classifier with the list of three that it had.
  BayesClassifier former = classifier;
  SetClasses({{1, .75}, {2, .5}, {3, .25}});
  Run();
  control.SetDoLearn(false);
  auto const hasThree = [&] {
    Run();
    EXPECT_EQ(Entries(document).size(), 3U);
  };
  EXPECT_EQ(FailEachAllocation([&] { classifier = former; }, hasThree), 4U);
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

TEST_F(BayesClassifierTest, DoesNothingWithoutAControlOfItsOwnAndItsSwitches) {
  SetClasses({{1, .5}});
  DocumentNode* const document = AddDocument(*documents);
  Control other;
  classifier.DoAlgorithm(nullptr);
  classifier.DoAlgorithm(&other);
  control.SetDoClassify(false);
  Run();
  control.SetDoLearn(false);
  Run();
  EXPECT_EQ(Entries(document), none);
  EXPECT_TRUE(classifier.Save(nullptr) && classifier.Load(nullptr));

  std::unique_ptr<Control> const created(classifier.CreateController());
  auto& fresh = dynamic_cast<BayesControl&>(*created);
  EXPECT_FALSE(fresh.GetDoLearn() || fresh.GetDoClassify() || fresh.GetDoNormalize());
  EXPECT_TRUE(fresh.GetDoBatch());
  EXPECT_EQ(fresh.GetMaxResults(), 3U);
  fresh.SetClassTag("Abc");
  EXPECT_EQ(fresh.GetClassTag(), SetRepTag("Dflt"));
}

}  // namespace
}  // namespace ZaM::test
