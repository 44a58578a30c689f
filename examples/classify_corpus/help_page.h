// The text of a help page in Mallard, the XML of the GNOME desktop's help.
#ifndef CLASSIFY_CORPUS_HELP_PAGE_H
#define CLASSIFY_CORPUS_HELP_PAGE_H

#include <zam/zam.h>

#include <optional>
#include <string>
#include <string_view>

namespace classify {

/// Collects what a reader sees of a page while it is parsed, with a line break around each block. Left out are credits,
/// licences and revisions: they are about the page, and the translators' names would give its language away.
///
/// What a page refers to, be it an external entity or a file to include, isn't opened, and adds nothing.
class HelpPage : public ZaM::XmlSaxCallback {
 public:
  void OnStartElement(ZaM::XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override;
  void OnEndElement(ZaM::XmlSaxParser* parser, unsigned char const* name) override;

  /// Whether the page has come to its end; false for one that isn't well-formed.
  bool IsComplete() const { return isComplete; }
  std::u16string const& Text() const { return text; }

 private:
  void TakeText(ZaM::XmlSaxParser& parser);

  std::u16string text;
  std::u16string piece;  // as the parser converts it
  std::size_t depth = 0;
  bool isComplete = false;
};

/// The text of a page of at most 4 GiB, or nothing if it isn't well-formed XML. A page has up to six times as many
/// units as bytes, since references to its own entities stand for more than they take.
std::optional<std::u16string> HelpPageText(std::string_view bytes);

}  // namespace classify

#endif
