// The figures that a confusion matrix comes down to.
#ifndef CLASSIFY_CORPUS_CLASS_FIGURES_H
#define CLASSIFY_CORPUS_CLASS_FIGURES_H

#include <zam/zam.h>

#include <cstddef>
#include <vector>

namespace classify {

/// How well one class was told from the others. Shares are parts of a whole that may be 0, as `Percent` takes them.
struct ClassFigures {
  ClassFigures(ZaM::ErrorMatrix const& matrix, unsigned int id);

  /// The documents that were given the class, rightly or not: the whole of the precision.
  double Assigned() const { return found + wronglyIn; }
  /// The whole of the F1, of which twice `found` is the part.
  double Involved() const { return documents + Assigned(); }

  double documents;  // of the class: the whole of the recall
  double found;      // of these
  double wronglyIn;  // documents of other classes
};

/// The mean F1 over the classes that have tested documents or were assigned to one; a rejected document counts as
/// missed by its class. 0 without such a class.
double MacroF1(ZaM::ErrorMatrix const& matrix, std::size_t classes);

/// Documents of one class that were given another.
struct Confusion {
  unsigned int count;
  unsigned int trueClass;
  unsigned int assignedClass;
};

/// All that there are, the greatest first, at most `limit`.
std::vector<Confusion> WorstOf(ZaM::ErrorMatrix const& matrix, std::size_t classes, std::size_t limit);

}  // namespace classify

#endif
