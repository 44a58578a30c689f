#include "document_classifier.h"

#include "stored_result.h"
#include "tags.h"
#include "word_vector.h"

namespace classify {

using ZaM::DocumentNode;
using ZaM::Ref;

DocumentClassifier::DocumentClassifier(LearnedClasses const& classes, unsigned int maxResults)
    : vocabulary(classes.vocabulary) {
  control.SetDoLearn(true);
  control.SetRootClass(classes.tree.Get());
  control.SetClassTag(ClassTag());
  classifier.DoAlgorithm(&control);

  control.SetDoLearn(false);
  control.SetDoClassify(true);
  control.SetDocumentTag(DocumentTag());
  control.SetResultTag(ResultTag());
  control.SetDoNormalize(true);
  control.SetMaxResults(maxResults);
}

Ref<ZaM::SparseResult> DocumentClassifier::Classify(Terms const& terms) {
  Ref<DocumentNode> const document(DocumentNode::Create());
  document->AddRepresentation(WordVector::Create(vocabulary.Weigh(terms)));
  control.SetRootDocument(document.Get());
  classifier.DoAlgorithm(&control);
  return AsStored(document->Get<ZaM::Result>(ResultTag()));
}

}  // namespace classify
