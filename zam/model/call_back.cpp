#include "zam/model/call_back.h"

#include <algorithm>

namespace ZaM {

CallBack::~CallBack() = default;

void CallBack::SetCurrent(unsigned int value, bool* /*stop*/) {
  maximum = std::max(maximum, value);
  current = value;
}

void CallBack::SetMaximum(unsigned int value) {
  current = std::min(current, value);
  maximum = value;
}

void CallBack::SetStatus(wstring const& text, bool* /*stop*/) {
  status = text;
}

void CallBack::Increment(unsigned int step, bool* /*stop*/) {
  current += step;
  maximum = std::max(maximum, current);
}

bool CallBack::GetCancel() {
  return cancel;
}

unsigned int CallBack::GetCurrent() {
  return current;
}

unsigned int CallBack::GetMaximum() {
  return maximum;
}

wstring const& CallBack::GetStatus() const {
  return status;
}

}  // namespace ZaM
