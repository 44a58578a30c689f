// An element of an XML document in memory.
#ifndef ZAM_XML_XML_NODE_H
#define ZAM_XML_XML_NODE_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>

#include "zam/foundation/export.h"
#include "zam/foundation/ref.h"
#include "zam/foundation/types.h"
#include "zam/model/composite.h"
#include "zam/xml/xml_property.h"
#include "zam/xml/xml_sax_callback.h"
#include "zam/xml/xml_text.h"

namespace ZaM {

class XmlTree;

namespace detail {
class StoredNode;
class TreeBuilder;
struct StoredAttributes;
}  // namespace detail

/// A named element with attributes and children, or a piece of text.
///
/// An element doesn't hold its text: a child does, a content node, whose `IsContent` is true and whose `GetContent`
/// gives the text. `<a>hello</a>` is a node named `a` with one content child:
///
///     Ref<XmlNode> library(XmlNode::Create(u"library"));
///     library->AddSubNodeText(u"title", u"Emma");            // <library><title>Emma</title></library>
///     library->AddPropertySizet(u"books", 12);               // <library books="12">…
///     library->GetSubNodeText(u"title");                     // Emma
///
/// Content nodes made in memory have an empty name, those that were read are called "text"; nothing depends on it.
///
/// A node is also the callback that reads its own element: what the parser reports becomes properties and children. Of
/// text between children only what stands after the last tag is kept.
///
/// Numbers are stored as texts that don't follow the process's locale:
///
/// | Type          | Form                                                     | Longest text           |
/// |---------------|----------------------------------------------------------|------------------------|
/// | double        | fixed, six digits after the point, no exponent          | 31 units, cut there    |
/// | bool          | "1" or "0"; a reader looks at the first unit alone       |                        |
/// | unsigned, long| decimal                                                  | 15 units               |
/// | time          | its 64 bits as an unsigned decimal number: -1 is 2⁶⁴ - 1 | 31 units               |
///
/// So a double keeps six digits after the point, and one whose text is longer than 31 units (from 1e24 on) reads back
/// as another number. Readers skip leading white space and stop at the first unit that doesn't fit: "12abc" is 12. What
/// has no number at its start, and an empty text, gives the caller's default; what is out of range saturates.
///
/// Owning:   made by `Create` with a count of 1, ended by `Release`, which releases the children in their order. The
///           node owns one reference to each child, and its properties. Nodes that `AddChild(name)`, `AddContent` and
///           the deep copy make inside a tree have a count of 0 and end with their parent: a caller who keeps one
///           longer calls `AddRefCount` twice.
/// Threads:  a tree belongs to one thread at a time, but for this: while nobody changes it or its reference counts, any
///           number may call its const operations.
/// Memory:   a tree that was read holds names once and texts as the document has them. Lists, properties and wide
///           strings are made when they are first asked for, so looking takes memory, and can end in id 5; they then
///           stay, at their place, as long as the node. A node that is kept beyond its tree keeps up to 64 KiB of the
///           nodes around it, and the names.
/// Depth:    trees of any depth can be copied and released.
/// Errors:   BaseException with id 5 when memory runs out; the node is then unchanged, and a reference that was to pass
///           to it is still the caller's.
///
/// A node can't be copied as an object, since two would own the same children; `Create(source)` makes a deep copy.
class ZAM_EXPORT XmlNode : public Composite, public XmlSaxCallback {
 public:
  /// An element without content. With an empty name its `IsInitialized` is false.
  static XmlNode* Create(wstring const& name);

  /// A content node, also for an empty text. It has no name, whatever `name` says.
  static XmlNode* Create(wstring const& name, wstring const& content);

  /// A deep copy: names, contents, properties and children in their order, but not the features. A content node without
  /// text becomes a node that isn't content. Only the copy's root has a reference.
  /// Throws BaseException with id 1 for null. `source` mustn't contain itself.
  static XmlNode* Create(XmlNode const* source);

  XmlNode(XmlNode const&) = delete;
  XmlNode& operator=(XmlNode const&) = delete;

  /// False only for a node that was made with an empty name and no content, and for copies of it.
  bool IsInitialized() const { return initialized; }
  /// The name of the element.
  wstring const& GetName() const { return *name; }
  /// Whether the node is a text between elements.
  bool IsContent() const { return isContent; }
  /// The text of a content node.
  wstring const& GetContent() const { return content.Get(); }
  /// The children, which stay the node's.
  std::list<XmlNode*> const& GetChildren() const;

  /// The properties in the order in which they were added, which is also their order in a document.
  std::list<XmlProperty*> const& GetProperties() const;

  /// The property of that name, or null.
  XmlProperty* GetProperty(wstring const& propertyName);
  XmlProperty const* GetProperty(wstring const& propertyName) const;

  /// Stores `text`, and makes the node a content node if there is any, else an element. Returns what is stored.
  wstring const& SetContent(wstring const& text);

  /// Adds a child that is an XmlNode; its reference passes to this node. Null and anything else are ignored, and the
  /// reference stays with the caller.
  void AddChild(Node* child) override;

  /// Puts `child` after the other children and returns it; the caller's reference passes to this node. A child that is
  /// added twice needs two references. Null does nothing and gives null.
  XmlNode* AddChild(XmlNode* child);

  /// Makes an element, adds it and returns it; the caller holds no reference to it.
  XmlNode* AddChild(wstring const& childName);

  /// Makes a content node, adds it and returns it; the caller holds no reference to it.
  XmlNode* AddContent(wstring const& text);

  /// Takes every entry of `child` out of the children. As many references pass to the caller as entries were found.
  void RemoveChild(XmlNode* child);

  /// `RemoveChild(id)` gives null: children leave through the operation above.
  using Composite::RemoveChild;

  unsigned int ChildCount() const override;

  /// A new ListIterator over the children. Throws BaseException with id 5 if there is no memory.
  Iterator* CreateIterator() override;

  /// Adds a property after the others and returns it, which stays the node's. Null, with nothing changed, if there is
  /// one of that name already; the typed writers below are then without effect.
  XmlProperty* AddProperty(wstring const& propertyName, wstring const& value);

  /// Takes the property of that name out, if there is one. The object isn't destroyed: it is now the caller's, who has
  /// fetched it before and ends it by `delete`.
  void RemoveProperty(wstring const& propertyName);

  /// Replaces `result` by the children of that name, in their order; by all children if `childName` is empty. No
  /// references are taken.
  void FilterChildren(std::list<XmlNode*>& result, wstring const& childName) const;

  /// Adds the attributes of a start element event; a name that is there already keeps its value. `attributes` is what
  /// `OnStartElement` gets, and may be null.
  void InitializeProperties(XmlSaxParser* parser, unsigned char const** attributes);

  /// Adds a property in the text form that the table above shows.
  void AddPropertyLong(wstring const& propertyName, std::int32_t value);
  void AddPropertySizet(wstring const& propertyName, unsigned int value);
  void AddPropertyTimet(wstring const& propertyName, std::int64_t value);
  void AddPropertyBool(wstring const& propertyName, bool value);
  template <class T>
  void AddPropertyBool(wstring const& propertyName, T const* value) = delete;  // a literal isn't true
  /// Adds a property in the text form that the table above shows.
  void AddPropertyDouble(wstring const& propertyName, double value);

  /// The property read as told above; `defaultValue` if it is missing, or no value.
  std::int32_t GetPropertyLong(wstring const& propertyName, std::int32_t defaultValue) const;
  unsigned int GetPropertySizet(wstring const& propertyName, unsigned int defaultValue) const;
  std::int64_t GetPropertyTimet(wstring const& propertyName, std::int64_t defaultValue) const;
  bool GetPropertyBool(wstring const& propertyName, bool defaultValue) const;
  double GetPropertyDouble(wstring const& propertyName, double defaultValue) const;

  /// The value of the property, or an empty text that lives as long as the library.
  wstring const& GetPropertyText(wstring const& propertyName) const;

  /// Adds an element with one content child. Nothing stops a second one of that name, but the readers then find
  /// neither.
  void AddSubNodeText(wstring const& childName, wstring const& text);
  void AddSubNodeDouble(wstring const& childName, double value);
  void AddSubNodeBool(wstring const& childName, bool value);
  template <class T>
  void AddSubNodeBool(wstring const& childName, T const* value) = delete;
  void AddSubNodeSizet(wstring const& childName, unsigned int value);
  void AddSubNodeLong(wstring const& childName, std::int32_t value);

  /// The content of the single child of the single child named `childName`; an empty text that lives as long as the
  /// library if that one has no child or several. If there isn't exactly one child of that name: `defaultValue`, the
  /// very object, so it mustn't be a temporary whose reference is kept; with `required`, XMLFormatException with id 9
  /// and the name.
  wstring const& GetSubNodeText(wstring const& childName, wstring const& defaultValue, bool required) const;

  /// The same, required.
  wstring const& GetSubNodeText(wstring const& childName) const;

  /// What `GetSubNodeText` finds, read as told above; `defaultValue` if it is missing, or no value.
  double GetSubNodeDouble(wstring const& childName, double defaultValue) const;
  bool GetSubNodeBool(wstring const& childName, bool defaultValue) const;
  unsigned int GetSubNodeSizet(wstring const& childName, unsigned int defaultValue) const;
  std::int32_t GetSubNodeLong(wstring const& childName, std::int32_t defaultValue) const;

  /// A child begins: adds it and makes it the callback for what lies inside.
  void OnStartElement(XmlSaxParser* parser, unsigned char const* childName, unsigned char const** attributes) override;

  /// This element is at its end: the text since the last tag, if any, becomes a content node named "text".
  void OnEndElement(XmlSaxParser* parser, unsigned char const* elementName) override;

 protected:
  explicit XmlNode(wstring const& elementName);
  XmlNode(wstring const& ignoredName, wstring const& text);
  explicit XmlNode(XmlNode const* source);
  ~XmlNode() override;

 private:
  friend class detail::StoredNode;
  friend class detail::TreeBuilder;
  friend class XmlTree;

  struct Properties;
  class Children;

  XmlNode(wstring const& sharedName, detail::StoredAttributes const* stored, detail::StoredText const* text);

  void CopyOwnData(XmlNode const& source);
  Properties& MakeProperties() const;
  void ForEachAttribute(std::function<void(wstring const&, wstring const&)> const& use) const;
  std::list<XmlNode*>& MakeChildList() const;
  std::list<XmlNode*>& TakeChildList();
  void Link(XmlNode& child);
  XmlNode* UnlinkFirst();
  XmlNode* Adopt(Ref<XmlNode> child);
  XmlNode const* FindOnlyChild(wstring const& childName) const;

  wstring const* name;  // never null; ours if `ownsName`
  detail::XmlText content;
  // What a document was read with, a detail::StoredAttributes, or what was made of it when somebody looked: Properties
  // of ours, with the lowest bit set. 0 is none.
  mutable std::atomic<std::uintptr_t> attributeWord = 0;
  // The children, of each of which one reference is ours, hang together in a ring, of which this is the last. Where
  // that can't be (one of them already is in a ring), and once a node with a list is changed, they are in the list
  // alone. Otherwise the list, if there is one, has the same nodes.
  XmlNode* lastChild = nullptr;
  XmlNode* nextInRing = nullptr;
  mutable std::atomic<std::list<XmlNode*>*> childList = nullptr;
  std::uint32_t ringSize = 0;
  bool initialized : 1;
  bool isContent : 1;
  bool ownsName : 1;
  bool isInRing : 1;
};

}  // namespace ZaM

#endif
