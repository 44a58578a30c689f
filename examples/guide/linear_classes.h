// Documents as vectors of numbers, and classes that are linear functions of them.
#ifndef GUIDE_LINEAR_CLASSES_H
#define GUIDE_LINEAR_CLASSES_H

#include <zam/zam.h>

#include <numeric>
#include <utility>
#include <vector>

namespace guide {

// A view of a document as numbers, on the document's feature chain under a tag of its own.
class NumberVector : public ZaM::Node, public ZaM::Representation {
 public:
  static NumberVector* Create(ZaM::RepTag const& tag, std::vector<double> numbers) {
    return ZaM::CreateCounted([&] { return new NumberVector(tag, std::move(numbers)); });
  }

  bool IsValid() const override { return !numbers.empty(); }
  std::vector<double> const numbers;

 protected:
  NumberVector(ZaM::RepTag const& given, std::vector<double> content)
      : Representation(given), numbers(std::move(content)) {}
};

// A class of the class tree, with the weights that it has learned.
class LinearClass : public ZaM::DocumentNode, public ZaM::Representation {
 public:
  static LinearClass* Create(unsigned int number, ZaM::RepTag const& tag, std::vector<double> weights) {
    return ZaM::CreateCounted([&] { return new LinearClass(number, tag, std::move(weights)); });
  }

  bool IsValid() const override { return true; }
  double GetMinimum() const override { return -1.0; }
  double GetMaximum() const override { return 1.0; }

  // What isn't a vector of the same length has nothing in common with the class.
  double dot(Representation const& document) const override {
    auto const* const vector = dynamic_cast<NumberVector const*>(&document);
    if (!vector || vector->numbers.size() != weights.size()) return GetMinimum();
    return std::inner_product(weights.begin(), weights.end(), vector->numbers.begin(), 0.0);
  }

 protected:
  LinearClass(unsigned int number, ZaM::RepTag const& given, std::vector<double> learned)
      : DocumentNode(number, nullptr), Representation(given), weights(std::move(learned)) {}

 private:
  std::vector<double> const weights;
};

inline ZaM::RepTag const classTag = ZaM::SetRepTag("Clss");
inline ZaM::RepTag const vectorTag = ZaM::SetRepTag("Vect");
inline ZaM::RepTag const resultTag = ZaM::SetRepTag("Rslt");

inline ZaM::Ref<ZaM::DocumentNode> MakeClasses() {
  ZaM::Ref classes(ZaM::DocumentNode::Create());
  classes->AddChild(LinearClass::Create(1, classTag, {1.0, 0.0}));
  classes->AddChild(LinearClass::Create(2, classTag, {0.0, 1.0}));
  return classes;
}

inline ZaM::Ref<ZaM::DocumentNode> MakeDocuments(std::vector<std::vector<double>> const& vectors) {
  ZaM::Ref documents(ZaM::DocumentNode::Create());
  for (auto const& numbers : vectors) {
    ZaM::Ref document(ZaM::DocumentNode::Create(numbers[0] > numbers[1] ? 1 : 2, nullptr));
    document->AddRepresentation(NumberVector::Create(vectorTag, numbers));
    documents->AddChild(document.Detach());
  }
  return documents;
}

inline ZaM::BayesControl MakeControl(ZaM::Node* classes, ZaM::Node* documents) {
  ZaM::BayesControl control;
  control.SetDoLearn(true);
  control.SetDoClassify(true);
  control.SetDoNormalize(true);
  control.SetClassTag(classTag);
  control.SetDocumentTag(vectorTag);
  control.SetResultTag(resultTag);  // the three tags are equal by default: keep them apart
  control.SetRootClass(classes);
  control.SetRootDocument(documents);
  return control;
}

}  // namespace guide

#endif
