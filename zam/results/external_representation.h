// A representation whose content lies outside the library.
#ifndef ZAM_RESULTS_EXTERNAL_REPRESENTATION_H
#define ZAM_RESULTS_EXTERNAL_REPRESENTATION_H

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"
#include "zam/model/node.h"
#include "zam/model/representation.h"

namespace ZaM {

/// A contract for applications: a view of a document that can hand its content out in blocks of bytes. The library has
/// none of its own and calls nothing on it. `ExternalRepFactory` makes them from a location.
///
/// Owning:   as every Node, through the `Create` of the derived class. A copy takes the tag; see Node for what it
///           leaves.
/// Threads:  one thread at a time, as every Node.
/// Errors:   see Node and Representation; this class throws nothing of its own.
class ZAM_EXPORT ExternalRepresentation : public Node, public Representation {
 public:
  ExternalRepresentation(ExternalRepresentation const&) = default;
  ExternalRepresentation& operator=(ExternalRepresentation const&) = default;

 protected:
  explicit ExternalRepresentation(RepTag const& given);
  ~ExternalRepresentation() override;

 public:
  /// Where the content lies, such as a path or an address, in the application's own terms.
  virtual wstring GetLocation() const = 0;

  /// Whether the content can be read in blocks. False in the base.
  virtual bool CanStream();

  /// Puts the next bytes of the content, at most `size`, into `buffer`, and returns their number; 0 at the end.
  /// 0 in the base, with `buffer` untouched.
  virtual unsigned int GetBlock(char* buffer, unsigned int size);
};

}  // namespace ZaM

#endif
