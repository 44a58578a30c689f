#include "confidence_curves.h"

#include "evaluation.h"
#include "interrupt.h"
#include "tags.h"

namespace classify {

using ZaM::DocumentNode;
using ZaM::ErrorPlot;
using ZaM::Ref;

namespace {

// A node for each class, the root being that of class 0: they carry the plots, which have to be there before the
// documents come by.
Ref<DocumentNode> CreatePlotTree(std::size_t classes) {
  Ref<DocumentNode> root(DocumentNode::Create());
  for (unsigned int id = 1; id <= classes; ++id) root->AddChild(DocumentNode::Create(id, root.Get()));
  return root;
}

std::vector<double> Scaled(std::vector<float> const& curve, double factor) {
  std::vector<double> scaled;
  scaled.reserve(curve.size());
  for (float const share : curve) scaled.push_back(static_cast<double>(share) * factor);
  return scaled;
}

}  // namespace

ConfidenceCurve::ConfidenceCurve(ErrorPlot const& plot, std::size_t documents) {
  double const counted = documents == 0 ? 0.0 : plot.GetCount() / static_cast<double>(documents);
  right = Scaled(plot.GetGoodHistogram(), counted);
  wrong = Scaled(plot.GetBadHistogram(), counted);
}

std::vector<ConfidenceCurve> CurvesOf(Findings const& findings) {
  Ref<DocumentNode> const plots = CreatePlotTree(findings.ClassCount());
  ZaM::ErrorPlotVisitor visitor;
  visitor.SetResultTag(ResultTag());
  plots->Visit(&visitor);
  findings.Tree().Visit(&visitor);

  std::vector<std::size_t> documents(findings.ClassNames().size());
  for (TestedDocument const& document : findings.Tested()) ++documents[document.classId];
  Ref<ErrorPlot> const overall(ErrorPlot::Create(0));
  std::vector<ConfidenceCurve> curves(1, ConfidenceCurve(*overall, 0));
  for (auto child = plots->GetVectorIterator(); !child.Done(); child.Next()) {
    auto& node = dynamic_cast<DocumentNode&>(*child.Current());
    auto const& plot = *node.Get<ErrorPlot>(ErrorPlot::GetDefaultTag());
    overall->add(plot);
    curves.emplace_back(plot, documents[node.GetClassId()]);
  }
  curves[0] = ConfidenceCurve(*overall, findings.Tested().size());
  return curves;
}

std::vector<RejectionPoint> RejectionCurve(Findings const& findings, ThresholdKind kind) {
  std::vector<RejectionPoint> curve;
  for (int hundredths = 0; hundredths <= 100; ++hundredths) {
    StopIfInterrupted(CancelId::Classifying);
    double const threshold = hundredths / 100.0;
    auto const matrix =
        kind == ThresholdKind::Best ? Evaluate(findings, threshold, 0) : Evaluate(findings, 0, threshold);
    double const documents = matrix->GetDocCount();
    double const accepted = documents - matrix->GetRejected();
    curve.push_back({threshold, documents > 0 ? matrix->GetRejected() / documents : 0,
                     accepted > 0 ? matrix->GetIncorrect() / accepted : 0});
  }
  return curve;
}

}  // namespace classify
