// Scores documents against classes.
#ifndef ZAM_ALGORITHMS_BAYES_CLASSIFIER_H
#define ZAM_ALGORITHMS_BAYES_CLASSIFIER_H

#include <memory>

#include "zam/algorithms/bayes_control.h"
#include "zam/foundation/export.h"
#include "zam/model/algorithm.h"
#include "zam/model/representation.h"

namespace ZaM {

class CallBack;
class DocumentNode;
class Node;

/// Asks every class of a tree for its score of every document of another tree, and leaves a `Result` on each document.
///
///     BayesClassifier classifier;
///     std::unique_ptr<Control> block(classifier.CreateController());
///     auto& control = dynamic_cast<BayesControl&>(*block);
///     control.SetDoLearn(true);
///     control.SetRootClass(classes);
///     control.SetDoClassify(true);
///     control.SetRootDocument(documents);
///     control.SetResultTag("Rslt"_tag);  // the default would be the tag of the documents themselves
///     classifier.DoAlgorithm(&control);
///
/// A class is a node that is both a DocumentNode and a Representation, has the class tag and is valid; the class id 0
/// means that it stands for no class, and gets no score. Learning collects these nodes in pre-order, whatever is valid
/// and wherever it is in the tree. What a class has learned is the business of its representation.
///
/// A document is a DocumentNode with a valid representation under the document tag; one without is a mere container.
/// Its score for a class is `dot` of the class's representation with the document's, kept as a float. The last of
/// several classes of one id gives the value. Normalising maps the range of the class with the greatest score (the
/// earliest of several) linearly to 0..1, for the scores of all classes, and clamps nothing. The result is put at the
/// end of the document's chain; it names no winner and no final class.
///
/// Memory:   the results are all that stays of a run. With `MaxResults` other than 0 the cost of a document depends on
///           the number of classes alone; with 0 on the greatest class id that this object has ever seen.
/// Owning:   the list of classes points into the class tree: keep it alive until the last run that uses it. Neither
///           the trees nor the callback belong to the classifier.
/// Threads:  one thread at a time, together with its tree of documents; the callback is called on it. A tree of
///           classes is only read: classifiers on any number of threads may share one, as long as nobody changes it
///           and its classes let `dot`, `IsValid`, `GetMinimum` and `GetMaximum` be called at the same time.
/// Nesting:  the callback and `dot` may run the same classifier again. The run under way keeps the switches, tags and
///           `MaxResults` that it was started with, and each document is scored by the classes that the classifier has
///           when the callback returns. So classes that a callback has learned serve from the document in hand on, and
///           those that a `dot` has learned from the next one on; a tree of classes has to live until then.
/// Errors:   UserCanceledException(20) when the callback wants to stop; BaseException with id 5 when memory runs out;
///           OutOfBoundsException(8, id, `FullResult::maxSlots`) when `MaxResults` is 0 and the greatest class id
///           doesn't fit a full result; what `dot` and the callback throw passes through unchanged. Each document then
///           has either its old or its new result, and the classifier stays usable; if learning failed, with an empty
///           list of classes.
class ZAM_EXPORT BayesClassifier : public Algorithm {
 public:
  BayesClassifier() = default;
  BayesClassifier(BayesClassifier const&) = default;
  BayesClassifier& operator=(BayesClassifier const&) = default;
  ~BayesClassifier() override;

  /// Calls `Increment` with a step of 1 for each document, before it is scored. Stays for all later runs; null switches
  /// it off.
  void SetCallBack(CallBack* reporter) { callBack = reporter; }

  /// A run as the block says. Without an effect if it is no BayesControl, if the root is no DocumentNode, and if there
  /// are no classes.
  void DoAlgorithm(Control* control) override;

  /// A new BayesControl, which the caller deletes; null if there is no memory.
  Control* CreateController() override;

  /// True, and nothing is written: the list of classes is learned anew in every process.
  bool Save(std::basic_ostream<char>* stream) override;
  /// True, and nothing is read.
  bool Load(std::basic_istream<char>* stream) override;

 private:
  struct ClassList;
  class Run;

  void Learn(BayesControl const& control);
  void Classify(BayesControl const& control);
  ClassList getClassNodes(Node* node);
  static void prepareClassNodes(ClassList& list);
  void classifyNode(Node* node);
  void ReportProgress() const;

  RepTag tag{.id = 0};  // what the current step looks for: the class tag, then the document tag
  RepTag resultTag{.id = 0};
  bool doBatch = true;
  bool doNormalize = false;
  unsigned int maxResults = 3;
  unsigned int maxClassId = 1;               // the greatest ever seen: outlives the list of classes
  std::shared_ptr<ClassList const> classes;  // shared with copies and with runs under way; null before learning
  CallBack* callBack = nullptr;              // not owned
};

}  // namespace ZaM

#endif
