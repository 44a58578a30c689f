// Vectors of one's own, classes that learn from examples, and documents that are turned down rather than guessed.
#include <zam/zam.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <initializer_list>

namespace {

using namespace ZaM::literals;

// Length and width of a leaf, in centimetres.
using Numbers = std::array<double, 2>;

class Leaf : public ZaM::Node, public ZaM::Representation {
 public:
  explicit Leaf(Numbers const& measured) : Representation("Leaf"_tag), numbers(measured) {}
  bool IsValid() const override { return true; }
  Numbers const numbers;
};

// A species: the mean of the leaves that it has seen.
class Species : public ZaM::DocumentNode, public ZaM::Representation {
 public:
  Species(unsigned int number, std::initializer_list<Numbers> examples)
      : DocumentNode(number, nullptr), Representation("Spec"_tag) {
    auto const share = 1.0 / static_cast<double>(examples.size());
    for (Numbers const& example : examples) {
      for (std::size_t i = 0; i < mean.size(); ++i) mean[i] += share * example[i];
    }
  }
  bool IsValid() const override { return true; }

  // 1 for a leaf like the mean, towards 0 with the distance; a view of another kind is no leaf at all.
  double dot(Representation const& document) const override {
    auto const* const leaf = dynamic_cast<Leaf const*>(&document);
    return leaf ? std::exp(-std::hypot(leaf->numbers[0] - mean[0], leaf->numbers[1] - mean[1])) : 0.0;
  }

 private:
  Numbers mean{};
};

ZaM::DocumentNode* Measured(Numbers const& numbers) {
  ZaM::Ref leaf(ZaM::DocumentNode::Create());
  leaf->AddRepresentation(ZaM::CreateCounted([&] { return new Leaf(numbers); }));
  return leaf.Detach();
}

// The best class, or 0 where nothing comes near, or two come equally near.
unsigned int Decided(ZaM::Result& result) {
  auto const& best = result.GetBestResults(2);  // sorted, the best in front
  bool const isNear = best[0].GetValue() >= 0.3F;
  bool const isAhead = best[0].GetValue() - best[1].GetValue() >= 0.2F;
  return isNear && isAhead ? best[0].GetIndex() : 0;
}

}  // namespace

int main() {
  ZaM::DescribeUncaught();
  ZaM::Ref classes(ZaM::DocumentNode::Create());
  classes->AddChild(ZaM::CreateCounted([] { return new Species(1, {{4.0, 1.0}, {4.4, 1.2}}); }));  // willow
  classes->AddChild(ZaM::CreateCounted([] { return new Species(2, {{5.8, 4.1}, {6.2, 4.5}}); }));  // beech

  ZaM::Ref leaves(ZaM::DocumentNode::Create());
  for (Numbers const& numbers : {Numbers{4.1, 1.3}, {6.3, 4.0}, {5.1, 2.7}, {12.0, 9.0}}) {
    leaves->AddChild(Measured(numbers));
  }

  ZaM::BayesControl control;
  control.SetDoLearn(true);
  control.SetDoClassify(true);
  control.SetClassTag("Spec"_tag);
  control.SetDocumentTag("Leaf"_tag);
  control.SetResultTag("Rslt"_tag);
  control.SetRootClass(classes.Get());
  control.SetRootDocument(leaves.Get());
  ZaM::BayesClassifier().DoAlgorithm(&control);

  char const* const names[] = {"rejected", "willow", "beech"};
  for (ZaM::DocumentNode& leaf : ZaM::ChildrenOf<ZaM::DocumentNode>(*leaves)) {
    Numbers const& numbers = leaf.Get<Leaf>("Leaf"_tag)->numbers;
    auto& result = *leaf.Get<ZaM::Result>("Rslt"_tag);
    std::printf("%4.1f x %.1f: %s\n", numbers[0], numbers[1], names[Decided(result)]);
  }
}
