// Classifies documents one by one.
#ifndef CLASSIFY_CORPUS_DOCUMENT_CLASSIFIER_H
#define CLASSIFY_CORPUS_DOCUMENT_CLASSIFIER_H

#include <zam/zam.h>

#include "learned_classes.h"
#include "term_extractor.h"

namespace classify {

/// The library's classifier over a tree of learned classes.
///
/// Here is the library's part in classifying: a tree of classes, a node for a document with its word vector, and a
/// classifier that leaves a result on it.
///
/// Threads: one thread at a time; any number of these objects may use the same classes at once.
class DocumentClassifier {
 public:
  /// `classes` outlive the object. Results hold up to `maxResults` classes; all of them if that is 0.
  DocumentClassifier(LearnedClasses const& classes, unsigned int maxResults);

  /// The result as a file keeps it, see `AsStored`: without a class for a document that has no known term.
  ZaM::Ref<ZaM::SparseResult> Classify(Terms const& terms);

 private:
  Vocabulary const& vocabulary;
  ZaM::BayesControl control;
  ZaM::BayesClassifier classifier;
};

}  // namespace classify

#endif
