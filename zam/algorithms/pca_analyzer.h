// Learns the principal components of a set of examples, and projects documents onto them.
#ifndef ZAM_ALGORITHMS_PCA_ANALYZER_H
#define ZAM_ALGORITHMS_PCA_ANALYZER_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zam/algorithms/pca_control.h"
#include "zam/foundation/create_counted.h"
#include "zam/foundation/export.h"
#include "zam/model/algorithm.h"
#include "zam/model/representation.h"

namespace ZaM {

class CallBack;
class DocumentNode;
class Node;

/// Dual (kernel) principal component analysis: learns a low-dimensional space from examples, of which it needs nothing
/// but `dot`, and leaves the coordinates of documents in that space as a `FullResult` on each of them.
///
///     PcaAnalyzer analyzer;
///     PcaControl control;
///     control.SetDoExamples(true);
///     control.SetExampleVector(examples);                                     // at least 4, kept alive by the caller
///     control.SetActivityVector(std::vector<std::int8_t>(examples.size(), 1));
///     control.SetDoLearn(true);
///     control.SetDoProject(true);
///     control.SetSourceNode(documents);
///     control.SetResultTag(SetRepTag("Pcax"));  // the default would be the tag of the documents themselves
///     analyzer.DoAlgorithm(&control);
///
/// With G the Gram matrix of the n examples, G[i][j] the `dot` of example i with example j, and r and T the sums of its
/// rows and of all, the components are the leading eigenvectors of the matrix of
///     (G[i][j] - (r[i] + r[j] - T/n) / n) / n,
/// found by orthogonal iteration with Gram-Schmidt orthogonalisation. For vectors and their inner product, its
/// eigenvalues are those of the covariance matrix with the divisor n. See B. Schölkopf, A. Smola, K.-R. Müller:
/// "Nonlinear component analysis as a kernel eigenvalue problem", Neural Computation 10 (1998).
///
/// Coordinate i of an example is its principal component score divided by the fourth root of n, and sums to 0 over the
/// examples; its sign is arbitrary. A component that isn't there, because the examples span fewer dimensions, has the
/// eigenvalue 0 and gives the coordinate 0; insertions don't bring it back, only a new learning does. All components
/// are gone if a `dot` of the examples wasn't a finite number when they were learned; an insertion refuses it. If a
/// `dot` of the document isn't one, its coordinates aren't either.
///
/// The iteration may end at `MaxIterations` before it has converged, and does so for most sets of real texts, where
/// eigenvalues lie close: `GetConverged` tells. With `EnableAcceleration` an iteration of another kind takes its place,
/// which takes tens of passes instead of thousands; the form of the model is the same.
///
/// What isn't found:
/// - A component with an eigenvalue of 1e-6 or less counts as absent, however large the others are. Where a `dot` is
///   that small, let it give a multiple of what it gives.
/// - Without acceleration, of more than n/2 + 1 components those that follow are never found: the iteration starts from
///   a random vector and from cosines, of which no more than n/2 are different. Of the 4 components of 5 examples, 3
///   are found.
///
/// The `dot`s of N examples, N·(N + 1)/2 of them, may then take most of a learning's time: examples that are a
/// `BulkDot` too compute a row of them at once.
///
/// Insertion and removal need the `dot`s of new examples alone: they change G, r and T, and iterate from the former
/// vectors. They need the model's Gram matrix, which a loaded model has only if it was saved with `EnableRelearn`. An
/// insertion learns anew if the analyzer has no model, or no example of it is in use any more. Mark examples anew
/// before each run: one that stays at -1 is subtracted again by the next removal, so give it -2. A model for n = 0
/// examples has eigenvalues of 0.
///
/// Limits: at most `mostExamples` examples, and `mostEntries` entries of (`Dimension` + 1) vectors of `MaxExamples`.
/// Memory: a lower triangle of N·(N + 1)/2 doubles for N examples, and (Dimension + 1) · MaxExamples of the vectors;
///         during a learning twice as much for the vectors, and with acceleration up to six times as much.
/// Exactness: the same calls give the same bits in the same build on machines of one kind; the code for sums is chosen
///         by the processor, so that the last bits, and the signs of coordinates, may differ between kinds of machines.
/// Owning: the examples belong to the caller, and have to live as long as a run that learns, inserts or projects; the
///         callback too, which copies share.
/// Threads: one thread at a time, together with the tree that is projected; separate analyzers are independent. Neither
///         a `dot` nor the callback may use the analyzer that calls it.
/// Errors: fewer than 4 examples to learn from, a block of another type and nothing to insert or remove end a run
///         silently; after a refused learning there is no model, and nothing is projected.
///         BaseException with id 5 when memory runs out; LimitExceededException for a learning that passes a limit;
///         OutOfBoundsException(8) if there are more examples than `MaxExamples`, or a projection finds an active
///         example that the model has no place for; BaseException with id 1 if an insertion meets a `dot`, or makes a
///         sum, that isn't a finite number, and with id 53 if an insertion or removal needs rows of the Gram matrix
///         that aren't there. What `dot` and the callback throw passes through unchanged, whatever it is. A learning
///         that passes a limit changes nothing, and one that fails later leaves no model; an insertion or removal that
///         failed leaves the former one, and a projection that failed leaves each document with its old or its new
///         coordinates.
class ZAM_EXPORT PcaAnalyzer : public Algorithm {
 public:
  /// The greatest number of examples that a model can have room for: 2²⁰.
  static constexpr unsigned int mostExamples = 1U << 20;
  /// The greatest number of passes of one iteration: 2²⁰.
  static constexpr unsigned int mostPasses = 1U << 20;
  /// The greatest number of entries of all vectors of a model: 2²⁷, which are 1 GiB.
  static constexpr std::size_t mostEntries = std::size_t{1} << 27;

  PcaAnalyzer() = default;
  PcaAnalyzer(PcaAnalyzer const&) = default;
  PcaAnalyzer(PcaAnalyzer&&) = default;
  /// Member by member; changes nothing when memory runs out.
  PcaAnalyzer& operator=(PcaAnalyzer const& other) { return *this = PcaAnalyzer(other); }
  PcaAnalyzer& operator=(PcaAnalyzer&&) = default;
  ~PcaAnalyzer() override;

  /// Called with `Increment(1, …)` before each pass of an iteration; whoever wants to stop gets
  /// UserCanceledException(21) out of the run. Null, as by default, for none.
  void SetCallBack(CallBack* reporter) { callBack = reporter; }

  /// How many passes the model's iteration took; 0 if there is no model, or a loaded one that wasn't changed.
  [[nodiscard]] unsigned int GetPasses() const { return passes; }

  /// Whether that iteration came to its end, by `Epsilon` or since no component is left, before `MaxIterations` did.
  [[nodiscard]] bool GetConverged() const { return converged; }

  /// The steps that the block asks for. Takes the block's examples out of it, and changes nothing else in it.
  void DoAlgorithm(Control* control) override;

  /// A new PcaControl, which the caller deletes; null if there is no memory.
  Control* CreateController() override;

  /// Writes the numbers of the model: neither examples nor activities nor tags. True if everything went into `stream`,
  /// which is to be in binary mode. False, and nothing is written, if `stream` is null or not good, and if there is no
  /// complete model: none was learned or loaded, or its Gram matrix should be stored and lacks an active example.
  ///
  /// The number of examples is that of the examples at hand. Directly after `Load` this is 0: supply them first.
  bool Save(std::basic_ostream<char>* stream) override;

  /// Reads what `Save` has written, and nothing after it. Supply the examples with `DoExamples` before a projection,
  /// in the order that they had when the model was saved.
  ///
  /// False, and nothing is changed, if `stream` is null or not good, or if the header breaks the limits, wants more
  /// than `mostPasses` passes, or has a threshold that is negative or no number. False if the stream ends early: within
  /// the header, the fields that were complete have changed, and the former model is still in place unless one of them
  /// belongs to it; after the header, there is no model. No more memory is taken than a small multiple of what the
  /// stream really holds. Throws BaseException with id 5 when memory runs out; there is no model then.
  bool Load(std::basic_istream<char>* stream) override;

 private:
  template <class Entry>
  using List = detail::ReportingCopies<std::vector<Entry>>;
  struct Sums;
  class Projection;

  void allocate();
  void deallocate();
  void ForgetModel();
  void setExamples(PcaControl* control);
  void TakeExamples(PcaControl& control);

  void LearnAnew(PcaControl const& control);
  bool prepare();
  void MakeGram();
  [[nodiscard]] std::vector<std::vector<double>> StartVectors() const;
  void learn(std::vector<std::vector<double>> const& start);
  template <class Iteration>
  void Run(Iteration& iteration);
  void ReportPass() const;
  void ScaleVector(std::size_t index);

  void Insert();
  bool prepareInsert();
  void MakeNewGram(std::size_t index);
  void ForgetGram(std::size_t index);
  void ForgetFormerSums();
  void InsertIntoSums(std::size_t index);
  static void CheckNumber(double number);
  void CheckSums() const;
  void ForgetEntries(std::size_t index);
  void Remove();
  bool prepareRemove();
  void RemoveFromSums(std::size_t index);
  void CheckChange(bool removing) const;
  [[nodiscard]] Sums CopySums() const;
  void RestoreSums(Sums& former);

  void project(Node* node);
  void CheckExamplePlaces() const;
  [[nodiscard]] std::size_t ExamplePlaces() const;
  void ReplaceResult(DocumentNode& document, std::vector<float> const& coordinates) const;

  void SaveGramRow(std::basic_ostream<char>& stream, std::size_t index) const;
  bool LoadHeader(char const* bytes, std::size_t size);
  bool LoadBody(std::basic_istream<char>& stream);

  static std::size_t EntryCount(unsigned int components, unsigned int capacity);
  void CheckCapacity(std::size_t capacity) const;
  [[nodiscard]] bool HasModel() const;
  [[nodiscard]] bool IsComplete() const;
  [[nodiscard]] bool HasGramRow(std::size_t index) const;
  [[nodiscard]] bool IsNew(std::size_t index) const { return examples[index] && activity[index] == 0; }
  [[nodiscard]] std::size_t VectorCount() const { return std::size_t{dimension} + 1; }

  bool batch = true;
  bool enableRelearn = false;
  std::int8_t targetActivity = 1;
  unsigned int dimension = 3;
  unsigned int maxIterations = 1000;
  unsigned int maxExamples = 1000;
  unsigned int exampleCount = 0;  // the divisor of all centring; 0 if there is no model
  double gramTotal = 0.0;
  double epsilon = 1e-6;
  List<std::int8_t> activity;              // one per example
  List<double> gramRowSums;                // maxExamples entries once allocated
  List<double> eigenValues;                // dimension + 1 entries once allocated
  List<std::vector<double>> gram;          // a lower triangle; empty rows where nothing was computed
  List<std::vector<double>> eigenVectors;  // dimension + 1 rows of maxExamples entries, or empty ones
  List<Representation*> examples;          // not owned
  RepTag representationTag = Representation::GetDefaultTag();
  RepTag resultTag = Representation::GetDefaultTag();
  bool enableAcceleration = false;  // from the block of the run
  unsigned int passes = 0;
  bool converged = false;
  CallBack* callBack = nullptr;  // not owned
};

}  // namespace ZaM

#endif
