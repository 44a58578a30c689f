#include "zam/algorithms/bayes_classifier.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "zam/algorithms/document_walk.h"
#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/model/call_back.h"
#include "zam/model/document_node.h"
#include "zam/results/best_results.h"
#include "zam/results/full_result.h"
#include "zam/results/sparse_result.h"

namespace ZaM {

static_assert(std::numeric_limits<float>::is_iec559, "a score that doesn't fit a float has to become infinite");

// What is used anew for every document of a run, so that a document costs no allocation but that of its result.
struct BayesClassifier::Work {
  std::vector<double> values;        // what `dot` gave; parallel to classIds, unused for id 0
  std::vector<float> scores;         // what the result gets; parallel to scoredIds
  std::vector<IndexedResult> best;   // the best classes of the document
  std::vector<float> scoresByClass;  // one per class id up to the greatest, if full results are wanted
};

BayesClassifier::~BayesClassifier() = default;

void BayesClassifier::DoAlgorithm(Control* control) {
  auto const* const parameters = dynamic_cast<BayesControl const*>(control);
  if (!parameters) return;
  if (parameters->GetDoLearn()) learn(*parameters);
  if (parameters->GetDoClassify()) classify(*parameters);
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

void BayesClassifier::learn(BayesControl const& control) {
  tag = control.GetClassTag();
  forgetClassNodes();
  try {
    getClassNodes(control.GetRootClass());
    prepareClassNodes();
  } catch (...) {
    // Not the former list: its tree may be gone by now.
    forgetClassNodes();
    throw;
  }
}

void BayesClassifier::classify(BayesControl const& control) {
  tag = control.GetDocumentTag();
  resultTag = control.GetResultTag();
  doBatch = control.GetDoBatch();
  doNormalize = control.GetDoNormalize();
  maxResults = control.GetMaxResults();
  if (!classRepresentations.empty()) classifyNode(control.GetRootDocument());
}

void BayesClassifier::getClassNodes(Node* node) {
  detail::WalkDocuments(node, [this](DocumentNode& document) {
    auto* const representation = dynamic_cast<Representation*>(&document);
    if (representation && representation->IsValid() && representation->GetTagId() == tag.id) {
      unsigned int const classId = document.GetClassId();
      ReportOutOfMemory([&] {
        classRepresentations.push_back(representation);
        classIds.push_back(classId);
      });
      maxClassId = std::max(maxClassId, classId);
    }
    return true;
  });
}

// Finds a place for each class id, so that class ids may be of any size without arrays of that size.
void BayesClassifier::prepareClassNodes() {
  ReportOutOfMemory([this] {
    scoredIds = classIds;
    std::sort(scoredIds.begin(), scoredIds.end());
    scoredIds.erase(std::unique(scoredIds.begin(), scoredIds.end()), scoredIds.end());
    if (!scoredIds.empty() && scoredIds.front() == 0) scoredIds.erase(scoredIds.begin());

    scoreIndices.reserve(classIds.size());
    for (unsigned int const classId : classIds) {
      auto const place = std::lower_bound(scoredIds.begin(), scoredIds.end(), classId);
      scoreIndices.push_back(static_cast<std::size_t>(place - scoredIds.begin()));
    }
  });
}

void BayesClassifier::forgetClassNodes() {
  classRepresentations.clear();
  classIds.clear();
  scoredIds.clear();
  scoreIndices.clear();
}

void BayesClassifier::classifyNode(Node* node) {
  Work work;
  ReportOutOfMemory([&] {
    work.values.resize(classIds.size());
    work.scores.resize(scoredIds.size());
    work.best.reserve(std::min<std::size_t>(maxResults, std::max<std::size_t>(scoredIds.size(), 1)));
  });
  detail::WalkDocuments(node, [&](DocumentNode& document) {
    classifyDocument(document, work);
    return doBatch;
  });
}

void BayesClassifier::classifyDocument(DocumentNode& document, Work& work) const {
  Representation const* const representation = document.GetRepresentation(tag);
  if (!representation || !representation->IsValid()) return;
  reportProgress();
  if (maxResults == 0) makeRoomByClass(work);

  score(*representation, work);
  if (doNormalize) normalize(bestClass(work), work);
  replaceResult(document, maxResults == 0 ? createFullResult(work) : createSparseResult(work));
}

void BayesClassifier::reportProgress() const {
  if (!callBack) return;
  bool canceled = false;
  callBack->Increment(1, &canceled);
  if (canceled) throw UserCanceledException(20);
}

void BayesClassifier::score(Representation const& document, Work& work) const {
  for (std::size_t i = 0; i < classIds.size(); ++i) {
    if (classIds[i] == 0) continue;
    work.values[i] = classRepresentations[i]->dot(document);
    work.scores[scoreIndices[i]] = static_cast<float>(work.values[i]);
  }
}

// By the doubles, as `dot` gave them. The first of the list if nothing is greater than the lowest number.
Representation const& BayesClassifier::bestClass(Work const& work) const {
  std::size_t bestIndex = 0;
  double bestValue = std::numeric_limits<double>::lowest();
  for (std::size_t i = 0; i < classIds.size(); ++i) {
    if (classIds[i] == 0 || !(bestValue < work.values[i])) continue;
    bestIndex = i;
    bestValue = work.values[i];
  }
  return *classRepresentations[bestIndex];
}

// Once per entry of the list: a class id that is listed several times is mapped as often.
void BayesClassifier::normalize(Representation const& best, Work& work) const {
  double const low = best.GetMinimum();
  double const high = best.GetMaximum();
  if (high == low) return;
  double const scale = 1.0 / (high - low);
  for (std::size_t i = 0; i < classIds.size(); ++i) {
    if (classIds[i] == 0) continue;
    float& value = work.scores[scoreIndices[i]];
    value = static_cast<float>((static_cast<double>(value) - low) * scale);
  }
}

void BayesClassifier::makeRoomByClass(Work& work) const {
  if (!work.scoresByClass.empty()) return;
  if (maxClassId >= FullResult::MaxSlots) throw BaseException(5);
  ReportOutOfMemory([&] { work.scoresByClass.resize(std::size_t{maxClassId} + 1); });
}

// What a full result with the same scores would call its best classes, without the array that it needs. As the class
// ids ascend, an equal score never displaces an earlier one: a single comparison passes over most of the classes.
Ref<Result> BayesClassifier::createSparseResult(Work& work) const {
  work.best.clear();
  float toBeat = 0.0F;
  for (std::size_t i = 0; i < scoredIds.size(); ++i) {
    if (!(work.scores[i] > toBeat)) continue;
    IndexedResult candidate;
    candidate.Set(scoredIds[i], work.scores[i]);
    detail::OfferToBest(work.best, maxResults, candidate);
    if (work.best.size() == maxResults) toBeat = work.best.front().GetValue();
  }
  detail::SortBest(work.best);

  Ref<SparseResult> result(SparseResult::Create());
  result->SetResults(work.best);
  return result;
}

Ref<Result> BayesClassifier::createFullResult(Work& work) const {
  for (std::size_t i = 0; i < scoredIds.size(); ++i) work.scoresByClass[scoredIds[i]] = work.scores[i];

  Ref<FullResult> result(FullResult::Create());
  result->SetResults(work.scoresByClass);
  return result;
}

void BayesClassifier::replaceResult(DocumentNode& document, Ref<Result> result) const {
  Node* const former = document.RemoveRepresentation(resultTag);
  if (dynamic_cast<Result*>(former)) former->Release();
  result->SetTagId(resultTag.id);
  document.AddRepresentation(result.Detach());
}

}  // namespace ZaM
