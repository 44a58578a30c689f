// The two records that results are made of.
//
// Threads: one thread at a time; separate records are independent.
// Errors:  nothing is thrown; any number is taken.
#ifndef ZAM_RESULTS_RESULT_ITEM_H
#define ZAM_RESULTS_RESULT_ITEM_H

#include "zam/results/result_type.h"

namespace ZaM {

/// One class's entry in a list: class id, confidence and type.
class IndexedResult {
 public:
  /// Sets class id and confidence, and puts the type back to `ResultTypeScored`.
  void Set(unsigned int classId, float confidence) { Set(classId, confidence, ResultTypeScored); }
  /// Sets all three.
  void Set(unsigned int classId, float confidence, eResultType type) {
    index = classId;
    value = confidence;
    resType = type;
  }

  /// The class id.
  void SetIndex(unsigned int classId) { index = classId; }
  unsigned int GetIndex() const { return index; }

  /// The confidence.
  void SetValue(float confidence) { value = confidence; }
  float GetValue() const { return value; }

  /// The type.
  void SetResType(eResultType type) { resType = type; }
  eResultType GetResType() const { return resType; }

 private:
  unsigned int index = 0;  // the class id
  float value = 0.0F;      // the confidence
  eResultType resType = ResultTypeScored;
};

/// One class's slot in a `FullResult`: confidence and type. The slot's position is the class id.
class FullResultItem {
 public:
  /// Sets both.
  void Set(float confidence, eResultType type) {
    value = confidence;
    resType = type;
  }

  /// The confidence.
  void SetValue(float confidence) { value = confidence; }
  float GetValue() const { return value; }

  /// The type.
  void SetResType(eResultType type) { resType = type; }
  eResultType GetResType() const { return resType; }

 private:
  float value = 0.0F;  // the confidence
  eResultType resType = ResultTypeScored;
};

}  // namespace ZaM

#endif
