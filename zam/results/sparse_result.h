// The result that holds only the classes that matter.
#ifndef ZAM_RESULTS_SPARSE_RESULT_H
#define ZAM_RESULTS_SPARSE_RESULT_H

#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/export.h"
#include "zam/results/entry_places.h"
#include "zam/results/result.h"
#include "zam/xml/xml_sax_callback.h"

namespace ZaM {

/// A list of class entries, in the order in which they were set, sorted or supplied. Its size doesn't depend on the
/// number of classes; each lookup is a walk over it.
///
/// Several entries may have one class id: `SetResultItem` keeps those apart whose types differ in the bits of
/// `resultTypeGroupMask`, and `SetResults` takes a list as it comes. Lookups find the first.
///
/// A stored result is read by handing its element over, from the callback that meets it:
///
///     result = SparseResult::Create();
///     result->InitializeProperties(parser, attributes);
///     parser->PushCallback(result);
///
/// Owning:   see Result.
/// Threads:  see Result.
/// Errors:   see Result.
class ZAM_EXPORT SparseResult : public Result, public XmlSaxCallback {
 public:
  /// The tag "Sres".
  static RepTag const DefaultTag;
  static RepTag const& GetDefaultTag() { return DefaultTag; }

  /// An empty result under the default tag.
  static SparseResult* Create();

  SparseResult(SparseResult const&) = default;
  /// Changes nothing when memory runs out.
  SparseResult& operator=(SparseResult const& other) { return *this = SparseResult(other); }
  SparseResult& operator=(SparseResult&&) = default;

  /// Replaces the list by a copy of `items`, as it stands. `items` may be the object's own list.
  void SetResults(std::vector<IndexedResult> const& items);

  /// A copy of the list.
  std::vector<IndexedResult> GetResults();
  /// The list itself, which changes with the object.
  std::vector<IndexedResult> const& GetResults() const { return results; }

  /// Sorts the list by value, greatest first; of equal values the lower class id first; values that are not numbers
  /// last.
  void SortResults();

  /// True when the list isn't empty.
  bool IsValid() const override;

  float GetResult(unsigned int classId) const override;

  /// The whole list in its present order, whatever `count` is: call `SortResults` first to have the best in front.
  std::vector<IndexedResult> const& GetBestResults(unsigned int count) override;

  eResultType GetResultType(unsigned int classId) const override;

  /// Overwrites value and type of the first entry that has this class id and the group bits of `type`; appends a new
  /// entry if there is none. The time doesn't grow with the list.
  void SetResultItem(unsigned int classId, float value, eResultType type) override;

  unsigned int GetFinalClassCount() override;
  unsigned int GetFinalClassId(unsigned int n) override;

  /// Sets each entry on a new result: entries of one class id and group become one, in the place of the first and with
  /// the value and type of the last.
  Result* Clone() override;

  /// The element of a stored result takes nothing here: its entries are added to those that there are.
  void InitializeProperties(XmlSaxParser* parser, unsigned char const** attributes);

  /// Sets what the attributes of an entry's element say, in any order, and leaves the others as they are. Both `parser`
  /// and `attributes` may be null.
  void GetClsItemProperties(XmlSaxParser* parser, unsigned char const** attributes, float& value, eResultType& type,
                            unsigned int& classId);

  /// Sets the entry that an element `ClsItem` stores, with 0 for what its attributes don't say. Any other element is
  /// passed over with all that it holds.
  void OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override;
  /// Does nothing.
  void OnEndElement(XmlSaxParser* parser, unsigned char const* name) override;

 protected:
  explicit SparseResult(RepTag const& given = GetDefaultTag()) : Result(given) {}
  ~SparseResult() override;

 private:
  IndexedResult const* Find(unsigned int classId) const;

  detail::ReportingCopies<std::vector<IndexedResult>> results;
  detail::EntryPlaces places;  // of the first entry of each class id and group
};

}  // namespace ZaM

#endif
