#include "stored_result.h"

#include <charconv>
#include <cmath>
#include <string>
#include <vector>

#include "number_text.h"
#include "tags.h"

namespace classify {

namespace {

constexpr int digits = 6;

float Rounded(float value) {
  double rounded = 0;
  std::string const text = Fixed(value, digits);
  if (std::isfinite(value)) std::from_chars(text.data(), text.data() + text.size(), rounded);
  return static_cast<float>(rounded);
}

}  // namespace

ZaM::Ref<ZaM::SparseResult> AsStored(ZaM::Result* result) {
  std::vector<ZaM::IndexedResult> kept;
  if (result) kept = result->GetBestResults(0);
  for (ZaM::IndexedResult& entry : kept) entry.SetValue(Rounded(entry.GetValue()));
  std::erase_if(kept, [](ZaM::IndexedResult const& entry) { return !(entry.GetValue() > 0); });

  ZaM::Ref stored(ZaM::SparseResult::Create());
  stored->SetResults(kept);
  stored->SetTagId(ResultTag().id);
  return stored;
}

}  // namespace classify
