// Counts a classified tree of documents into a plot per class.
#ifndef ZAM_RESULTS_ERROR_PLOT_VISITOR_H
#define ZAM_RESULTS_ERROR_PLOT_VISITOR_H

#include <map>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/export.h"
#include "zam/model/representation.h"
#include "zam/model/visitor.h"
#include "zam/results/error_plot.h"

namespace ZaM {

class DocumentNode;

/// Attaches an ErrorPlot to the first node of each class, and counts the documents of the class into it.
///
///     ErrorPlotVisitor visitor;
///     visitor.SetResultTag(control.GetResultTag());
///     root->Visit(&visitor);
///
/// What happens at a node depends on what it holds under the result tag:
/// - No `Result`: if its class id has no plot yet, the node gets one as a feature, under the tag "Eplt". Class id 0 is
///   a class like any other here.
/// - A valid result: its best class is counted as good if it is the document's own, else as bad, in the bin of its
///   confidence. No threshold applies, and no other class of the result matters. Without a plot of the document's
///   class nothing is counted.
/// - A result that isn't valid, or that names no class: nothing.
///
/// So a class needs a node without a result in front of its documents: a tree whose folders are the classes and bear
/// their class ids, or a tree of classes that is visited before the documents are. One visitor may go through several
/// trees. A new visitor knows no plots, and attaches further ones.
///
/// The bin of a confidence is 100 times its value, truncated toward zero to a 64-bit integer of which the low 32 bits
/// count as an unsigned number, but at most 100: 0.29F, which is a little less, lies in bin 28; -0.005F lies in bin 0,
/// and -0.02F in bin 100. What isn't a number, is infinite or has no place in 64 bits lies in bin 100.
///
/// Owning:   plots belong to the nodes that they hang on. The visitor, and a copy of it, keeps plain pointers: once a
///           plot has ended, it must not visit anything any more.
/// Threads:  one thread at a time, together with the tree.
/// Errors:   BaseException with id 5 when memory runs out, with nothing attached for the node in hand. What results
///           throw passes through.
class ZAM_EXPORT ErrorPlotVisitor : public Visitor {
 public:
  /// Looks for results under the tag of `SparseResult`, and knows no plots.
  ErrorPlotVisitor();
  ErrorPlotVisitor(ErrorPlotVisitor const&) = default;
  ErrorPlotVisitor(ErrorPlotVisitor&&) = default;
  /// Changes nothing when memory runs out.
  ErrorPlotVisitor& operator=(ErrorPlotVisitor const& other) { return *this = ErrorPlotVisitor(other); }
  ErrorPlotVisitor& operator=(ErrorPlotVisitor&&) = default;
  ~ErrorPlotVisitor() override;

  /// Takes `node` in if it is a DocumentNode.
  void DoVisit(Node* node) override;
  /// Takes `document` in; null is passed over.
  void DoVisit(DocumentNode* document);

  /// Under which tag a document holds its result.
  void SetResultTag(RepTag const& tag) { resultTag = tag; }
  /// Under which tag a document holds its result.
  RepTag const& GetResultTag() const { return resultTag; }

 private:
  void AttachPlot(DocumentNode& carrier);

  RepTag resultTag;
  detail::ReportingCopies<std::map<unsigned int, ErrorPlot*>> plots;  // by class id; none of the references is ours
};

}  // namespace ZaM

#endif
