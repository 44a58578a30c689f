// A callback that cancels, and an algorithm of one's own.
#ifndef GUIDE_SCALE_H
#define GUIDE_SCALE_H

#include <zam/zam.h>

#include <utility>
#include <vector>

#include "examples/guide/linear_classes.h"

namespace guide {

// Cancels a run after a number of documents.
class Limit : public ZaM::CallBack {
 public:
  explicit Limit(unsigned int documents) { SetMaximum(documents); }

  void Increment(unsigned int step, bool* stop) override {
    if (GetCurrent() == GetMaximum()) {
      *stop = true;
      return;
    }
    CallBack::Increment(step, stop);
  }
};

// The parameters of the algorithm below.
struct ScaleControl : ZaM::Control {
  ZaM::DocumentNode* root = nullptr;
  double factor = 1.0;
  ZaM::CallBack* progress = nullptr;
};

// An algorithm of one's own: replaces each document's vector by a scaled one.
class Scale : public ZaM::Algorithm {
 public:
  void DoAlgorithm(ZaM::Control* control) override {
    auto const* const block = dynamic_cast<ScaleControl*>(control);
    if (!block || !block->root) return;
    for (ZaM::Node* child : ZaM::Children(*block->root)) {
      bool stop = false;
      if (block->progress) block->progress->Increment(1, &stop);
      if (stop) throw ZaM::UserCanceledException(ZaM::ErrorId::DocumentAnalysisCanceled);
      ScaleDocument(dynamic_cast<ZaM::DocumentNode*>(child), block->factor);
    }
  }

  ZaM::Control* CreateController() override { return new ScaleControl; }

 private:
  static void ScaleDocument(ZaM::DocumentNode* document, double factor) {
    auto* const vector = document ? dynamic_cast<NumberVector*>(document->GetRepresentation(vectorTag)) : nullptr;
    if (!vector) return;
    std::vector<double> scaled = vector->numbers;
    for (double& number : scaled) number *= factor;
    document->AddRepresentation(NumberVector::Create(vectorTag, std::move(scaled)));
    ZaM::Ref const former(document->RemoveRepresentation(vectorTag));  // the earlier of the two
  }
};

}  // namespace guide

#endif
