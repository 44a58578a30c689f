// The result that holds a slot for each class id.
#ifndef ZAM_RESULTS_FULL_RESULT_H
#define ZAM_RESULTS_FULL_RESULT_H

#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/export.h"
#include "zam/results/result.h"
#include "zam/xml/xml_sax_callback.h"

namespace ZaM {

/// A slot for each class id from 0 to the greatest in use, so that a class is found by its position. Slot 0 belongs to
/// no class: it is never a final class, though it may be among the best.
///
/// A class id or a count can ask for billions of slots, so there is a bound, `maxSlots`. Stored results are read as by
/// SparseResult, and there the bound is tighter: all full results that one document is read into share the parser's
/// allowance (`XmlSaxParser::GetAllowance`), which grows with the document and gives 2 million slots, and 16 more for
/// each byte that was read. A document that is in honest proportion never comes near that.
///
/// Owning:   see Result.
/// Threads:  see Result.
/// Errors:   BaseException with id 5 when memory runs out; LimitExceededException for more than `maxSlots` slots, and
///           OutOfBoundsException(8, class id, bound) for the class id of an entry beyond that, or beyond what a stored
///           result may ask for. The object is then unchanged.
class ZAM_EXPORT FullResult : public Result, public XmlSaxCallback {
 public:
  /// The greatest number of slots: 2²⁷, which are 1 GiB. The greatest class id is one less.
  static constexpr unsigned int maxSlots = 1U << 27;

  /// The greatest `ClsCount` that a document gets slots for, which take 8 MiB, if the allowance suffices: it is a mere
  /// promise, and the entries make room for themselves.
  static constexpr unsigned int mostReserved = 1U << 20;

  /// The tag "Fres".
  static RepTag const DefaultTag;
  static RepTag const& GetDefaultTag() { return DefaultTag; }

  /// A result without slots under the default tag.
  static FullResult* Create();

  FullResult(FullResult const&) = default;
  /// Changes nothing when memory runs out.
  FullResult& operator=(FullResult const& other) { return *this = FullResult(other); }
  FullResult& operator=(FullResult&&) = default;

  /// Replaces the slots by `classCount` + 1 copies of `*item`, which may be one of the slots, or of a default item if
  /// `item` is null.
  void Initialize(unsigned int classCount, FullResultItem* item);

  /// Replaces the slots by one per value, of the type `ResultTypeScored`. Nothing is added for slot 0: the first value
  /// is that of slot 0.
  void SetResults(std::vector<float> const& values);

  /// Replaces the slots by a copy of `items`, which may be the object's own.
  void SetResults(std::vector<FullResultItem> const& items);

  /// A copy of the slots.
  std::vector<FullResultItem> GetResults();
  /// The slots themselves, which change with the object.
  std::vector<FullResultItem> const& GetResults() const { return results; }

  /// True when there are slots.
  bool IsValid() const override;

  float GetResult(unsigned int classId) const override;

  /// The classes with a value above 0, and those of exactly the type `ResultTypeFinal` whatever their value: at most
  /// `count` of them, or all for a `count` of 0. The order is by value, greatest first, then by class id, lowest first;
  /// values that are not numbers come last. If no class qualifies, the one entry (0, 0.0, `ResultTypeScored`).
  ///
  /// The list is kept and is answered again, as it stands, as long as it holds `count` entries (for 0: as many as there
  /// are slots), so that it may be longer than asked for. A changed value drops it; a changed type or new slots without
  /// a value don't, and it then goes on showing what it showed.
  std::vector<IndexedResult> const& GetBestResults(unsigned int count) override;

  eResultType GetResultType(unsigned int classId) const override;

  /// Sets a slot; slots that are missing up to it are added with the value 0.0 and the type `ResultTypeScored`.
  void SetResultItem(unsigned int classId, float value, eResultType type) override;

  unsigned int GetFinalClassCount() override;
  unsigned int GetFinalClassId(unsigned int n) override;
  Result* Clone() override;

  /// Takes the attributes of a stored result's element. Unless `ClsCount` is missing or 0, the result starts anew, as
  /// `Initialize` with this number leaves it; with a lower one above `mostReserved` and beyond the allowance. Both
  /// `parser` and `attributes` may be null.
  void InitializeProperties(XmlSaxParser* parser, unsigned char const** attributes);

  /// Sets what the attributes of an entry's element say, in any order, and leaves the others as they are. Both `parser`
  /// and `attributes` may be null.
  void GetClsItemProperties(XmlSaxParser* parser, unsigned char const** attributes, float& value, eResultType& type,
                            unsigned int& classId);

  /// Sets the slot that an element `ClsItem` stores, with 0 for what its attributes don't say. An entry whose class id
  /// isn't below `maxSlots`, which no full result can hold, is passed over, and so is any other element with all that
  /// it holds. Throws OutOfBoundsException for one whose slots the allowance doesn't suffice for.
  void OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override;
  /// Does nothing.
  void OnEndElement(XmlSaxParser* parser, unsigned char const* name) override;

 protected:
  explicit FullResult(RepTag const& given = GetDefaultTag()) : Result(given) {}
  ~FullResult() override;

 private:
  void ReplaceSlots(std::vector<FullResultItem> items);

  detail::ReportingCopies<std::vector<FullResultItem>> results;  // slot i belongs to class id i; at most maxSlots
  detail::ReportingCopies<std::vector<IndexedResult>>
      bestResults;  // the answer of GetBestResults; empty when there is none to keep
};

}  // namespace ZaM

#endif
