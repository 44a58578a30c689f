// The confusion matrix of a classification run.
#ifndef ZAM_RESULTS_ERROR_MATRIX_H
#define ZAM_RESULTS_ERROR_MATRIX_H

#include <cstdint>
#include <map>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/export.h"
#include "zam/model/node.h"
#include "zam/model/representation.h"

namespace ZaM {

/// For every pair of a true and an assigned class, how many documents fell there, with running totals.
///
/// Class ids go from 0 to the number of classes minus 1. As an assigned class 0 means that the document was rejected,
/// as a true class that its class is unknown; documents of unknown class show in the cells and in no total. A rejection
/// is no error of any class: it is neither exported nor imported. Filled through `Increase` alone,
/// correct + incorrect + rejected = documents.
///
/// Memory:   four numbers per class, and an entry for each cell off the diagonal that isn't 0.
/// Owning:   made by `Create` with a count of 1, ended by `Release`.
/// Threads:  one thread at a time.
/// Errors:   BaseException with id 5 when memory runs out, with nothing changed. OutOfBoundsException(8, id, number of
///           classes) from the operations on a single class's total, if the id isn't below the number of classes.
///
/// Totals are 32 bits wide and wrap. A copy takes the numbers and the tag; see Node for what it leaves.
class ZAM_EXPORT ErrorMatrix : public Node, public Representation {
 public:
  /// The greatest number of classes: 2²⁶, which take 1 GiB.
  static constexpr unsigned int maxClasses = 1U << 26;

  /// The tag "Emtx".
  static RepTag const DefaultTag;
  static RepTag const& GetDefaultTag() { return DefaultTag; }

  /// An empty matrix for the class ids below `classes`, class 0 included. Throws LimitExceededException above
  /// `maxClasses`.
  static ErrorMatrix* Create(unsigned int classes);

  ErrorMatrix(ErrorMatrix const&) = default;
  /// Changes nothing when memory runs out.
  ErrorMatrix& operator=(ErrorMatrix const& other) { return *this = ErrorMatrix(other); }
  ErrorMatrix& operator=(ErrorMatrix&&) = default;

  /// Counts one document. Nothing is counted if one of the ids isn't below the number of classes.
  void Increase(unsigned int trueClass, unsigned int assignedClass);

  /// The documents in one cell; 0 for ids that aren't below the number of classes.
  unsigned int GetResult(unsigned int trueClass, unsigned int assignedClass) const;

  /// Documents of a known class that got it.
  unsigned int GetCorrect() const { return correct; }
  /// Documents of a known class that got another one.
  unsigned int GetIncorrect() const { return incorrect; }
  /// Documents of a known class that got class 0.
  unsigned int GetRejected() const { return rejected; }
  /// Documents of a known class.
  unsigned int GetDocCount() const { return docCount; }

  /// Documents of this class.
  unsigned int GetClassCount(unsigned int id) const;
  /// Documents of other classes that were given this one.
  unsigned int GetClassImported(unsigned int id) const;
  /// Documents of this class that were given another one, rejections not included.
  unsigned int GetClassExported(unsigned int id) const;

  /// Each adds 1 to one total alone: for callers who keep the books themselves.
  void IncreaseCorrect() { ++correct; }
  void IncreaseIncorrect() { ++incorrect; }
  void IncreaseRejected() { ++rejected; }
  void IncreaseDocCount() { ++docCount; }
  void IncreaseClassCount(unsigned int id);
  void IncreaseClassImported(unsigned int id);
  void IncreaseClassExported(unsigned int id);

 protected:
  explicit ErrorMatrix(unsigned int classes);
  ~ErrorMatrix() override;

 private:
  using Totals = detail::ReportingCopies<std::vector<unsigned int>>;

  bool Holds(unsigned int trueClass, unsigned int assignedClass) const;
  std::uint64_t Key(unsigned int trueClass, unsigned int assignedClass) const;
  void CountCell(unsigned int trueClass, unsigned int assignedClass);

  unsigned int correct = 0;
  unsigned int incorrect = 0;
  unsigned int rejected = 0;
  unsigned int docCount = 0;
  Totals classCount;     // per true class
  Totals classImported;  // per assigned class
  Totals classExported;  // per true class
  Totals diagonal;
  // The other cells by their key. With 32 bits, as the ids have, cells would share keys above 65,536 classes.
  detail::ReportingCopies<std::map<std::uint64_t, unsigned int>> offDiagonal;
};

}  // namespace ZaM

#endif
