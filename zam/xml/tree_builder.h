// Makes the nodes of a tree out of the events of a document; internal.
#ifndef ZAM_XML_TREE_BUILDER_H
#define ZAM_XML_TREE_BUILDER_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "zam/foundation/ref.h"
#include "zam/foundation/types.h"
#include "zam/xml/node_store.h"
#include "zam/xml/xml_events.h"
#include "zam/xml/xml_node.h"

namespace ZaM::detail {

/// What becomes of a document; XmlTree says it with a table.
struct TreeOptions {
  /// All that stands in an element becomes a child, and names lose their prefixes. Otherwise of texts and CDATA
  /// sections only those after the last tag become one, and nothing but elements remains of the rest.
  bool isModel = false;
  /// How many units of names and of the values of attributes are kept.
  std::size_t mostNameUnits = std::string_view::npos;
  std::size_t mostValueUnits = std::string_view::npos;
  /// What the nodes may take; see NodeStore.
  std::uint64_t mostBytes = std::numeric_limits<std::uint64_t>::max();
};

/// Fills `root` while the events come: it owns all nodes from the moment they are made.
class TreeBuilder final : public XmlEventReceiver {
 public:
  TreeBuilder(Ref<XmlNode>& builtRoot, TreeOptions const& treeOptions);

  void OnStartElement(XmlElement const& element) override;
  void OnEndElement(std::string_view name) override;
  void OnCharacters(std::string_view more) override;
  void OnCData(std::string_view more) override;
  void OnComment(std::string_view comment) override;
  void OnProcessingInstruction(std::string_view target, std::string_view data) override;
  void OnEntityReference(std::string_view name, std::string_view content) override;

 private:
  enum class Pending { Nothing, Characters, Cdata };

  void Collect(Pending kind, std::string_view more);
  void EndText();
  void DropText();
  void AddChild(wstring const* name, std::string_view content);
  void AddOther(std::string_view name, std::string_view content);
  void TakeAttributes(XmlElement const& element);
  void DropRepeatedAttributes();
  [[nodiscard]] wstring const* NameOf(std::string_view name);

  Ref<XmlNode>& root;
  TreeOptions const options;
  NodeStore store;
  wstring const* const textName;
  wstring const* const cdataName;                // none
  std::vector<XmlNode*> open;                    // elements, the root first
  std::vector<NodeStore::Attribute> attributes;  // of the present one
  Pending pending = Pending::Nothing;
  std::string text;  // of what is pending
};

}  // namespace ZaM::detail

#endif
