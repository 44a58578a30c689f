// A counted analyser that works between two representations of a document.
#ifndef ZAM_MODEL_ANALYZER_H
#define ZAM_MODEL_ANALYZER_H

#include <cstdint>
#include <iosfwd>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"
#include "zam/model/representation.h"

namespace ZaM {

/// A contract for applications: the library has no analyser of its own. It knows the tag of what it produces and the
/// tag of the internal representation that it works on.
///
/// Owning:   starts at a count of 0; the `Create` of a concrete class takes the first reference, `Release` ends it.
///           A copy takes over all fields, the count too.
/// Threads:  one thread at a time; the count is a plain number.
/// Errors:   the base throws nothing; `Save` and `Load` answer false where they fail.
class ZAM_EXPORT Analyzer {
 public:
  Analyzer(Analyzer const&) = default;
  Analyzer& operator=(Analyzer const&) = default;

  /// Whether other analysers may use the internal representation too. False in the base.
  virtual bool CanShareInternalRep();

  /// Takes a reference; returns the new count.
  virtual std::int32_t AddRefCount();

  /// Gives a reference back and returns the new count; at 0 and below the object ends.
  virtual std::int32_t Release();

  /// Writes what the analyser has to store; returns whether that succeeded. False in the base.
  virtual bool Save(std::basic_ostream<char>* stream);

  /// Reads what `Save` has written; returns whether that succeeded. False in the base.
  virtual bool Load(std::basic_istream<char>* stream);

  /// The tag of what the analyser produces.
  RepTag GetResultRepTag() { return resultTag; }
  void SetResultRepTag(RepTag tag) { resultTag = tag; }
  /// The tag of the representation that it works on.
  RepTag GetInternalRepTag() { return internalTag; }
  void SetInternalRepTag(RepTag tag) { internalTag = tag; }

 protected:
  Analyzer() = default;
  virtual ~Analyzer();

 private:
  wstring text;  // goes along with copies; the library gives it no meaning
  RepTag resultTag = Representation::DefaultTag;
  RepTag internalTag = Representation::DefaultTag;
  std::int32_t refCount = 0;
};

}  // namespace ZaM

#endif
