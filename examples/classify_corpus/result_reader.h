// Reads a result file, event by event.
#ifndef CLASSIFY_CORPUS_RESULT_READER_H
#define CLASSIFY_CORPUS_RESULT_READER_H

#include <zam/zam.h>

#include <string>
#include <string_view>
#include <utility>

#include "element_attributes.h"
#include "findings.h"
#include "progress.h"

namespace classify {

/// The callback at the bottom of the parser's stack. Each element that it knows leaves it on top again for what lies
/// inside, except that a document's result reads itself. Other elements are passed over, so that later versions may add
/// some.
///
/// Errors: RunError for what is no result file or doesn't make sense; UserCanceledException(22) if the user wants to
///         stop. Both leave the parser's operation.
class ResultReader : public ZaM::XmlSaxCallback {
 public:
  /// `name` is the file's in messages.
  ResultReader(std::string name, Progress& bar) : fileName(std::move(name)), progress(bar) {}

  void OnStartElement(ZaM::XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override;
  void OnEndElement(ZaM::XmlSaxParser* parser, unsigned char const* name) override;

  /// What the file holds, after the parse. Throws RunError if it isn't all there.
  Findings Take();

 private:
  enum class Place { Outside, Root, Fold, Document, AtEnd };

  void StartRoot(std::string_view name, ElementAttributes attributes);
  void AddClass(ElementAttributes attributes);
  void StartFold(ElementAttributes attributes);
  void StartDocument(ElementAttributes attributes);
  void StartResult(ZaM::XmlSaxParser& parser, unsigned char const** attributes);
  void EndDocument();

  template <class Unsigned>
  Unsigned Number(ElementAttributes attributes, char const* name) const;
  std::string Text(ElementAttributes attributes, char const* name) const;
  [[noreturn]] void Fail(std::string const& reason) const;

  std::string fileName;
  Progress& progress;
  Place place = Place::Outside;
  Findings findings;
  unsigned int fold = 0;
  std::string path;  // of the document
  unsigned int classId = 0;
  ZaM::Ref<ZaM::SparseResult> result;  // of the document; null before it comes
};

}  // namespace classify

#endif
