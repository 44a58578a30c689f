// The classifier on any trees and in any order of runs against the rules followed step by step.
//
// The first byte says whether class ids are great, so that no full results are asked for. A run takes a byte for its
// settings; a tree takes a byte for the number of children of each node, and some for each child.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <vector>

#include "fuzz/byte_source.h"
#include "fuzz/require.h"
#include "tests/support/number_vector.h"
#include "tests/support/probe_nodes.h"
#include "tests/support/result_items.h"

namespace {

using namespace ZaM;
using namespace ZaM::test;

struct Class {
  unsigned int id;
  double score;
  double low, high;
};

/// What stands for no result.
Items const none = {Item(0, 0.0F, 0)};

/// What was learned: the classes in pre-order, and the greatest class id ever, at least 1.
struct Learned {
  std::vector<Class> list;
  unsigned int greatest = 1;
};

Items ScoresByTheRules(Learned const& learned, unsigned int maxResults, bool normalize) {
  auto const& list = learned.list;
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
    for (unsigned int id = 0; id <= learned.greatest; ++id) {
      items.push_back(Item(id, scores.contains(id) ? scores[id] : 0.0F));
    }
    return items;
  }
  for (auto const& [id, score] : scores) {
    if (score > 0) items.push_back(Item(id, score));
  }
  std::stable_sort(items.begin(), items.end(), [](auto& a, auto& b) { return a.GetValue() > b.GetValue(); });
  if (items.size() > maxResults) items.resize(maxResults);
  return items.empty() ? Items{Item(0, 0.0F)} : items;
}

double const values[] = {notANumber, -infinite, -1e300, -1.0,        -0.0, 0.0,   1e-46,   .1,
                         .3,         .7,        1.0,    1.0 + 1e-12, 3.0,  1e300, infinite};

/// Runs of one classifier, with the results that are expected on the documents.
class Runs {
 public:
  explicit Runs(ByteSource given) : bytes(given), isGreat(bytes.Below(2) == 1) {
    control.SetResultTag(resultTag);
    control.SetClassTag(classTag);
  }

  void Follow() {
    while (!bytes.IsEmpty()) Step();
  }

 private:
  struct Expected {
    DocumentNode* document;
    bool isScored;
    Items entries;
  };

  void Step() {
    unsigned int const flags = bytes.Below(256);
    control.SetDoLearn((flags & 3) != 0);
    control.SetDoClassify((flags & 12) != 0);
    control.SetDoNormalize((flags & 16) != 0);
    control.SetMaxResults(isGreat ? 1 + bytes.Below(5) : bytes.Below(6));
    if (control.GetDoLearn()) MakeClasses();
    if (expected.empty() || (flags & 32) != 0) MakeDocuments();  // else the results of earlier runs are there
    bool const isAlone = !expected.empty() && (flags & 64) != 0;
    DocumentNode* const root = isAlone ? expected[bytes.Below(256) % expected.size()].document : documents.Get();
    control.SetDoBatch(!isAlone);
    control.SetRootDocument((flags & 128) != 0 && bytes.Below(4) == 0 ? nullptr : root);
    CallBack callBack;
    classifier.SetCallBack(&callBack);
    classifier.DoAlgorithm(&control);
    unsigned int scored = 0;
    for (Expected& each : expected) {
      bool const isMet = control.GetRootDocument() && control.GetDoClassify() && !learned.list.empty() &&
                         each.isScored && (!isAlone || each.document == root);
      if (isMet) each.entries = ScoresByTheRules(learned, control.GetMaxResults(), control.GetDoNormalize());
      scored += isMet ? 1 : 0;
      Compare(each, isMet);
    }
    Require(callBack.GetCurrent() == scored, "each scored document is reported once");
  }

  static void Compare(Expected const& expected, bool isNew) {
    Node* last = expected.document;
    int results = 0;
    while (last->GetFeature()) results += dynamic_cast<Result*>(last = last->GetFeature()) ? 1 : 0;
    Require(results == (expected.entries == none ? 0 : 1), "a result takes the place of the former one");
    Require(!isNew || dynamic_cast<Result*>(last), "a new result hangs after all others");
    Require(Entries(*expected.document) == expected.entries, "the result is what the rules give");
  }

  static Items Entries(DocumentNode& document) {
    Representation* const result = document.GetRepresentation(resultTag);
    if (auto* const sparse = dynamic_cast<SparseResult*>(result)) return sparse->GetResults();
    if (auto* const full = dynamic_cast<FullResult*>(result)) return Slots(*full);
    return none;
  }

  /// Adds children that `make` gives, and below them, in pre-order.
  template <class Make>
  void Grow(DocumentNode& parent, Make const& make, int depth) {
    for (unsigned int count = bytes.Below(4); count > 0; --count) {
      Node* const child = make();
      parent.AddChild(child);
      if (auto* const document = dynamic_cast<DocumentNode*>(child); document && depth < 3) {
        Grow(*document, make, depth + 1);
      }
    }
  }

  void MakeClasses() {
    learned.list.clear();
    classes = Ref(DocumentNode::Create());
    control.SetRootClass(classes.Get());
    Grow(
        *classes, [this] { return MakeClass(); }, 0);
  }

  Node* MakeClass() {
    static constexpr unsigned int greatIds[] = {0, 1, 2, 3, 0xFFFFFFFF, 4'000'000'000};
    unsigned int const kind = bytes.Below(8);
    if (kind == 0) return ProbeNode::Create("no document");
    if (kind == 1) {  // a class tag on the chain makes no class
      auto* const container = DocumentNode::Create(5, nullptr);
      container->AddRepresentation(TaggedNode::Create("Clss"));
      return container;
    }
    Class entry{};
    entry.id = isGreat ? bytes.OneOf(greatIds) : bytes.Below(10);
    for (double* const number : {&entry.score, &entry.low, &entry.high}) *number = bytes.OneOf(values);
    auto* const node = ClassNode::Create(entry.id, {entry.score}, entry.low, entry.high);
    node->valid = kind != 2;
    node->SetTagName(kind == 3 ? "Othr" : "Clss");
    if (kind > 3) {
      learned.list.push_back(entry);
      learned.greatest = std::max(learned.greatest, entry.id);
    }
    return node;
  }

  void MakeDocuments() {
    expected.clear();
    documents = Ref(DocumentNode::Create());
    Grow(
        *documents, [this] { return MakeDocument(); }, 1);
  }

  Node* MakeDocument() {
    unsigned int const kind = bytes.Below(6);
    if (kind == 0) return ProbeNode::Create("no document");
    auto* const document = DocumentNode::Create();
    if (kind != 1) document->AddRepresentation(NumberVector::Create(std::vector<double>(kind == 2 ? 0 : 1, 1.0)));
    if (kind == 4) document->AddRepresentation(TaggedNode::Create("Last"));
    expected.push_back({document, kind > 2, none});
    return document;
  }

  static inline RepTag const resultTag = SetRepTag("Rslt"), classTag = SetRepTag("Clss");

  ByteSource bytes;
  bool const isGreat;
  Ref<DocumentNode> classes, documents{DocumentNode::Create()};
  Learned learned;
  std::vector<Expected> expected;
  BayesControl control;
  BayesClassifier classifier;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  Runs(ByteSource(data, size)).Follow();
  return 0;
}
