// Principal components, on one thread: one pass of the centred Gram matrix over the vectors, a whole learning with the
// Gram matrix given, and a projection.
//
// The peers get the full matrix, already in memory. OpenBLAS chooses its code for the processor when it runs, as we do;
// Eigen's is compiled for the processor of this build. `kernel_` variants are what this machine could have chosen.
//
// How long a learning takes depends on the eigenvalues: the iteration needs the more passes the closer they lie, and
// its peers don't. So there are two sets of examples: points that a few factors explain, each factor four fifths of
// what the one before it does; and documents about topics, whose eigenvalues crowd from about the sixth on, as they do
// for real ones. Counters tell the passes and the error that is left in the eigenvalues.
#include <benchmark/benchmark.h>
#include <cblas.h>
#include <lapacke.h>

#include <Spectra/SymEigsSolver.h>
#include <Eigen/Dense>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <numbers>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "zam/algorithms/eigen_iteration.h"
#include "zam/algorithms/krylov_iteration.h"
#include "zam/algorithms/symmetric_product.h"
#include "zam/zam.h"

namespace {

using namespace ZaM;
using Eigen::MatrixXd;
using Eigen::VectorXd;

/// Documents about topics: most words come from the language, the others from a document's topic, both with
/// frequencies as Zipf found them. The same on every run.
class Writer {
 public:
  std::map<std::size_t, double> Write() {
    auto const topic = static_cast<std::size_t>(topicCount * Share() * Share());  // some are more common than others
    std::map<std::size_t, double> words;
    for (auto left = 60 + Below(80); left > 0; --left) {
      auto const rank = static_cast<std::size_t>(std::pow(wordCount, Share())) - 1;
      ++words[Below(3) != 0 ? rank : (rank * 7 + (topic + 1) * 101) % wordCount];
    }
    double squaredLength = 0.0;
    for (auto& [word, weight] : words) {
      weight = std::sqrt(weight);
      squaredLength += weight * weight;
    }
    for (auto& [word, weight] : words) weight /= std::sqrt(squaredLength);
    return words;
  }

  static constexpr std::size_t wordCount = 3000;

 private:
  static constexpr double topicCount = 18;

  std::size_t Below(std::size_t bound) { return engine() % bound; }
  double Share() { return std::uniform_real_distribution<double>(0, 1)(engine); }

  std::mt19937 engine{1};
};

MatrixXd Documents(Eigen::Index count) {
  MatrixXd documents = MatrixXd::Zero(count, Writer::wordCount);
  Writer writer;
  for (Eigen::Index i = 0; i < count; ++i)
    for (auto const& [word, weight] : writer.Write()) documents(i, static_cast<Eigen::Index>(word)) = weight;
  return documents;
}

MatrixXd Points(Eigen::Index count) {
  std::mt19937 engine(1);
  std::normal_distribution<double> normal;
  MatrixXd points(count, 100);
  double scale = 1.0;
  for (auto factor : points.colwise()) {
    for (double& score : factor) score = scale * normal(engine);
    scale *= std::sqrt(0.8);
  }
  return points;
}

/// The Gram matrix of some examples, as a lower triangle and in full, with the sums that centre it.
struct Gram {
  explicit Gram(MatrixXd const& examples) : full(examples * examples.transpose()) {
    auto const sums = full.rowwise().sum().eval();
    rowSums.assign(sums.begin(), sums.end());
    total = sums.sum();
    for (Eigen::Index i = 0; i < full.rows(); ++i) {
      auto const row = full.row(i).head(i + 1);
      triangle.emplace_back(row.begin(), row.end());
    }
  }

  double Count() const { return static_cast<double>(rowSums.size()); }

  /// Subtracts from products with the matrix what its centring takes off, and divides by the number of documents.
  template <class Vectors, class Products>
  void Centre(Vectors const& vectors, Products& products) const {
    auto const sums = VectorXd::Map(rowSums.data(), vectors.rows());
    for (Eigen::Index p = 0; p < vectors.cols(); ++p) {
      double const sum = vectors.col(p).sum();
      double const weighted = sums.dot(vectors.col(p));
      auto const taken = sums.array() * sum + (weighted - sum * total / Count());
      products.col(p).array() = (products.col(p).array() - taken / Count()) / Count();
    }
  }

  MatrixXd Centred() const {
    MatrixXd centred = full;
    auto const means = VectorXd::Map(rowSums.data(), centred.rows()) / Count();
    centred.colwise() -= means;
    centred.rowwise() -= means.transpose();
    centred.array() += total / (Count() * Count());
    return centred / Count();
  }

  MatrixXd full;
  std::vector<std::vector<double>> triangle;
  std::vector<double> rowSums;
  double total;
};

using Maker = MatrixXd (*)(Eigen::Index);

Gram const& GramOf(Maker make, std::size_t count) {
  static std::map<std::pair<Maker, std::size_t>, std::unique_ptr<Gram>> grams;
  auto& gram = grams[{make, count}];
  if (!gram) gram = std::make_unique<Gram>(make(static_cast<Eigen::Index>(count)));
  return *gram;
}

// ---- one pass ----

template <class Product>
void Pass(benchmark::State& state, std::size_t count, std::size_t dimension, Product multiply) {
  auto const& gram = GramOf(Points, count);
  MatrixXd const vectors = MatrixXd::Random(static_cast<Eigen::Index>(count), static_cast<Eigen::Index>(dimension) + 1);
  MatrixXd products = vectors;
  for (auto _ : state) {
    multiply(gram, vectors, products);
    gram.Centre(vectors, products);
    benchmark::ClobberMemory();
  }
  MatrixXd const expected = gram.Centred() * vectors;
  if (!products.isApprox(expected, 1e-9)) state.SkipWithError("wrong products");
}

void MultiplyByKernel(detail::SymmetricKernel const& kernel, Gram const& gram, MatrixXd const& vectors,
                      MatrixXd& products) {
  auto const size = static_cast<std::size_t>(vectors.rows());
  detail::MultiplySymmetric(gram.triangle, {{0, size}}, vectors.data(), products.data(),
                            static_cast<std::size_t>(vectors.cols()), size, kernel);
}

void MultiplyByDsymm(Gram const& gram, MatrixXd const& vectors, MatrixXd& products) {
  auto const rows = static_cast<blasint>(vectors.rows());
  cblas_dsymm(CblasColMajor, CblasLeft, CblasLower, rows, static_cast<blasint>(vectors.cols()), 1.0, gram.full.data(),
              rows, vectors.data(), rows, 0.0, products.data(), rows);
}

void MultiplyByEigen(Gram const& gram, MatrixXd const& vectors, MatrixXd& products) {
  products.noalias() = gram.full * vectors;
}

void MultiplyByEigenSymmetric(Gram const& gram, MatrixXd const& vectors, MatrixXd& products) {
  products.noalias() = gram.full.selfadjointView<Eigen::Lower>() * vectors;
}

// ---- a whole learning ----

/// What a learning found, the greatest eigenvalue first.
struct Components {
  std::vector<double> eigenvalues;
  double passes = 0;  // 0 if there is no such thing
};

/// A random vector and cosines of rising frequency, as PcaAnalyzer starts from.
std::vector<std::vector<double>> StartVectors(std::size_t count, std::size_t dimension) {
  std::vector<std::vector<double>> vectors(dimension + 1, std::vector<double>(count));
  std::minstd_rand engine(764321);
  for (double& number : vectors[0]) number = static_cast<double>((engine() >> 8U) & 0x7FFFU) / 32768.0;
  for (std::size_t i = 1; i <= dimension; ++i)
    for (std::size_t j = 0; j < count; ++j)
      vectors[i][j] = std::cos(2 * std::numbers::pi * static_cast<double>(i * j) / static_cast<double>(count));
  return vectors;
}

Components LearnByIteration(Gram const& gram, std::size_t dimension) {
  constexpr double epsilon = 1e-6;
  constexpr unsigned int maxPasses = 1000;
  auto vectors = StartVectors(gram.rowSums.size(), dimension);
  detail::EigenIteration iteration({gram.triangle, gram.rowSums, gram.total, gram.Count()},
                                   std::vector<std::int8_t>(gram.rowSums.size(), 1), vectors.size());
  iteration.LoadVectors(vectors);
  Components found;
  found.passes = iteration.Run(epsilon, maxPasses, [] {});
  iteration.StoreVectors(vectors);
  for (std::size_t i = 0; i < dimension; ++i) found.eigenvalues.push_back(iteration.Eigenvalue(i));
  return found;
}

Components LearnByKrylov(Gram const& gram, std::size_t dimension) {
  constexpr double epsilon = 1e-6;
  constexpr unsigned int maxPasses = 1000;
  std::vector<std::vector<double>> vectors(dimension + 1, std::vector<double>(gram.rowSums.size()));
  detail::KrylovIteration iteration({gram.triangle, gram.rowSums, gram.total, gram.Count()},
                                    std::vector<std::int8_t>(gram.rowSums.size(), 1), vectors.size());
  Components found;
  found.passes = iteration.Run(epsilon, maxPasses, [] {});
  iteration.StoreVectors(vectors);
  for (std::size_t i = 0; i < dimension; ++i) found.eigenvalues.push_back(iteration.Eigenvalue(i));
  return found;
}

Components LearnByDsyevr(Gram const& gram, std::size_t dimension) {
  MatrixXd centred = gram.Centred();
  auto const size = static_cast<lapack_int>(centred.rows());
  auto const wanted = static_cast<lapack_int>(dimension);
  VectorXd eigenvalues(size);
  MatrixXd vectors(size, wanted);
  std::vector<lapack_int> support(2 * dimension);
  lapack_int found = 0;
  if (LAPACKE_dsyevr(LAPACK_COL_MAJOR, 'V', 'I', 'L', size, centred.data(), size, 0.0, 0.0, size - wanted + 1, size,
                     0.0, &found, eigenvalues.data(), vectors.data(), size, support.data()) != 0)
    throw std::runtime_error("dsyevr");
  auto const leading = eigenvalues.head(wanted).reverse().eval();
  return {{leading.begin(), leading.end()}, 0};
}

Components LearnBySpectra(Gram const& gram, std::size_t dimension) {
  MatrixXd const centred = gram.Centred();
  Spectra::DenseSymMatProd<double> product(centred);
  auto const wanted = static_cast<Eigen::Index>(dimension);
  Spectra::SymEigsSolver<Spectra::DenseSymMatProd<double>> solver(product, wanted,
                                                                  std::max<Eigen::Index>(2 * wanted, 20));
  solver.init();
  solver.compute(Spectra::SortRule::LargestAlge);
  if (solver.info() != Spectra::CompInfo::Successful) throw std::runtime_error("Spectra");
  auto const eigenvalues = solver.eigenvalues();
  benchmark::DoNotOptimize(solver.eigenvectors());
  return {{eigenvalues.begin(), eigenvalues.end()}, static_cast<double>(solver.num_operations())};
}

/// The greatest relative error of an eigenvalue, with what dsyevr finds as the truth.
double GreatestError(Components const& found, Gram const& gram) {
  static std::map<std::pair<Gram const*, std::size_t>, Components> known;
  auto const count = found.eigenvalues.size();
  auto& truth = known[{&gram, count}];
  if (truth.eigenvalues.empty()) truth = LearnByDsyevr(gram, count);
  double greatest = 0.0;
  for (std::size_t i = 0; i < count; ++i)
    greatest = std::max(greatest, std::abs(found.eigenvalues[i] / truth.eigenvalues[i] - 1.0));
  return greatest;
}

template <class Learn>
void Learning(benchmark::State& state, Gram const& gram, std::size_t dimension, Learn learn) {
  Components found;
  for (auto _ : state) found = learn(gram, dimension);
  if (found.passes > 0) state.counters["passes"] = found.passes;
  state.counters["eigenvalue_error"] = GreatestError(found, gram);
}

// ---- projection ----

/// The words of a document in rising order, with their weights.
class WordVector : public Node, public Representation {
 public:
  static WordVector* Create(std::map<std::size_t, double> const& words) {
    return CreateCounted([&] { return new WordVector(words); });
  }

  bool IsValid() const override { return true; }

  double dot(Representation const& other) const override {
    auto const& others = static_cast<WordVector const&>(other).words;
    double sum = 0.0;
    auto theirs = others.begin();
    for (auto ours = words.begin(); ours != words.end() && theirs != others.end();) {
      if (ours->first < theirs->first) {
        ++ours;
      } else if (theirs->first < ours->first) {
        ++theirs;
      } else {
        sum += ours++->second * theirs++->second;
      }
    }
    return sum;
  }

 private:
  explicit WordVector(std::map<std::size_t, double> const& given) : words(given.begin(), given.end()) {}

  std::vector<std::pair<std::size_t, double>> words;
};

/// A model of some examples, and documents to project.
struct Projection {
  Projection(std::size_t exampleCount, std::size_t dimension) {
    Writer writer;
    for (std::size_t i = 0; i < exampleCount; ++i) {
      owned.emplace_back(WordVector::Create(writer.Write()));
      examples.push_back(owned.back().Get());
    }
    for (std::size_t i = 0; i < 10'000; ++i) {
      auto* const document = DocumentNode::Create();
      documents.push_back(WordVector::Create(writer.Write()));
      document->AddRepresentation(documents.back());
      tree->AddChild(document);
    }
    PcaControl control;
    control.SetDoExamples(true);
    control.SetExampleVector(examples);
    control.SetActivityVector(std::vector<std::int8_t>(exampleCount, 1));
    control.SetDoLearn(true);
    control.SetMaxExamples(static_cast<unsigned int>(exampleCount));
    control.SetDimension(static_cast<unsigned int>(dimension));
    control.SetMaxIterations(5);
    analyzer.DoAlgorithm(&control);
  }

  void Project() {
    PcaControl control;
    control.SetDoProject(true);
    control.SetSourceNode(tree.Get());
    control.SetResultTag(SetRepTag("Pcax"));
    analyzer.DoAlgorithm(&control);
  }

  void BareDots() const {
    for (auto const* const document : documents)
      for (auto const* const example : examples) benchmark::DoNotOptimize(document->dot(*example));
  }

  std::vector<Ref<WordVector>> owned;
  std::vector<Representation*> examples;
  std::vector<WordVector*> documents;
  Ref<DocumentNode> tree{DocumentNode::Create()};
  PcaAnalyzer analyzer;
};

void RegisterPasses(std::string const& size, std::size_t count, std::size_t dimension) {
  auto const add = [&](std::string const& variant, auto multiply) {
    benchmark::RegisterBenchmark(("pca_pass_" + size + "/" + variant).c_str(), [=](benchmark::State& state) {
      Pass(state, count, dimension, multiply);
    })->Unit(benchmark::kMicrosecond);
  };
  auto const addKernel = [&](std::string const& variant, detail::SymmetricKernel const& kernel) {
    add(variant, [&kernel](Gram const& gram, MatrixXd const& vectors, MatrixXd& products) {
      MultiplyByKernel(kernel, gram, vectors, products);
    });
  };
  addKernel("zam", detail::BestSymmetricKernel());
  add("openblas_dsymm", MultiplyByDsymm);
  add("eigen", MultiplyByEigen);
  add("eigen_selfadjoint", MultiplyByEigenSymmetric);
  for (auto const* const* kernel = detail::VectorSymmetricKernels(); *kernel; ++kernel)
    addKernel(std::string("kernel_") + (*kernel)->name, **kernel);
  addKernel("kernel_portable", detail::portableSymmetricKernel);
}

void RegisterLearnings(std::string const& family, Maker make, std::size_t count, std::size_t dimension) {
  auto const add = [&](std::string const& variant, auto learn) {
    benchmark::RegisterBenchmark((family + "/" + variant).c_str(), [=](benchmark::State& state) {
      Learning(state, GramOf(make, count), dimension, learn);
    })->Unit(benchmark::kMillisecond);
  };
  add("zam", LearnByKrylov);
  bool const takesHalfAMinute = make == Documents && count > 1000 && dimension > 10;
  if (!takesHalfAMinute) add("zam_by_default", LearnByIteration);
  add("lapack_dsyevr", LearnByDsyevr);
  add("spectra", LearnBySpectra);
}

void RegisterProjections(std::string const& size, std::size_t count, std::size_t dimension) {
  auto const add = [&](std::string const& variant, auto run) {
    benchmark::RegisterBenchmark(("pca_projection_" + size + "/" + variant).c_str(), [=](benchmark::State& state) {
      Projection projection(count, dimension);
      for (auto _ : state) run(projection);
    })->Unit(benchmark::kMillisecond);
  };
  add("zam", [](Projection& projection) { projection.Project(); });
  add("bare_dots", [](Projection& projection) { projection.BareDots(); });
}

bool const registered = [] {
  openblas_set_num_threads(1);
  for (std::size_t const count : {200U, 1000U, 3000U}) {
    for (std::size_t const dimension : {3U, 10U, 50U}) {
      auto const size = std::to_string(count) + "x" + std::to_string(dimension);
      RegisterPasses(size, count, dimension);
      RegisterLearnings("pca_learning_" + size, Points, count, dimension);
      RegisterLearnings("pca_learning_documents_" + size, Documents, count, dimension);
    }
  }
  RegisterProjections("200x3", 200, 3);
  RegisterProjections("200x50", 200, 50);
  RegisterProjections("1000x10", 1000, 10);
  return true;
}();

}  // namespace
