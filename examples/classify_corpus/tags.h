// The tags under which the program's representations are found.
#ifndef CLASSIFY_CORPUS_TAGS_H
#define CLASSIFY_CORPUS_TAGS_H

#include <zam/zam.h>

namespace classify {

// Left alone, all three tags of a BayesControl are "Dflt". A run would then put its result in the place of each
// document's word vector, and the next run would classify documents by their results.
inline ZaM::RepTag ClassTag() {
  return ZaM::SetRepTag("Clss");
}
inline ZaM::RepTag DocumentTag() {
  return ZaM::SetRepTag("Word");
}
inline ZaM::RepTag PointTag() {
  return ZaM::SetRepTag("Pont");
}
inline ZaM::RepTag ResultTag() {
  return ZaM::SetRepTag("Rslt");
}

}  // namespace classify

#endif
