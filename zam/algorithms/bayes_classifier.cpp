#include "zam/algorithms/bayes_classifier.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>
#include <vector>

#include "zam/algorithms/document_walk.h"
#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/foundation/ref.h"
#include "zam/model/cached_cast.h"
#include "zam/model/call_back.h"
#include "zam/model/document_node.h"
#include "zam/model/representation_chain.h"
#include "zam/results/best_results.h"
#include "zam/results/full_result.h"
#include "zam/results/out_of_bounds.h"
#include "zam/results/sparse_result.h"

namespace ZaM {

static_assert(std::numeric_limits<float>::is_iec559, "a score that doesn't fit a float has to become infinite");

/// What a learning run has found. Never changes afterwards: runs that have begun with it keep it.
struct BayesClassifier::ClassList {
  struct Entry {
    Representation* representation;  // not owned
    unsigned int classId;
    unsigned int place;  // of the class id in `ids`
  };

  std::vector<Entry> entries;       // all that have a class id, in the order in which they were found
  std::vector<unsigned int> ids;    // ascending, each once; a place for each makes ids of any size cheap
  Representation* first = nullptr;  // of all that were found, those without a class id included; null if there is none
};

/// One classification: what it was started with, and what is used anew for every document, so that a document costs no
/// allocation but that of its result. Callbacks and `dot` may start further runs of the same classifier meanwhile.
class BayesClassifier::Run {
 public:
  explicit Run(BayesClassifier const& started)
      : classifier(started),
        documentTag(started.tag),
        resultTag(started.resultTag),
        normalizes(started.doNormalize),
        maxResults(started.maxResults) {}

  void Classify(DocumentNode& document);

 private:
  static constexpr std::size_t block = 32;  // of scores that are looked at together

  void TakeClasses();
  Representation const* Score(Representation const& document);
  void Normalize(Representation const& bestClass);
  Ref<Result> CreateSparseResult();
  Ref<Result> CreateFullResult();
  void ReplaceResult(DocumentNode& document, Ref<Result> result);

  BayesClassifier const& classifier;  // asked for its callback and its classes, which may change during the run
  detail::CachedCast<Representation> asRepresentation;
  RepTag const documentTag;
  RepTag const resultTag;
  detail::CachedCast<Result> asResult;
  bool const normalizes;
  unsigned int const maxResults;

  std::shared_ptr<ClassList const> classes;  // those of the document in hand
  std::vector<float> scores;                 // parallel to the class ids, and zeros up to a whole block
  std::vector<IndexedResult> best;           // the best classes of the document
  std::vector<float> scoresByClass;          // one per class id up to the greatest, if full results are wanted
};

BayesClassifier::~BayesClassifier() = default;

void BayesClassifier::DoAlgorithm(Control* control) {
  auto const* const parameters = dynamic_cast<BayesControl const*>(control);
  if (!parameters) return;
  if (parameters->GetDoLearn()) Learn(*parameters);
  if (parameters->GetDoClassify()) Classify(*parameters);
}

Control* BayesClassifier::CreateController() {
  return new (std::nothrow) BayesControl;
}

bool BayesClassifier::Save(std::basic_ostream<char>* /*stream*/) {
  return true;
}

bool BayesClassifier::Load(std::basic_istream<char>* /*stream*/) {
  return true;
}

void BayesClassifier::Learn(BayesControl const& control) {
  tag = control.GetClassTag();
  classes.reset();  // if learning fails there must be no former list, whose tree may be gone by now
  ClassList list = getClassNodes(control.GetRootClass());
  prepareClassNodes(list);
  classes = ReportOutOfMemory([&] { return std::make_shared<ClassList const>(std::move(list)); });
}

void BayesClassifier::Classify(BayesControl const& control) {
  tag = control.GetDocumentTag();
  resultTag = control.GetResultTag();
  doBatch = control.GetDoBatch();
  doNormalize = control.GetDoNormalize();
  maxResults = control.GetMaxResults();
  if (classes && classes->first) classifyNode(control.GetRootDocument());
}

BayesClassifier::ClassList BayesClassifier::getClassNodes(Node* node) {
  ClassList list;
  detail::WalkDocuments(node, [this, &list, wanted = tag](DocumentNode& document) {
    auto* const representation = dynamic_cast<Representation*>(&document);
    if (representation && representation->IsValid() && representation->GetTagId() == wanted.id) {
      unsigned int const classId = document.GetClassId();
      if (classId != 0) ReportOutOfMemory([&] { list.entries.push_back({representation, classId, 0}); });
      if (!list.first) list.first = representation;
      maxClassId = std::max(maxClassId, classId);
    }
    return true;
  });
  return list;
}

void BayesClassifier::prepareClassNodes(ClassList& list) {
  ReportOutOfMemory([&] { list.ids.reserve(list.entries.size()); });
  for (ClassList::Entry const& entry : list.entries) list.ids.push_back(entry.classId);
  std::sort(list.ids.begin(), list.ids.end());
  list.ids.erase(std::unique(list.ids.begin(), list.ids.end()), list.ids.end());
  for (ClassList::Entry& entry : list.entries) {
    auto const place = std::lower_bound(list.ids.begin(), list.ids.end(), entry.classId);
    entry.place = static_cast<unsigned int>(place - list.ids.begin());
  }
}

void BayesClassifier::classifyNode(Node* node) {
  Run run(*this);
  detail::WalkDocuments(node, [&run, batch = doBatch](DocumentNode& document) {
    run.Classify(document);
    return batch;
  });
}

void BayesClassifier::ReportProgress() const {
  if (!callBack) return;
  bool canceled = false;
  callBack->Increment(1, &canceled);
  if (canceled) throw UserCanceledException(ErrorId::ClassificationCanceled);
}

void BayesClassifier::Run::Classify(DocumentNode& document) {
  detail::ChainEntry const entry = detail::FindRepresentation(document, documentTag, asRepresentation);
  if (!entry.node || !entry.representation->IsValid()) return;
  Ref const held = Ref<Node>::Share(entry.node);  // the callback and `dot` may have it taken off and released
  classifier.ReportProgress();
  TakeClasses();

  Representation const* const bestClass = Score(*entry.representation);
  if (normalizes && bestClass) Normalize(*bestClass);
  ReplaceResult(document, maxResults == 0 ? CreateFullResult() : CreateSparseResult());
}

// The callback may have had new classes learned.
void BayesClassifier::Run::TakeClasses() {
  if (!classes || classes != classifier.classes) {
    ReportOutOfMemory([this] {
      classes = classifier.classes ? classifier.classes : std::make_shared<ClassList const>();
      scores.assign((classes->ids.size() + block - 1) / block * block, 0.0F);
      best.reserve(std::min<std::size_t>(maxResults, std::max<std::size_t>(classes->ids.size(), 1)));
      scoresByClass.clear();
    });
  }
  if (maxResults != 0) return;
  if (classifier.maxClassId >= FullResult::maxSlots)
    detail::ThrowOutOfBounds(classifier.maxClassId, FullResult::maxSlots);
  ReportOutOfMemory([this] { scoresByClass.resize(std::size_t{classifier.maxClassId} + 1); });
}

// Returns the best class by the doubles, as `dot` gave them, for normalising: the earliest of several, and the first of
// the list if nothing is greater than the lowest number.
Representation const* BayesClassifier::Run::Score(Representation const& document) {
  Representation const* bestClass = classes->first;
  double bestValue = std::numeric_limits<double>::lowest();
  float* const places = scores.data();
  for (ClassList::Entry const& entry : classes->entries) {
    double const value = entry.representation->dot(document);
    places[entry.place] = static_cast<float>(value);
    if (normalizes && bestValue < value) {
      bestClass = entry.representation;
      bestValue = value;
    }
  }
  return bestClass;
}

// Once per entry of the list: a class id that is listed several times is mapped as often.
void BayesClassifier::Run::Normalize(Representation const& bestClass) {
  double const low = bestClass.GetMinimum();
  double const high = bestClass.GetMaximum();
  if (high == low) return;
  double const scale = 1.0 / (high - low);
  for (ClassList::Entry const& entry : classes->entries) {
    float& value = scores[entry.place];
    value = static_cast<float>((static_cast<double>(value) - low) * scale);
  }
}

// What a full result with the same scores would call its best classes, without the array that it needs. As the class
// ids ascend, an equal score never displaces an earlier one: a single comparison passes over most of the classes.
Ref<Result> BayesClassifier::Run::CreateSparseResult() {
  best.clear();
  float toBeat = 0.0F;
  for (std::size_t begin = 0; begin < scores.size(); begin += block) {
    // Of many classes most blocks hold nothing, which the compilers find out for several scores at once.
    float const* const values = &scores[begin];
    int candidates = 0;
    for (std::size_t i = 0; i < block; ++i) candidates |= static_cast<int>(values[i] > toBeat);
    if (candidates == 0) continue;
    for (std::size_t i = 0; i < block; ++i) {
      if (!(values[i] > toBeat)) continue;
      IndexedResult candidate;
      candidate.Set(classes->ids[begin + i], values[i]);
      detail::OfferToBest(best, maxResults, candidate);
      if (best.size() == maxResults) toBeat = best.front().GetValue();
    }
  }
  detail::SortBest(best);

  Ref<SparseResult> result(SparseResult::Create());
  result->SetResults(best);
  return result;
}

Ref<Result> BayesClassifier::Run::CreateFullResult() {
  for (std::size_t i = 0; i < classes->ids.size(); ++i) scoresByClass[classes->ids[i]] = scores[i];

  Ref<FullResult> result(FullResult::Create());
  result->SetResults(scoresByClass);
  return result;
}

void BayesClassifier::Run::ReplaceResult(DocumentNode& document, Ref<Result> result) {
  detail::ChainEntry const former = detail::FindRepresentation(document, resultTag, asRepresentation);
  if (former.node) {
    detail::Unhook(document, former);
    if (asResult(former.node)) former.node->Release();
  }
  result->SetTagId(resultTag.id);
  document.AddFeature(result.Detach());
}

}  // namespace ZaM
