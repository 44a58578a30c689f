// One attribute of an XML element in memory.
#ifndef ZAM_XML_XML_PROPERTY_H
#define ZAM_XML_XML_PROPERTY_H

#include <utility>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// A name and a value. `AddProperty` of a node makes its properties, under names that are unique within the node. The
/// typed values of `XmlNode` are texts here too.
///
/// Owning:  the properties of a node belong to it.
/// Threads: as the node that has it.
/// Errors:  BaseException with id 5 when memory runs out; the property is then what it was.
class ZAM_EXPORT XmlProperty {
 public:
  /// Any texts; what a document can hold is checked when it is written.
  XmlProperty(wstring const& propertyName, wstring const& propertyValue) : name(propertyName), value(propertyValue) {}

  /// Another property of that name and value, which no node has yet.
  XmlProperty(XmlProperty const& other) = default;
  XmlProperty(XmlProperty&&) = default;

  /// Takes over name and value. Not for a property that a node holds: the node may go on finding it by its former name.
  XmlProperty& operator=(XmlProperty const& other) { return *this = XmlProperty(other); }
  XmlProperty& operator=(XmlProperty&&) = default;

  /// The two texts.
  wstring const& GetName() const { return name; }
  wstring const& GetValue() const { return value; }

  /// Stores `newValue` and returns a reference to what is stored.
  wstring const& SetValue(wstring const& newValue) { return value = newValue; }

 private:
  friend class XmlNode;

  /// Takes the value over.
  XmlProperty(wstring const& propertyName, wstring&& propertyValue)
      : name(propertyName), value(std::move(propertyValue)) {}

  detail::ReportingCopies<wstring> name;
  detail::ReportingCopies<wstring> value;
};

}  // namespace ZaM

#endif
