// What a classification leaves on a document.
#ifndef ZAM_RESULTS_RESULT_H
#define ZAM_RESULTS_RESULT_H

#include <string>
#include <vector>

#include "zam/foundation/export.h"
#include "zam/model/node.h"
#include "zam/model/representation.h"
#include "zam/results/result_item.h"
#include "zam/results/result_type.h"

namespace ZaM {

class ZamXmlOutStream;

/// For some or all classes, a confidence and a type.
///
/// A result is a Node, so that it can stand on a document's feature chain, and a Representation, so that it is found
/// there by its tag. What `DocumentNode::GetRepresentation` gives is turned into a Result by `dynamic_cast`.
/// `SparseResult` holds the classes that matter, `FullResult` a slot for each class id. A class id is what
/// `DocumentNode::GetClassId` gives; 0 stands for no class.
///
/// A result is stored as an XML element by its own `Save`. Both bases have a `Save` and a `Load` for streams as well,
/// which store nothing: those of Node answer true, those of Representation false, and a call has to name the base that
/// it means.
///
/// Owning:   made by the `Create` of a concrete class with a count of 1, ended by `Release`.
/// Threads:  one thread at a time, also for reading: `GetBestResults` may fill a cache.
/// Errors:   BaseException with id 5 when memory runs out; the object is then unchanged. Looking up what isn't there
///           gives 0.
///
/// A copy takes the entries and the tag; see Node for what it leaves. `Clone` gives one that is counted, under the
/// default tag.
class ZAM_EXPORT Result : public Node, public Representation {
 public:
  Result(Result const&) = default;
  Result& operator=(Result const&) = default;

  /// The confidence of a class; 0.0 for a class without an entry.
  virtual float GetResult(unsigned int classId) const = 0;

  /// The best classes, as a list of the result's own. It may hold more or fewer than `count`, and is good until the
  /// next call of an operation that isn't const.
  virtual std::vector<IndexedResult> const& GetBestResults(unsigned int count) = 0;

  /// The type of a class; `ResultTypeNone` for a class without an entry.
  virtual eResultType GetResultType(unsigned int classId) const = 0;

  /// Sets a class's entry, and adds it if it is missing.
  virtual void SetResultItem(unsigned int classId, float value, eResultType type) = 0;

  /// Number of entries that are final classes.
  virtual unsigned int GetFinalClassCount() = 0;

  /// The class id of the `n`-th final class, counted from 0; 0 if there are fewer.
  virtual unsigned int GetFinalClassId(unsigned int n) = 0;

  /// A new result with the same entries, the default tag of its class, a count of 1 and nothing in its feature slot.
  virtual Result* Clone() = 0;

  /// Writes an element called `name` at the stream's present place, ready to be read by SparseResult and FullResult:
  /// the number of entries that `GetBestResults(0)` gives, and a child for each of them whose value is above 1e-07.
  /// Values keep six digits after the point; an infinite one is lost, since it reads as 0. docs/formats.md describes
  /// the element. What the stream throws passes through; neither `stream` nor what it writes to belongs to the result.
  void Save(std::string const& name, ZamXmlOutStream* stream);
  using Node::Save;
  using Representation::Save;

 protected:
  explicit Result(RepTag const& given) : Representation(given) {}
  ~Result() override;
};

}  // namespace ZaM

#endif
