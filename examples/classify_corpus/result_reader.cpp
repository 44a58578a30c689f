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
    StartRoot(element, given);
  } else if (place == Place::Root && element == form::classElement) {
    AddClass(given);
    return;
  } else if (place == Place::Root && element == form::fold) {
    StartFold(given);
  } else if (place == Place::Fold && element == form::document) {
    StartDocument(given);
  } else {
    if (place == Place::Document && element == form::result) StartResult(*parser, attributes);
    return;
  }
  parser->PushCallback(this);
}

void ResultReader::OnEndElement(ZaM::XmlSaxParser* /*parser*/, unsigned char const* /*name*/) {
  if (place == Place::Document) {
    EndDocument();
    place = Place::Fold;
  } else {
    place = place == Place::Fold ? Place::Root : Place::AtEnd;
  }
}

void ResultReader::StartRoot(std::string_view name, ElementAttributes attributes) {
  if (name != form::root) throw RunError{fileName + " is no result file: it holds XML of another kind"};
  if (Number<unsigned int>(attributes, form::versionNumber) > form::version)
    Fail("it was written by a newer version of this program");
  findings.corpus = Text(attributes, form::corpus);
  findings.documents = Number<std::uint64_t>(attributes, form::documents);
  findings.settings = {Number<unsigned int>(attributes, form::minWordLength),
                       Number<unsigned int>(attributes, form::digits) != 0,
                       Number<unsigned int>(attributes, form::maxResults)};
  place = Place::Root;
}

void ResultReader::AddClass(ElementAttributes attributes) {
  bool const isNext = Number<std::size_t>(attributes, form::id) == findings.ClassCount() + 1;
  if (!isNext || !findings.folds.empty()) Fail("its classes aren't in order");
  findings.AddClass(Text(attributes, form::name));
}

void ResultReader::StartFold(ElementAttributes attributes) {
  fold = Number<unsigned int>(attributes, form::number);
  FoldSize const size{Number<std::uint64_t>(attributes, form::learned),
                      Number<std::uint64_t>(attributes, form::tested)};
  if (!findings.folds.emplace(fold, size).second) Fail("fold " + std::to_string(fold) + " stands there twice");
  place = Place::Fold;
}

void ResultReader::StartDocument(ElementAttributes attributes) {
  progress.Step(CancelId::Reading, 0);
  path = Text(attributes, form::path);
  classId = Number<unsigned int>(attributes, form::classId);
  if (classId == 0 || classId > findings.ClassCount()) Fail(path + " has a class that isn't listed");
  place = Place::Document;
}

void ResultReader::StartResult(ZaM::XmlSaxParser& parser, unsigned char const** attributes) {
  if (result) Fail(path + " has two results");
  result = ZaM::Ref(ZaM::SparseResult::Create());
  result->InitializeProperties(&parser, attributes);
  parser.PushCallback(result.Get());
}

void ResultReader::EndDocument() {
  if (!result) Fail(path + " has no result");
  for (ZaM::IndexedResult const& entry : result->GetBestResults(0)) {
    if (entry.GetIndex() == 0 || entry.GetIndex() > findings.ClassCount())
      Fail("the result of " + path + " names a class that isn't listed");
  }
  findings.Add(std::move(path), classId, fold, result.Get());
  result = nullptr;
}

Findings ResultReader::Take() {
  if (place == Place::Outside) throw RunError{fileName + " is no result file: it holds no XML"};
  if (place != Place::AtEnd) {
    std::string const last = findings.Tested().empty() ? "" : " after " + findings.Tested().back().name;
    Fail("it breaks off or is damaged" + last);
  }
  return std::move(findings);
}

template <class Unsigned>
Unsigned ResultReader::Number(ElementAttributes attributes, char const* name) const {
  std::optional<Unsigned> const value = attributes.Number<Unsigned>(name);
  if (!value) Fail(std::string("the number ") + name + " is missing or damaged");
  return *value;
}

std::string ResultReader::Text(ElementAttributes attributes, char const* name) const {
  std::optional<std::string_view> const value = attributes.Text(name);
  if (!value) Fail(std::string("the attribute ") + name + " is missing");
  // Names end up on a terminal. Those that were written are printable; their backslashes have been through that.
  std::string plain(*value);
  std::replace(plain.begin(), plain.end(), '\\', '/');
  if (Printable(plain) != plain) Fail(std::string("the attribute ") + name + " has control characters");
  return std::string(*value);
}

void ResultReader::Fail(std::string const& reason) const {
  throw RunError{"can't use " + fileName + ": " + reason};
}

}  // namespace classify
