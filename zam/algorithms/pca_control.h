// The parameters of a run of the principal component analysis.
#ifndef ZAM_ALGORITHMS_PCA_CONTROL_H
#define ZAM_ALGORITHMS_PCA_CONTROL_H

#include <cstdint>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/export.h"
#include "zam/model/algorithm.h"
#include "zam/model/representation.h"

namespace ZaM {

class Node;

/// Which of six steps one run of `PcaAnalyzer` performs, and with which settings.
///
/// The steps run in the order examples, learn, insert, remove, project, whatever the order in which they were asked
/// for. By default a run does nothing. `Dimension`, `MaxIterations`, `MaxExamples`, `Epsilon` and `EnableRelearn` reach
/// the analyzer with `DoLearn` only: insertion and removal work with those of the last learning, or of the loaded
/// model. `EnableAcceleration` counts for each run, and isn't stored.
///
/// Tags: the two defaults are equal, "Dflt". Set `ResultTag` to another tag than `RepresentationTag`: under the same
/// tag a projection takes the documents' own representations off and releases them.
///
/// Owning:  examples and source node are plain pointers, which copies share. The examples have to live as long as an
///          analyzer that has taken them may use them; the source node, during the run.
/// Threads: one thread at a time, a run included; separate blocks are independent.
/// Errors:  BaseException with id 5 when memory runs out for a vector, or for those of a copy; nothing is changed then.
class ZAM_EXPORT PcaControl : public Control {
 public:
  PcaControl() = default;
  PcaControl(PcaControl const&) = default;
  PcaControl(PcaControl&&) = default;
  /// Changes nothing when memory runs out.
  PcaControl& operator=(PcaControl const& other) { return *this = PcaControl(other); }
  PcaControl& operator=(PcaControl&&) = default;
  ~PcaControl() override;

  /// Whether the analyzer takes over the example and the activity vector. Both are empty afterwards if it did, which it
  /// does if there are examples and as many activities. False by default.
  bool GetDoExamples() const { return doExamples; }
  void SetDoExamples(bool value) { doExamples = value; }

  /// Whether a new model is learned from the analyzer's examples. False by default.
  bool GetDoLearn() const { return doLearn; }
  void SetDoLearn(bool value) { doLearn = value; }

  /// Whether a saved model keeps the Gram matrix, so that examples can be inserted and removed after it was loaded. It
  /// takes 4·N·(N + 1) bytes for N examples. False by default.
  bool GetEnableRelearn() const { return enableRelearn; }
  void SetEnableRelearn(bool value) { enableRelearn = value; }

  /// Whether the documents of `SourceNode` are projected. False by default.
  bool GetDoProject() const { return doProject; }
  void SetDoProject(bool value) { doProject = value; }

  /// Whether the examples at activity 0 are taken into the model. False by default.
  bool GetDoInsert() const { return doInsert; }
  void SetDoInsert(bool value) { doInsert = value; }

  /// Whether the examples at activity -1 are taken out of the model. False by default.
  bool GetDoRemove() const { return doRemove; }
  void SetDoRemove(bool value) { doRemove = value; }

  /// Whether all documents below `SourceNode` are projected, or it alone. True by default.
  bool GetDoBatch() const { return doBatch; }
  void SetDoBatch(bool value) { doBatch = value; }

  /// The activity that counts when the analyzer takes examples: their number divides all centring until the next
  /// learning, insertion or removal. A signed byte, of which the upper bits are copies of its sign: what was set as 200
  /// comes back as 0xFFFFFFC8. 1 by default.
  unsigned int GetTargetActivity() const { return static_cast<unsigned int>(int{targetActivity}); }
  void SetTargetActivity(unsigned int value) { targetActivity = static_cast<std::int8_t>(value & 0xFFU); }

  /// The number of principal components wanted. 3 by default.
  unsigned int GetDimension() const { return dimension; }
  void SetDimension(unsigned int count) { dimension = count; }

  /// The greatest number of passes of the eigen iteration; 0 stands for 1000, and more than
  /// `PcaAnalyzer::mostPasses` stand for these. 1000 by default.
  unsigned int GetMaxIterations() const { return maxIterations; }
  void SetMaxIterations(unsigned int count) { maxIterations = count; }

  /// How many examples the model has room for. An analyzer takes it over only if it is more than it has already. 1000
  /// by default.
  unsigned int GetMaxExamples() const { return maxExamples; }
  void SetMaxExamples(unsigned int count) { maxExamples = count; }

  /// The iteration stops when the images of the vectors are orthogonal up to this: the sum of their inner products over
  /// the sum of their squared lengths. It bounds this ratio, not the error of an eigenvalue. 1e-6 by default. With 0,
  /// for which a negative value and one that is no number stand, all passes are done.
  double GetEpsilon() const { return epsilon; }
  void SetEpsilon(double value) { epsilon = value; }

  /// The tag of the representation of a document that is projected.
  RepTag const& GetRepresentationTag() const { return representationTag; }
  void SetRepresentationTag(RepTag const& tag) { representationTag = tag; }

  /// The tag under which the coordinates go onto a document. Whatever it has under this tag is taken off and released.
  RepTag const& GetResultTag() { return resultTag; }
  void SetResultTag(RepTag const& tag) { resultTag = tag; }

  /// The examples. A null pointer keeps a place free: it counts as an example whose `dot` is 0 with everything.
  std::vector<Representation*> const& GetExampleVector() const { return exampleVector; }
  void SetExampleVector(std::vector<Representation*> const& examples) { exampleVector = examples; }

  /// One activity per example: above 0 it is in the model, 0 it can be inserted, -1 it is to be removed, below -1 it is
  /// out of use. Examples couple only with examples of the same activity.
  std::vector<std::int8_t> const& GetActivityVector() const { return activityVector; }
  void SetActivityVector(std::vector<std::int8_t> const& activities) { activityVector = activities; }

  /// The root of the documents to project. Null by default, and has an effect only as a DocumentNode.
  Node* GetSourceNode() { return sourceNode; }
  void SetSourceNode(Node* root) { sourceNode = root; }

  /// Whether a learning, insertion or removal of this run looks for the components by a block Lanczos iteration instead
  /// of the orthogonal one: in far fewer passes, and all of them. `Epsilon` then bounds each residual: the image of a
  /// component differs from its multiple by at most `Epsilon` times the greatest eigenvalue. False by default.
  bool GetEnableAcceleration() const { return enableAcceleration; }
  void SetEnableAcceleration(bool value) { enableAcceleration = value; }

 private:
  bool doExamples = false;
  bool doLearn = false;
  bool enableRelearn = false;
  bool doProject = false;
  bool doInsert = false;
  bool doRemove = false;
  bool doBatch = true;
  std::int8_t targetActivity = 1;
  unsigned int dimension = 3;
  unsigned int maxIterations = 1000;
  unsigned int maxExamples = 1000;
  double epsilon = 1e-6;
  RepTag representationTag = Representation::GetDefaultTag();
  RepTag resultTag = Representation::GetDefaultTag();
  detail::ReportingCopies<std::vector<Representation*>> exampleVector;  // not owned
  detail::ReportingCopies<std::vector<std::int8_t>> activityVector;
  Node* sourceNode = nullptr;  // not owned
  bool enableAcceleration = false;
};

}  // namespace ZaM

#endif
