#include "zam/xml/xml_property.h"

#include <new>

#include "zam/foundation/create_counted.h"

namespace ZaM {

XmlProperty::XmlProperty(wstring const& propertyName, wstring const& propertyValue) try
    : name(propertyName), value(propertyValue) {
} catch (std::bad_alloc const&) {
  throw BaseException(5);
}

XmlProperty::XmlProperty(XmlProperty const& other) : XmlProperty(other.name, other.value) {}

XmlProperty& XmlProperty::operator=(XmlProperty const& other) {
  XmlProperty copy(other);
  name.swap(copy.name);
  value.swap(copy.value);
  return *this;
}

wstring const& XmlProperty::SetValue(wstring const& newValue) {
  ReportOutOfMemory([&] { value = newValue; });
  return value;
}

}  // namespace ZaM
