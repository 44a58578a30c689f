// The W3C's XML test suite: what has to be accepted is accepted with the same tree on both ways of reading, what has to
// be rejected is rejected by the document model. Takes the folder of the suite as its argument; see run-conformance.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "tests/support/xml_text.h"
#include "zam/zam.h"

namespace {

using ZaM::wstring;
using ZaM::XmlNode;
using ZaM::XmlProperty;
using ZaM::XmlTree;

wstring localName(wstring const& name) {
  return name.substr(name.find(u':') + 1);
}

/// White space is where the ways are told to differ.
wstring withoutBlanks(wstring text) {
  std::erase_if(text, [](ZaM::wchar unit) { return unit == ' ' || unit == '\t' || unit == '\n' || unit == '\r'; });
  return text;
}

/// The document model knows the defaults of attributes, doesn't count xmlns as one, and cuts values.
bool attributesAgree(XmlNode const& byEvents, XmlNode const& byModel) {
  auto const& properties = byEvents.GetProperties();
  return std::all_of(properties.begin(), properties.end(), [&](XmlProperty const* property) {
    wstring const& name = property->GetName();
    if (name == u"xmlns" || name.starts_with(u"xmlns:")) return true;
    XmlProperty const* other = byModel.GetProperty(name);
    if (!other) other = byModel.GetProperty(localName(name));
    return other && withoutBlanks(property->GetValue()).starts_with(withoutBlanks(other->GetValue()));
  });
}

/// Whether a child that the document model gives may be a comment, a processing instruction or a reference without
/// text.
bool mayBeNoElement(XmlNode const& child) {
  return child.GetChildren().empty() && child.GetProperties().empty();
}

bool isText(XmlNode const& node) {
  return node.IsContent() && (node.GetName() == u"text" || node.GetName().empty());
}

/// Compares elements, attributes, and the text behind the last tag, which is all that the events leave.
bool agree(XmlNode const& byEvents, XmlNode const& byModel) {
  if (localName(byEvents.GetName()) != localName(byModel.GetName()) || !attributesAgree(byEvents, byModel))
    return false;
  auto event = byEvents.GetChildren().begin();
  auto const end = byEvents.GetChildren().end();
  wstring text;
  for (XmlNode const* child : byModel.GetChildren()) {
    if (isText(*child)) text += child->GetContent();
    if (child->IsContent()) continue;
    if (event != end && !(*event)->IsContent() && agree(**event, *child)) {
      ++event;
      text.clear();
    } else if (!mayBeNoElement(*child)) {
      return false;
    }
  }
  wstring eventText;
  if (event != end && (*event)->IsContent()) eventText = (*event++)->GetContent();
  return event == end && withoutBlanks(eventText) == withoutBlanks(text);
}

struct Outcome {
  bool isAccepted;
  bool isSameOnBothWays;
};

Outcome outcomeFor(std::filesystem::path const& file) try {
  XmlTree byEvents(file.u16string());
  XmlTree byModel;
  byModel.SetFilename(file.u16string());
  bool const isAccepted = byModel.Read2();
  return {isAccepted, isAccepted && byEvents.GetRoot() && agree(*byEvents.GetRoot(), *byModel.GetRoot())};
} catch (ZaM::LimitExceededException const&) {
  return {false, false};
}

/// What the suite expects of a test, or that it doesn't concern this library.
enum class Expected { accepted, rejected, notHere };

Expected expectedOf(XmlNode const& test) {
  auto const has = [&](wstring const& name, wstring const& part) {
    return test.GetPropertyText(name).find(part) != wstring::npos;
  };
  bool const isOtherXml = has(u"RECOMMENDATION", u"1.1") || has(u"VERSION", u"1.1");
  bool const isOlderEdition = test.GetProperty(u"EDITION") && !has(u"EDITION", u"5");
  if (isOtherXml || isOlderEdition || has(u"TYPE", u"error")) return Expected::notHere;
  if (!has(u"TYPE", u"not-wf")) return Expected::accepted;
  // What is wrong in an external entity or in the use of namespaces alone isn't looked at.
  bool const isOutside = !has(u"ENTITIES", u"none") && test.GetProperty(u"ENTITIES");
  return isOutside || has(u"RECOMMENDATION", u"NS") ? Expected::notHere : Expected::rejected;
}

/// The tests that end otherwise, with the reason behind the id.
std::map<std::string, std::string> knownDifferences() {
  std::map<std::string, std::string> known;
  std::ifstream stream(ZAM_KNOWN_DIFFERENCES);
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty() && line[0] != '#') known[line.substr(0, line.find(' '))] = line;
  }
  return known;
}

class Run {
 public:
  explicit Run(std::filesystem::path given) : suite(std::move(given)) {}

  void Visit(XmlNode const& node, std::filesystem::path const& folder) {
    if (node.GetName() == u"TEST") return check(node, folder / node.GetPropertyText(u"URI"));
    std::filesystem::path const inner = folder / node.GetPropertyText(u"xml:base");
    for (XmlNode const* child : node.GetChildren()) Visit(*child, inner);
  }

  int Report() {
    for (auto const& [id, line] : known) {
      std::printf("no longer different, or unknown: %s\n", line.c_str());
      ++failures;
    }
    std::printf("%d passed, %d failed, %d skipped\n", passed, failures, skipped);
    return passed > 0 && failures == 0 ? 0 : 1;
  }

 private:
  void check(XmlNode const& test, std::filesystem::path const& path) {
    Expected const expected = expectedOf(test);
    std::filesystem::path const file = suite / "xmlconf" / path;
    std::string const id = ZaM::test::Ascii(test.GetPropertyText(u"ID"));
    if (expected == Expected::notHere || !std::filesystem::exists(file) || !ids.insert(id).second) {
      ++skipped;
      return;
    }
    Outcome const outcome = outcomeFor(file);
    bool const isRight = expected == Expected::accepted ? outcome.isSameOnBothWays : !outcome.isAccepted;
    if (!isRight && known.erase(id) == 1) {
      ++skipped;
    } else if (isRight) {
      ++passed;
    } else {
      ++failures;
      std::printf("%s: %s, but %s\n", id.c_str(),
                  expected == Expected::accepted ? "has to be accepted" : "has to be rejected",
                  outcome.isAccepted && expected == Expected::accepted ? "the trees differ" : "isn't");
    }
  }

  std::filesystem::path const suite;
  std::map<std::string, std::string> known = knownDifferences();
  std::set<std::string> ids;
  int passed = 0;
  int failures = 0;
  int skipped = 0;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  std::filesystem::path const suite = arguments[1];
  XmlTree const list((suite / "cleaned" / "xmlconf-flattened.xml").u16string());
  Run run(suite);
  if (list.GetRoot()) run.Visit(*list.GetRoot(), "");
  return run.Report();
}
