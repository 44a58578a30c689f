// From which confidence on an assigned class can be trusted.
#ifndef CLASSIFY_CORPUS_SURE_THRESHOLDS_H
#define CLASSIFY_CORPUS_SURE_THRESHOLDS_H

#include <cstddef>
#include <optional>
#include <vector>

#include "findings.h"

namespace classify {

/// Documents that were accepted, and how many of them were given their own class.
struct Outcome {
  std::size_t accepted = 0;
  std::size_t right = 0;

  double Share() const { return accepted > 0 ? static_cast<double>(right) / static_cast<double>(accepted) : 0; }

  /// Where the share of right ones lies among more documents of the kind, with a probability of 95 % (the score
  /// interval of Wilson): from 0 to 1 for no document.
  double Low() const { return Bound(-1); }
  double High() const { return Bound(1); }

 private:
  double Bound(double side) const;
};

/// A confidence, in hundredths, with the documents that have at least so much.
struct SureThreshold {
  unsigned int hundredths;
  Outcome outcome;
};

/// The documents that were given one class, or any. When a document has to be decided on, its true class isn't known:
/// so these are what a threshold for an assigned class rests on, not the documents that belong to it.
class AssignedDocuments {
 public:
  /// Shares of fewer accepted documents say too little to rely on.
  static constexpr std::size_t fewestDocuments = 30;

  void Add(float confidence, bool isRight);

  /// All of them.
  Outcome All() const { return From(0); }

  /// The lowest threshold at which at least this share of the accepted documents is right. Nothing if there is none
  /// with `fewestDocuments`.
  std::optional<SureThreshold> ThresholdFor(double share) const;

 private:
  Outcome From(unsigned int hundredths) const;

  std::vector<Outcome> byHundredths = std::vector<Outcome>(101);  // the last one for all from 1 on
};

/// By assigned class; those of all classes together stand at 0.
std::vector<AssignedDocuments> AssignedIn(Findings const& findings);

}  // namespace classify

#endif
