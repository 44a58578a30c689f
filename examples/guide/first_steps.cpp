#include <zam/zam.h>

#include <cmath>
#include <cstdio>

// What is known of a document: here just how many words it has.
class Length : public ZaM::Node, public ZaM::Representation {
 public:
  explicit Length(double count) : words(count) {}
  bool IsValid() const override { return true; }
  double const words;
};

// A class of documents: here just how many words they have as a rule.
class Kind : public ZaM::DocumentNode, public ZaM::Representation {
 public:
  Kind(unsigned int number, double count) : DocumentNode(number, nullptr), words(count) {}
  bool IsValid() const override { return true; }
  double dot(Representation const& document) const override {
    return 1 / (1 + std::abs(dynamic_cast<Length const&>(document).words - words));
  }

 private:
  double const words;
};

int main() {
  using namespace ZaM::literals;
  ZaM::DescribeUncaught();
  ZaM::Ref classes(ZaM::DocumentNode::Create());
  classes->AddChild(ZaM::CreateCounted([] { return new Kind(1, 200); }));   // letters
  classes->AddChild(ZaM::CreateCounted([] { return new Kind(2, 5000); }));  // reports
  ZaM::Ref document(ZaM::DocumentNode::Create());
  document->AddRepresentation(ZaM::CreateCounted([] { return new Length(230); }));

  ZaM::BayesControl control;
  control.SetDoLearn(true);
  control.SetDoClassify(true);
  control.SetRootClass(classes.Get());
  control.SetRootDocument(document.Get());
  control.SetResultTag("Rslt"_tag);
  ZaM::BayesClassifier().DoAlgorithm(&control);

  auto* result = document->Get<ZaM::Result>("Rslt"_tag);
  ZaM::IndexedResult const best = result->GetBestResults(1).front();
  std::printf("class %u with %.4f\n", best.GetIndex(), best.GetValue());
}
