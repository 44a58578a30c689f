#include "result_reader.h"

#include <algorithm>
#include <cstdint>

#include "result_form.h"
#include "run_error.h"
#include "utf8.h"

namespace classify {

void ResultReader::OnStartElement(ZaM::XmlSaxParser* parser, unsigned char const* name,
                                  unsigned char const** attributes) {
  std::string_view const element = ElementAttributes::View(name);
  ElementAttributes const given(attributes);
  if (place == Place::Outside) {
    startRoot(element, given);
  } else if (place == Place::Root && element == form::classElement) {
    addClass(given);
    return;
  } else if (place == Place::Root && element == form::fold) {
    startFold(given);
  } else if (place == Place::Fold && element == form::document) {
    startDocument(given);
  } else {
    if (place == Place::Document && element == form::result) startResult(*parser, attributes);
    return;
  }
  parser->PushCallback(this);
}

void ResultReader::OnEndElement(ZaM::XmlSaxParser* /*parser*/, unsigned char const* /*name*/) {
  if (place == Place::Document) {
    endDocument();
    place = Place::Fold;
  } else {
    place = place == Place::Fold ? Place::Root : Place::Behind;
  }
}

void ResultReader::startRoot(std::string_view name, ElementAttributes attributes) {
  if (name != form::root) throw RunError{fileName + " is no result file: it holds XML of another kind"};
  if (number<unsigned int>(attributes, form::versionNumber) > form::version)
    fail("it was written by a newer version of this program");
  findings.corpus = text(attributes, form::corpus);
  findings.documents = number<std::uint64_t>(attributes, form::documents);
  findings.settings = {number<unsigned int>(attributes, form::minWordLength),
                       number<unsigned int>(attributes, form::digits) != 0,
                       number<unsigned int>(attributes, form::maxResults)};
  place = Place::Root;
}

void ResultReader::addClass(ElementAttributes attributes) {
  bool const isNext = number<std::size_t>(attributes, form::id) == findings.ClassCount() + 1;
  if (!isNext || !findings.folds.empty()) fail("its classes aren't in order");
  findings.AddClass(text(attributes, form::name));
}

void ResultReader::startFold(ElementAttributes attributes) {
  fold = number<unsigned int>(attributes, form::number);
  FoldSize const size{number<std::uint64_t>(attributes, form::learned),
                      number<std::uint64_t>(attributes, form::tested)};
  if (!findings.folds.emplace(fold, size).second) fail("fold " + std::to_string(fold) + " stands there twice");
  place = Place::Fold;
}

void ResultReader::startDocument(ElementAttributes attributes) {
  progress.Step(CancelId::Reading, 0);
  path = text(attributes, form::path);
  classId = number<unsigned int>(attributes, form::classId);
  if (classId == 0 || classId > findings.ClassCount()) fail(path + " has a class that isn't listed");
  place = Place::Document;
}

void ResultReader::startResult(ZaM::XmlSaxParser& parser, unsigned char const** attributes) {
  if (result) fail(path + " has two results");
  result = ZaM::Ref(ZaM::SparseResult::Create());
  result->InitializeProperties(&parser, attributes);
  parser.PushCallback(result.Get());
}

void ResultReader::endDocument() {
  if (!result) fail(path + " has no result");
  for (ZaM::IndexedResult const& entry : result->GetBestResults(0)) {
    if (entry.GetIndex() == 0 || entry.GetIndex() > findings.ClassCount())
      fail("the result of " + path + " names a class that isn't listed");
  }
  findings.Add(std::move(path), classId, fold, result.Get());
  result = nullptr;
}

Findings ResultReader::Take() {
  if (place == Place::Outside) throw RunError{fileName + " is no result file: it holds no XML"};
  if (place != Place::Behind) {
    std::string const last = findings.Tested().empty() ? "" : " behind " + findings.Tested().back().name;
    fail("it breaks off or is damaged" + last);
  }
  return std::move(findings);
}

template <class Unsigned>
Unsigned ResultReader::number(ElementAttributes attributes, char const* name) const {
  std::optional<Unsigned> const value = attributes.Number<Unsigned>(name);
  if (!value) fail(std::string("the number ") + name + " is missing or damaged");
  return *value;
}

std::string ResultReader::text(ElementAttributes attributes, char const* name) const {
  std::optional<std::string_view> const value = attributes.Text(name);
  if (!value) fail(std::string("the attribute ") + name + " is missing");
  // Names end up on a terminal. Those that were written are printable; their backslashes have been through that.
  std::string plain(*value);
  std::replace(plain.begin(), plain.end(), '\\', '/');
  if (Printable(plain) != plain) fail(std::string("the attribute ") + name + " has control characters");
  return std::string(*value);
}

void ResultReader::fail(std::string const& reason) const {
  throw RunError{"can't use " + fileName + ": " + reason};
}

}  // namespace classify
