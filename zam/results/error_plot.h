// How a class's confidences relate to being right.
#ifndef ZAM_RESULTS_ERROR_PLOT_H
#define ZAM_RESULTS_ERROR_PLOT_H

#include <array>
#include <vector>

#include "zam/foundation/export.h"
#include "zam/model/node.h"
#include "zam/model/representation.h"

namespace ZaM {

/// For one class, two histograms over the confidence of the best result: the good one counts the documents that were
/// put into their own class, the bad one those that were put elsewhere.
///
/// There are 101 bins: bin b stands for the confidences from b / 100 up to below (b + 1) / 100, and bin 100 for 1.0 and
/// above. Read as the curves that `GetGoodHistogram` and `GetBadHistogram` give, they say for each threshold which
/// share of the documents passes it rightly and which wrongly.
///
/// Owning:   made by `Create` with a count of 1, ended by `Release`.
/// Threads:  one thread at a time.
/// Errors:   BaseException with id 5 when memory runs out, with nothing changed.
///
/// Totals are 32 bits wide and wrap. A copy takes the numbers and the tag; see Node for what it leaves.
class ZAM_EXPORT ErrorPlot : public Node, public Representation {
 public:
  /// The number of bins.
  static constexpr unsigned int binCount = 101;

  /// The tag "Eplt".
  static RepTag const DefaultTag;
  /// The tag "Eplt".
  static RepTag const& GetDefaultTag() { return DefaultTag; }

  /// An empty plot of this class.
  static ErrorPlot* Create(unsigned int classId);

  ErrorPlot(ErrorPlot const&) = default;
  ErrorPlot& operator=(ErrorPlot const&) = default;

  /// Adds what `other` has counted, bin by bin, if it is a valid ErrorPlot, and does nothing otherwise. The class id
  /// stays, so that the plots of several classes, or of several shares of a run, can be merged into one over all.
  /// Adding a plot to itself doubles it.
  void add(Representation const& other) override;

  /// Whether anything was counted.
  bool IsValid() const override;

  /// The class that the plot describes.
  unsigned int GetClassId() const { return classId; }

  /// All documents counted, good and bad together.
  unsigned int GetCount() const { return count; }

  /// Counts one document in a bin; one that isn't below `binCount` isn't counted at all.
  void IncrGood(unsigned int bin);
  /// As `IncrGood`, for a document that was put into another class.
  void IncrBad(unsigned int bin);

  /// The curve of the documents that are right: entry i is the share of all documents counted, good and bad, that are
  /// good and lie in bin i or above, so that entry 0 of both curves add up to 1, but for rounding. 101 zeros for a plot
  /// that isn't valid. Shares are summed up in float, from bin 100 down.
  std::vector<float> GetGoodHistogram() const;
  /// As `GetGoodHistogram`, for the documents that are wrong.
  std::vector<float> GetBadHistogram() const;

 protected:
  explicit ErrorPlot(unsigned int describedClass);
  ~ErrorPlot() override;

 private:
  using Bins = std::array<unsigned int, binCount>;

  void Increase(Bins& bins, unsigned int bin);
  std::vector<float> Curve(Bins const& bins) const;

  unsigned int classId;
  unsigned int count = 0;  // of all bins, good and bad
  Bins good{};
  Bins bad{};
};

}  // namespace ZaM

#endif
