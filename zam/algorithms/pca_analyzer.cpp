#include "zam/algorithms/pca_analyzer.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "zam/algorithms/document_walk.h"
#include "zam/algorithms/eigen_iteration.h"
#include "zam/algorithms/symmetric_product.h"
#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/foundation/ref.h"
#include "zam/model/bulk_dot.h"
#include "zam/model/document_node.h"
#include "zam/results/full_result.h"

namespace ZaM {

namespace {

std::int32_t ToIndex(std::size_t number) {
  return static_cast<std::int32_t>(std::min<std::size_t>(number, std::numeric_limits<std::int32_t>::max()));
}

}  // namespace

PcaAnalyzer::~PcaAnalyzer() {
  deallocate();
}

void PcaAnalyzer::DoAlgorithm(Control* control) {
  auto* const parameters = dynamic_cast<PcaControl*>(control);
  if (!parameters) return;
  representationTag = parameters->GetRepresentationTag();
  if (parameters->GetDoExamples()) setExamples(parameters);
  if (parameters->GetDoLearn() || parameters->GetDoInsert() || parameters->GetDoRemove())
    enableAcceleration = parameters->GetEnableAcceleration();
  if (parameters->GetDoLearn()) LearnAnew(*parameters);
  if (parameters->GetDoInsert()) Insert();
  if (parameters->GetDoRemove()) Remove();
  if (parameters->GetDoProject()) {
    batch = parameters->GetDoBatch();
    resultTag = parameters->GetResultTag();
    project(parameters->GetSourceNode());
  }
}

Control* PcaAnalyzer::CreateController() {
  return new (std::nothrow) PcaControl;
}

void PcaAnalyzer::setExamples(PcaControl* control) {
  std::size_t const count = control->GetExampleVector().size();
  if (count != 0 && count == control->GetActivityVector().size()) TakeExamples(*control);
  targetActivity = static_cast<std::int8_t>(control->GetTargetActivity());
  exampleCount = static_cast<unsigned int>(std::count(activity.begin(), activity.end(), targetActivity));
}

void PcaAnalyzer::TakeExamples(PcaControl& control) {
  ReportOutOfMemory([&] {
    std::vector<Representation*> newExamples = control.GetExampleVector();
    activity = control.GetActivityVector();
    examples = std::move(newExamples);
  });
  control.SetExampleVector({});
  control.SetActivityVector({});
}

void PcaAnalyzer::LearnAnew(PcaControl const& control) {
  unsigned int const capacity = std::max(maxExamples, control.GetMaxExamples());
  ReportOutOfMemory([&] {
    RequireAtMost(u"MaxExamples", capacity, mostExamples);
    RequireAtMost(u"numbers of all vectors", EntryCount(control.GetDimension(), capacity), mostEntries);
  });
  CheckCapacity(capacity);

  dimension = control.GetDimension();
  maxIterations = std::min(control.GetMaxIterations(), mostPasses);
  maxExamples = capacity;
  epsilon = control.GetEpsilon() > 0.0 ? control.GetEpsilon() : 0.0;
  enableRelearn = control.GetEnableRelearn();

  try {
    if (prepare()) learn(eigenVectors);
  } catch (...) {
    ForgetModel();
    throw;
  }
}

std::size_t PcaAnalyzer::EntryCount(unsigned int components, unsigned int capacity) {
  return (std::size_t{components} + 1) * capacity;
}

void PcaAnalyzer::CheckCapacity(std::size_t capacity) const {
  if (examples.size() > capacity)
    throw OutOfBoundsException(ErrorId::IndexOutOfRange, ToIndex(examples.size() - 1), ToIndex(capacity));
}

void PcaAnalyzer::allocate() {
  ReportOutOfMemory([this] {
    gramRowSums.resize(maxExamples);
    eigenValues.resize(VectorCount());
    gram.resize(maxExamples);
    eigenVectors.resize(VectorCount());
  });
}

void PcaAnalyzer::deallocate() {
  // Not `{}`, which would keep the memory.
  gramRowSums = std::vector<double>();
  eigenValues = std::vector<double>();
  gram = std::vector<std::vector<double>>();
  eigenVectors = std::vector<std::vector<double>>();
}

void PcaAnalyzer::ForgetModel() {
  deallocate();
  exampleCount = 0;
  passes = 0;
  converged = false;
}

// Not so after a learning that was refused, which leaves vectors without entries.
bool PcaAnalyzer::HasModel() const {
  return std::any_of(eigenVectors.begin(), eigenVectors.end(), [](auto const& vector) { return !vector.empty(); });
}

bool PcaAnalyzer::HasGramRow(std::size_t index) const {
  return index < gram.size() && gram[index].size() > index;
}

// The coordinates of one document after the other. Nothing is allocated per document but its result.
class PcaAnalyzer::Projection {
 public:
  explicit Projection(PcaAnalyzer const& model)
      : analyzer(model),
        partners(std::min(model.examples.size(), model.ExamplePlaces())),
        products(partners.size()),
        coordinates(model.dimension) {
    for (std::size_t j = 0; j < partners.size(); ++j) {
      if (model.activity[j] > 0) partners[j] = model.examples[j];
    }
  }

  /// Valid until the next call.
  std::vector<float> const& Project(Representation const& document) {
    double const inverse = 1.0 / analyzer.exampleCount;
    MultiplyWithExamples(document, inverse);
    for (std::size_t i = 0; i < coordinates.size(); ++i) {
      // A product with a vector of zeros wouldn't do: what `dot` gave may be infinite.
      bool const vanished = !detail::IsPositive(analyzer.eigenValues[i]);
      double const sum =
          vanished ? 0.0 : detail::InnerProduct(products.data(), analyzer.eigenVectors[i].data(), products.size());
      coordinates[i] = static_cast<float>(inverse * sum);
    }
    return coordinates;
  }

 private:
  // The row of the centred Gram matrix that the document would have; 0 for examples that aren't active.
  void MultiplyWithExamples(Representation const& document, double inverse) {
    DotAll(document, partners.data(), partners.size(), products.data());
    double total = 0.0;
    for (std::size_t j = 0; j < products.size(); ++j) {
      if (analyzer.activity[j] > 0) total += products[j];
    }
    for (std::size_t j = 0; j < products.size(); ++j) {
      if (analyzer.activity[j] <= 0) continue;
      products[j] -= (total + analyzer.gramRowSums[j] - inverse * analyzer.gramTotal) * inverse;
    }
  }

  PcaAnalyzer const& analyzer;
  std::vector<Representation const*> partners;  // the active ones of the examples that the model has a place for
  std::vector<double> products;                 // one per partner
  std::vector<float> coordinates;               // one per component
};

void PcaAnalyzer::project(Node* node) {
  if (exampleCount == 0 || !HasModel()) return;
  CheckExamplePlaces();
  auto projection = ReportOutOfMemory([this] { return Projection(*this); });
  detail::WalkDocuments(node, [&](DocumentNode& document) {
    Representation const* const representation = document.GetRepresentation(representationTag);
    if (representation && representation->IsValid()) {
      ReplaceResult(document, projection.Project(*representation));
    }
    return batch;
  });
}

// The vectors have to be those of the components, and to hold a place for every active example.
void PcaAnalyzer::CheckExamplePlaces() const {
  if (eigenVectors.size() < VectorCount())
    throw OutOfBoundsException(ErrorId::IndexOutOfRange, ToIndex(dimension), ToIndex(eigenVectors.size()));
  std::size_t const places = ExamplePlaces();
  for (std::size_t i = places; i < examples.size(); ++i) {
    if (activity[i] > 0) throw OutOfBoundsException(ErrorId::IndexOutOfRange, ToIndex(i), ToIndex(places));
  }
}

// The number of examples that all parts of the model have a place for.
std::size_t PcaAnalyzer::ExamplePlaces() const {
  std::size_t places = gramRowSums.size();
  for (std::vector<double> const& vector : eigenVectors) places = std::min(places, vector.size());
  return places;
}

void PcaAnalyzer::ReplaceResult(DocumentNode& document, std::vector<float> const& coordinates) const {
  Ref<FullResult> result(FullResult::Create());
  result->SetResults(coordinates);
  result->SetTagId(resultTag.id);
  if (Node* const former = document.RemoveRepresentation(resultTag)) former->Release();
  document.AddRepresentation(result.Detach());
}

}  // namespace ZaM
