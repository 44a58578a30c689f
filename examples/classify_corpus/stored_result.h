// The part of a result that a file keeps.
#ifndef CLASSIFY_CORPUS_STORED_RESULT_H
#define CLASSIFY_CORPUS_STORED_RESULT_H

#include <zam/zam.h>

namespace classify {

/// A result as it comes back from a file, under `ResultTag`: its classes, best first, with confidences of six digits
/// after the point, and without those that are no more than 0 then. Null gives one without a class.
///
/// A run goes on with this, so that its figures are those of the file to the last document, also where a threshold or
/// another class is nearer than the digits.
ZaM::Ref<ZaM::SparseResult> AsStored(ZaM::Result* result);

}  // namespace classify

#endif
