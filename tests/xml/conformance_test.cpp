// The W3C's XML test suite: what has to be accepted is accepted by both ways of reading and can be written, what has to
// be rejected is rejected by the document model. Takes the folder of the suite as its argument; see run-conformance.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "tests/support/xml_text.h"
#include "zam/zam.h"

namespace {

using ZaM::wstring;
using ZaM::XmlNode;
using ZaM::XmlTree;

/// Whether a document can be written, and read again with as many tags.
bool IsWritable(XmlTree const& tree) {
  auto const countTags = [](std::string const& text) { return std::count(text.begin(), text.end(), '<'); };
  std::string const text = tree.WriteBuffer();
  XmlTree again;
  again.SetDoCutValues(false);
  return again.ReadBuffer(text) && countTags(again.WriteBuffer()) == countTags(text);
}

/// Whether a document ends as it has to.
bool EndsRightly(std::filesystem::path const& file, bool mustBeAccepted) try {
  XmlTree byEvents(file.u16string());
  XmlTree byModel;
  byModel.SetFilename(file.u16string());
  byModel.SetDoCutValues(false);
  if (!mustBeAccepted) return !byModel.Read2();
  return byModel.Read2() && byEvents.GetRoot() && IsWritable(byEvents) && IsWritable(byModel);
} catch (ZaM::LimitExceededException const&) {
  return !mustBeAccepted;
}

/// What the suite expects of a test, or that it doesn't concern this library.
enum class Expected { accepted, rejected, notHere };

Expected ExpectedOf(XmlNode const& test) {
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
std::map<std::string, std::string> KnownDifferences() {
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
    if (node.GetName() == u"TEST") return Check(node, folder / node.GetPropertyText(u"URI"));
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
  void Check(XmlNode const& test, std::filesystem::path const& path) {
    Expected const expected = ExpectedOf(test);
    std::filesystem::path const file = suite / "xmlconf" / path;
    std::string const id = ZaM::test::Ascii(test.GetPropertyText(u"ID"));
    if (expected == Expected::notHere || !std::filesystem::exists(file) || !ids.insert(id).second) {
      ++skipped;
      return;
    }
    bool const mustBeAccepted = expected == Expected::accepted;
    if (EndsRightly(file, mustBeAccepted)) {
      ++passed;
    } else if (known.erase(id) == 1) {
      ++skipped;
    } else {
      ++failures;
      std::printf("%s has to be %s\n", id.c_str(), mustBeAccepted ? "accepted, written and read again" : "rejected");
    }
  }

  std::filesystem::path const suite;
  std::map<std::string, std::string> known = KnownDifferences();
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
