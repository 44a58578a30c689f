// Stored models from hostile hands: whatever is read, every further call ends, and what can be saved is read again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/number_vector.h"

namespace {

using namespace ZaM;

/// A number whose `dot` is the product.
class Scalar : public test::NumberVector {
 public:
  static Scalar* Create(double number) {
    return CreateCounted([&] { return new Scalar({number}); });
  }
  double dot(Representation const& other) const override {
    return numbers[0] * static_cast<Scalar const&>(other).numbers[0];
  }

 protected:
  using NumberVector::NumberVector;
};

using Step = void (PcaControl::*)(bool);

/// Hands eight examples over whose activities are bits of `marks`, runs the step, and projects a document.
void Run(PcaAnalyzer& analyzer, Step step, std::uint32_t marks) {
  static std::vector<Ref<Scalar>> const examples = [] {
    std::vector<Ref<Scalar>> made;
    made.reserve(8);
    for (int i = 0; i < 8; ++i) made.emplace_back(Scalar::Create(i * i - 5.5));
    return made;
  }();
  std::vector<Representation*> pointers;
  std::vector<std::int8_t> activities;
  for (auto const& example : examples) {
    bool const missing = (marks & 7) == 7;
    pointers.push_back(missing ? nullptr : example.Get());
    activities.push_back(static_cast<std::int8_t>(static_cast<int>(marks & 3) - 1));  // -1 to 2
    marks >>= 3;
  }
  Ref const document(DocumentNode::Create());
  document->AddRepresentation(Scalar::Create(1.5));
  PcaControl control;
  control.SetDoExamples(true);
  control.SetExampleVector(pointers);
  control.SetActivityVector(activities);
  control.SetMaxIterations(3);
  control.SetMaxExamples(8);
  control.SetEnableRelearn(true);
  (control.*step)(true);
  control.SetDoProject(true);
  control.SetSourceNode(document.Get());
  try {
    analyzer.DoAlgorithm(&control);
  } catch (BaseException const&) {
    // The documented end of a call that the model can't serve.
  }
}

/// A field of the header, as far as it is there.
std::uint32_t Field(std::string const& bytes, std::size_t offset, std::uint32_t fallback) {
  if (bytes.size() < offset + 4) return fallback;
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[offset + i]);
  return value;
}

std::string Saved(PcaAnalyzer& analyzer) {
  std::ostringstream stream;
  return analyzer.Save(&stream) ? stream.str() : std::string();
}

}  // namespace

// The first four bytes say how the examples are marked, the rest is the file.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 4) return 0;
  std::string bytes(reinterpret_cast<char const*>(data), size);
  std::uint32_t const marks = Field(bytes, 0, 0);
  bytes.erase(0, 4);
  // So many passes over a model of hardly any numbers would only take time.
  if (bytes.size() >= 8) bytes.replace(5, 3, 3, '\0');
  PcaAnalyzer loaded;
  std::istringstream stream(bytes);
  bool const complete = loaded.Load(&stream);
  // What was promised and isn't there counts from now on, and room for it would only take time.
  if (!complete && (Field(bytes, 0, 3) + 1.0) * Field(bytes, 8, 1000) > 20'000) {
    Run(loaded, &PcaControl::SetDoProject, marks);
    return 0;
  }
  for (Step const step :
       {&PcaControl::SetDoProject, &PcaControl::SetDoInsert, &PcaControl::SetDoRemove, &PcaControl::SetDoLearn}) {
    PcaAnalyzer analyzer = loaded;
    Run(analyzer, step, marks);
    std::string const saved = Saved(analyzer);
    if (saved.empty()) continue;
    PcaAnalyzer again;
    std::istringstream copy(saved);
    if (!again.Load(&copy)) std::abort();
    Run(analyzer, &PcaControl::SetDoProject, marks);
    Run(again, &PcaControl::SetDoProject, marks);
    if (Saved(again) != Saved(analyzer)) std::abort();
    Run(analyzer, &PcaControl::SetDoRemove, marks >> 1);
  }
  return 0;
}
