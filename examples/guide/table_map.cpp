// The rows of a table on a plane: similar rows lie close together.
#include <zam/zam.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <numeric>
#include <string>
#include <vector>

namespace {

using namespace ZaM::literals;

// A place, and the mean of its temperature in January, April, July and October.
struct Row {
  char const* name;
  std::array<double, 4> degrees;
};

constexpr Row table[] = {
    {"Lisbon", {11, 15, 23, 18}}, {"Athens", {10, 16, 29, 20}}, {"Oslo", {-4, 6, 18, 6}},
    {"Moscow", {-7, 7, 19, 6}},   {"Vienna", {1, 11, 21, 11}},  {"Dublin", {5, 8, 15, 10}},
};

// All that the analysis asks of a row is its product with another one.
class Temperatures : public ZaM::Node, public ZaM::Representation {
 public:
  explicit Temperatures(Row const& row) : Representation("Temp"_tag), place(row) {}
  bool IsValid() const override { return true; }
  double dot(Representation const& other) const override {
    auto const& degrees = dynamic_cast<Temperatures const&>(other).place.degrees;
    return std::inner_product(degrees.begin(), degrees.end(), place.degrees.begin(), 0.0);
  }
  Row const& place;
};

ZaM::Ref<ZaM::DocumentNode> ReadTable() {
  ZaM::Ref rows(ZaM::DocumentNode::Create());
  for (Row const& row : table) {
    ZaM::Ref node(ZaM::DocumentNode::Create());
    node->AddRepresentation(ZaM::CreateCounted([&] { return new Temperatures(row); }));
    rows->AddChild(node.Detach());
  }
  return rows;
}

// Leaves two coordinates on each row.
void Project(ZaM::DocumentNode& rows) {
  std::vector<ZaM::Representation*> examples;
  for (ZaM::DocumentNode& row : ZaM::ChildrenOf<ZaM::DocumentNode>(rows)) {
    examples.push_back(row.GetRepresentation("Temp"_tag));
  }
  ZaM::PcaControl control;
  control.SetDoExamples(true);
  control.SetExampleVector(examples);
  control.SetActivityVector(std::vector<std::int8_t>(examples.size(), 1));
  control.SetDoLearn(true);
  control.SetDimension(2);
  control.SetEnableAcceleration(true);
  control.SetDoProject(true);
  control.SetSourceNode(&rows);
  control.SetRepresentationTag("Temp"_tag);
  control.SetResultTag("Plne"_tag);
  ZaM::PcaAnalyzer().DoAlgorithm(&control);
}

}  // namespace

int main() {
  ZaM::DescribeUncaught();
  ZaM::Ref const rows = ReadTable();
  Project(*rows);

  // Which side of an axis is which is arbitrary: Lisbon shall lie on the right and at the top.
  std::array<float, 2> signs{};
  std::vector<std::string> map(11, std::string(61, '.'));
  for (ZaM::DocumentNode& row : ZaM::ChildrenOf<ZaM::DocumentNode>(*rows)) {
    auto const& point = row.Get<ZaM::FullResult>("Plne"_tag)->GetResults();
    for (std::size_t axis = 0; axis < signs.size(); ++axis) {
      if (signs[axis] == 0.0F) signs[axis] = std::copysign(1.0F, point[axis].GetValue());
    }
    auto const column = std::lround(24 + 2.0F * signs[0] * point[0].GetValue());
    auto const line = std::lround(5 - signs[1] * point[1].GetValue());
    std::string const name = row.Get<Temperatures>("Temp"_tag)->place.name;
    map.at(static_cast<std::size_t>(line)).replace(static_cast<std::size_t>(column), name.size(), name);
  }
  for (std::string const& line : map) std::puts(line.c_str());
}
