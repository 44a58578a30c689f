// The parameters of a classification run.
#ifndef ZAM_ALGORITHMS_BAYES_CONTROL_H
#define ZAM_ALGORITHMS_BAYES_CONTROL_H

#include <string>

#include "zam/foundation/export.h"
#include "zam/model/algorithm.h"
#include "zam/model/representation.h"

namespace ZaM {

class Node;

/// What `BayesClassifier` does in one run, on which trees and under which tags. The classifier never changes it.
///
/// By default a run does nothing. `DoLearn` and `DoClassify` are independent: with both a run learns, then classifies;
/// with `DoClassify` alone it uses the classes of an earlier run.
///
/// Tags: the three defaults are equal, "Dflt". Set `ResultTag` to another tag than `DocumentTag`: under the same tag a
/// run takes the documents' own representations off, to put its results in their place, and doesn't release them.
///
/// Owning:  the roots are plain pointers; the caller keeps both trees alive during the run. Copies share them.
/// Threads: one thread at a time, a run included; separate blocks are independent.
/// Errors:  nothing is thrown; a name that can't be a tag gives "Dflt".
class ZAM_EXPORT BayesControl : public Control {
 public:
  BayesControl() = default;
  BayesControl(BayesControl const&) = default;
  BayesControl& operator=(BayesControl const&) = default;
  ~BayesControl() override;

  /// Whether the run begins by listing the classes below `RootClass` anew. False by default.
  bool GetDoLearn() const { return doLearn; }
  void SetDoLearn(bool value) { doLearn = value; }

  /// Whether the run classifies `RootDocument`. False by default.
  bool GetDoClassify() const { return doClassify; }
  void SetDoClassify(bool value) { doClassify = value; }

  /// Whether all documents below `RootDocument` are classified, or it alone. True by default.
  bool GetDoBatch() const { return doBatch; }
  void SetDoBatch(bool value) { doBatch = value; }

  /// Whether the range of the best class's representation is mapped to 0..1, for the values of all classes. False by
  /// default.
  bool GetDoNormalize() const { return doNormalize; }
  void SetDoNormalize(bool value) { doNormalize = value; }

  /// The tag that a class node's own representation must have to count as a class.
  RepTag const& GetClassTag() const { return classTag; }
  void SetClassTag(RepTag const& tag) { classTag = tag; }
  /// A name that hasn't exactly 4 bytes gives "Dflt"; see `SetRepTag`.
  void SetClassTag(std::string const& name) { classTag = SetRepTag(name); }

  /// The tag of the representation of a document that is compared with the classes.
  RepTag const& GetDocumentTag() const { return documentTag; }
  void SetDocumentTag(RepTag const& tag) { documentTag = tag; }
  /// A name that hasn't exactly 4 bytes gives "Dflt"; see `SetRepTag`.
  void SetDocumentTag(std::string const& name) { documentTag = SetRepTag(name); }

  /// The tag under which results go onto the documents. An earlier `Result` under it is replaced and released; an
  /// object of another kind under it is taken off the document and not released.
  RepTag const& GetResultTag() const { return resultTag; }
  void SetResultTag(RepTag const& tag) { resultTag = tag; }

  /// The root of the class tree. Like the other root it is null by default, and has an effect only as a DocumentNode.
  Node* GetRootClass() const { return rootClass; }
  void SetRootClass(Node* root) { rootClass = root; }

  /// The root of the tree of documents.
  Node* GetRootDocument() const { return rootDocument; }
  void SetRootDocument(Node* root) { rootDocument = root; }

  /// 0 stores a `FullResult` with a value for every class id; any other number a `SparseResult` with the best classes,
  /// at most this many. 3 by default.
  unsigned int GetMaxResults() const { return maxResults; }
  void SetMaxResults(unsigned int count) { maxResults = count; }

 private:
  bool doLearn = false;
  bool doClassify = false;
  bool doBatch = true;
  bool doNormalize = false;
  RepTag classTag = Representation::GetDefaultTag();
  RepTag documentTag = Representation::GetDefaultTag();
  RepTag resultTag = Representation::GetDefaultTag();
  Node* rootClass = nullptr;
  Node* rootDocument = nullptr;
  unsigned int maxResults = 3;
};

}  // namespace ZaM

#endif
