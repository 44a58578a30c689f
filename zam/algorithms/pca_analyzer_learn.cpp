// Learning: the Gram matrix, the start vectors and the iteration.
#include <cmath>
#include <random>

#include "zam/algorithms/eigen_iteration.h"
#include "zam/algorithms/krylov_iteration.h"
#include "zam/algorithms/pca_analyzer.h"
#include "zam/foundation/create_counted.h"
#include "zam/model/bulk_dot.h"
#include "zam/model/call_back.h"

namespace ZaM {

namespace {

// A fixed generator, so that every learning starts alike. Its numbers lie in 0..32767.
class StartNumbers {
 public:
  unsigned int Next() { return static_cast<unsigned int>(generator() >> 8U) & 0x7FFFU; }

 private:
  std::minstd_rand generator{764321};
};

}  // namespace

bool PcaAnalyzer::prepare() {
  ForgetModel();
  allocate();
  exampleCount = static_cast<unsigned int>(examples.size());
  constexpr unsigned int fewestExamples = 4;
  if (exampleCount < fewestExamples) return false;
  MakeGram();
  eigenVectors = StartVectors();
  return true;
}

// All examples take part, whatever their activity.
void PcaAnalyzer::MakeGram() {
  for (std::size_t i = 0; i < examples.size(); ++i) {
    ReportOutOfMemory([&] { gram[i].resize(i + 1); });
    if (examples[i]) DotAll(*examples[i], examples.data(), i + 1, gram[i].data());
  }
  gramTotal = 0.0;
  for (std::size_t i = 0; i < examples.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      gramRowSums[i] += gram[i][j];
      gramRowSums[j] += gram[i][j];
    }
    gramRowSums[i] += gram[i][i];
  }
  for (double const sum : gramRowSums) gramTotal += sum;
}

// One vector of random numbers and cosines of rising frequency, all in the scale of the first.
std::vector<std::vector<double>> PcaAnalyzer::StartVectors() const {
  constexpr double randomScale = 32768.0;
  constexpr double fullCircle = 6.283185307179586;
  auto vectors = ReportOutOfMemory(
      [this] { return std::vector<std::vector<double>>(VectorCount(), std::vector<double>(maxExamples)); });

  StartNumbers numbers;
  std::size_t const count = examples.size();
  std::vector<double>& random = vectors.front();
  double squaredLength = 0.0;
  for (std::size_t j = 0; j < count; ++j) {
    random[j] = numbers.Next() / randomScale;
    squaredLength += random[j] * random[j];
  }
  double const scale = 1.0 / std::sqrt(squaredLength);
  for (std::size_t j = 0; j < count; ++j) random[j] *= scale;

  double const step = fullCircle / static_cast<double>(count);
  for (std::size_t i = 1; i < vectors.size(); ++i) {
    double const frequency = static_cast<double>(i) * step;
    for (std::size_t j = 0; j < count; ++j) {
      vectors[i][j] = std::cos(frequency * static_cast<double>(j)) * scale;
    }
  }
  return vectors;
}

// The model's vectors, from which an iteration may start, change when everything that can fail is done.
void PcaAnalyzer::learn(std::vector<std::vector<double>> const& start) {
  detail::CentredGram const matrix{.lowerTriangle = gram,
                                   .rowSums = gramRowSums,
                                   .total = gramTotal,
                                   .exampleCount = static_cast<double>(exampleCount)};
  if (enableAcceleration) {
    auto iteration = ReportOutOfMemory([&] { return detail::KrylovIteration(matrix, activity, VectorCount()); });
    Run(iteration);
  } else {
    auto iteration = ReportOutOfMemory([&] { return detail::EigenIteration(matrix, activity, VectorCount()); });
    iteration.LoadVectors(start);
    Run(iteration);
  }
}

template <class Iteration>
void PcaAnalyzer::Run(Iteration& iteration) {
  constexpr unsigned int defaultPasses = 1000;  // where no limit was set, which might be never to converge
  ReportOutOfMemory([this] {
    for (std::vector<double>& vector : eigenVectors) vector.resize(maxExamples);
  });
  unsigned int const done =
      iteration.Run(epsilon, maxIterations == 0 ? defaultPasses : maxIterations, [this] { ReportPass(); });
  passes = done;
  converged = iteration.Converged();

  iteration.StoreVectors(eigenVectors);
  for (std::size_t i = 0; i < VectorCount(); ++i) {
    eigenValues[i] = iteration.Eigenvalue(i);
    ScaleVector(i);
  }
}

void PcaAnalyzer::ReportPass() const {
  if (!callBack) return;
  bool canceled = false;
  callBack->Increment(1, &canceled);
  if (canceled) throw UserCanceledException(ErrorId::TrainingCanceled);
}

// The squared length of a vector becomes sqrt(n) / eigenvalue, so that a projection needs no factor of its own.
void PcaAnalyzer::ScaleVector(std::size_t index) {
  double const eigenvalue = eigenValues[index];
  bool const vanished = !detail::IsPositive(eigenvalue);
  double const factor = vanished ? 0.0 : std::sqrt(std::sqrt(static_cast<double>(exampleCount)) / eigenvalue);
  for (std::size_t j = 0; j < examples.size(); ++j) {
    double& entry = eigenVectors[index][j];
    entry = vanished ? 0.0 : entry * factor;
    // Those of examples out of use may grow without bounds, and meet a product of 0 in projections.
    if (!std::isfinite(entry)) entry = 0.0;
  }
}

}  // namespace ZaM
