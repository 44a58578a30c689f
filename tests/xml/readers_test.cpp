// What holds for each way to read an XML document.
#include "tests/xml/readers.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "tests/support/failing_allocation.h"

namespace ZaM::test {
namespace {

using namespace std::string_literals;

/// A reference to an entity that is `height` entities deep.
std::string Chain(std::size_t height) {
  std::string entities = "<!ENTITY e0 '1'>";
  for (std::size_t i = 1; i < height; ++i) {
    entities += "<!ENTITY e" + std::to_string(i) + " '&e" + std::to_string(i - 1) + ";'>";
  }
  return "<!DOCTYPE a [" + entities + "]><a>&e" + std::to_string(height - 1) + ";</a>";
}

TEST(XmlReaders, GiveWhatADocumentHas) {
  std::string const blanks(60'000, ' ');
  std::string const unknown =
      "<!DOCTYPE a SYSTEM 'x' [<!ENTITY e '&u;'><!ENTITY f '&e;'><!ENTITY g '<b p=\"&f;\"/>'>]>";
  struct {
    std::string document;
    std::string events;
    std::string model;
    std::string modelWithBlanks = model;
    std::string modelWithReferences = model;
  } const cases[] = {
      {"<a>1<![CDATA[<2>]]>&lt;&#x41;<!--c-->3<?p i?>4</a>", "^<a>[1<2><A34]</a>$", "<a>[1][<2>][<A][c][3][i][4]</a>"},
      // Namespaces.
      {"<x:a p='0' xmlns:x='u' xmlns='v' x:p='1' y:p='2&amp;&#10;'/>",
       "^<x:a p='0' xmlns:x='u' xmlns='v' x:p='1' y:p='2&\n'></x:a>$", "<a p='0' y:p='2&\\000a'/>"},
      {"<a><x:b xmlns:x='u'><x:b xmlns:x='u'/><x:c/></x:b><x:d xml:p=''/><x:e xmlns:x=''/></a>",
       "^<a><x:b xmlns:x='u'><x:b xmlns:x='u'></x:b><x:c></x:c></x:b><x:d xml:p=''></x:d><x:e xmlns:x=''></x:e></a>$",
       "<a><b><b/><c/></b><x:d p=''/><x:e/></a>"},
      // Declarations.
      {"<!DOCTYPE x:a [<!ATTLIST x:a p CDATA '1' q NMTOKENS ' 2  3 ' xmlns:x CDATA 'u'>]><x:a p='4'/>",
       "^<x:a p='4'></x:a>$", "<a p='4'/>"},
      {"<!DOCTYPE a [<!ATTLIST a p NMTOKENS '' q CDATA '' q NMTOKEN ''>]><a p=' 1  2&#32;' q=' 3 '/>",
       "^<a p='1 2' q=' 3 '></a>$", "<a p='1 2' q=' 3 '/>"},
      {"<!DOCTYPE a [<!NOTATION n SYSTEM 'x'>]><a/>", "^<a></a>$", "<a/>"},
      {"<!DOCTYPE a [<!NOTATION n >]><a/>", "^<a></a>$", "malformed"},
      // Blanks.
      {"<?xml version='1.0'?>\n<!--c--><a> <b/> <!--d--> <b> </b> </a>\n<?p i?>",
       "^<a>[ ]<b></b>[  ]<b>[ ]</b>[ ]</a>$", "<a><b/>[d]<b>[ ]</b></a>", "<a>[ ]<b/>[ ][d][ ]<b>[ ]</b>[ ]</a>"},
      {"<a>1 <b/> <b/></a>", "^<a>[1 ]<b></b>[ ]<b></b></a>$", "<a>[1 ]<b/>[ ]<b/></a>"},
      {"<a><b/>1<b/> <b/> </a>", "^<a><b></b>[1]<b></b>[ ]<b></b>[ ]</a>$", "<a><b/>[1]<b/><b/></a>",
       "<a><b/>[1]<b/>[ ]<b/>[ ]</a>"},
      {"<a><b/>&lt; <b/></a>", "^<a><b></b>[< ]<b></b></a>$", "<a><b/>[< ]<b/></a>"},
      {"<a> &#32;<b/> &lt; <b/></a>", "^<a>[  ]<b></b>[ < ]<b></b></a>$", "<a>[  ]<b/>[ < ]<b/></a>"},
      {"<a xml:space='preserve'> <b/><c xml:space='default'> <d/></c></a>",
       "^<a xml:space='preserve'>[ ]<b></b><c xml:space='default'>[ ]<d></d></c></a>$",
       "<a space='preserve'>[ ]<b/><c space='default'><d/></c></a>",
       "<a space='preserve'>[ ]<b/><c space='default'>[ ]<d/></c></a>"},
      {"<!DOCTYPE a [<!ELEMENT a (b)><!ELEMENT b (#PCDATA)>]><a> <b> <c/></b></a>", "^<a>[ ]<b>[ ]<c></c></b></a>$",
       "<a><b>[ ]<c/></b></a>", "<a>[ ]<b>[ ]<c/></b></a>"},
      // References.
      {"<!DOCTYPE a [<!ENTITY e '1<b/>'><!ENTITY f '2'>]><a p='3&f;4&f;' q='&f;4' r='&amp;&f;'>5&e;&f;&amp;&e;</a>",
       "^<a p='3242' q='24' r='&2'>[51]<b></b>[2&1]<b></b></a>$", "<a p='3242' q='24' r='&2'>[51]<b/>[2&1]<b/></a>",
       "<a p='3242' q='24' r='&2'>[51]<b/>[2&1]<b/></a>", "<a p='3' q='2' r='&'>[5][1<b/>][2][&][1<b/>]</a>"},
      {"<!DOCTYPE a SYSTEM '>' [<!ENTITY e SYSTEM 'x'>]><a p='1&u;'> &u; <b/> &e;<b/></a>",
       "^<a p='1'>[  ]<b></b>[ ]<b></b></a>$", "<a p='1'><b/>[ ]<b/></a>", "<a p='1'>[  ]<b/>[ ]<b/></a>",
       "<a p='1'><b/>[ ]<e/><b/></a>"},
      // Nobody knows what is in the external subset, but what is unknown may not stand in an entity.
      {unknown + "<a p='&f;'/>", "^<a p=''></a>$", "<a p=''/>", "<a p=''/>", "<a p='&e;'/>"},
      {unknown + "<a>&g;</a>", "^<a>", "malformed"},
      // Encodings, and two for which a converter would be looked for.
      {"<?xml version='1.0'" + blanks + "encoding='ISO-8859-15'?><a>\xA4</a>", "^<a>[\xE2\x82\xAC]</a>$",
       "<a>[\\20ac]</a>"},
      {"\xFF\xFE\0\0<\0\0\0a\0\0\0>\0\0\0\x00\xF6\x02\0<\0\0\0/\0\0\0a\0\0\0>\0\0\0"s, "^<a>[\xF0\xAF\x98\x80]</a>$",
       "<a>[\\d87d\\de00]</a>"},
      {"\0\0\xFE\xFF\0\0\0<\0\0\0a\0\0\0/\0\0\0>"s, "^<a></a>$", "<a/>"},
      {"<?xml version='1.0' encoding='IBM037'?><a/>", "", "malformed"},
      {"<?xml version='1.0'" + blanks + "encoding = \"UTF-7\"?><a/>", "", "malformed"},
      // Up to the fault of what is malformed.
      {"<a><b>1</b>2<c>3</d></a>", "^<a><b>[1]</b>[2]<c>", "malformed"},
      {"<a/><b/>", "^<a></a>$", "malformed"},
      {"", "$", "malformed"},
      {"<a/>\0"s, "^<a></a>$", "malformed"},
  };
  Readers readers;
  for (auto const& c : cases) {
    SCOPED_TRACE(c.document.substr(0, 200));
    EXPECT_EQ(readers.Read(Way::parseMemory, c.document), c.events);
    EXPECT_EQ(readers.Read(Way::readBuffer, c.document), c.model);
    EXPECT_EQ(readers.Read(Way::readWithBlanks, c.document), c.modelWithBlanks);
    EXPECT_EQ(readers.Read(Way::readWithReferences, c.document), c.modelWithReferences);
    for (bool const isPacked : {false, true}) {
      EXPECT_EQ(readers.Read(Way::parseFile, c.document, isPacked), c.events);
      EXPECT_EQ(readers.Read(Way::read2, c.document, isPacked), c.model);
    }
  }
  EXPECT_EQ(readers.Read(Way::readBuffer, Gzip("<a/>")), "malformed");
}

/// Of texts it leaves those after the last child.
TEST(XmlReaders, GiveATreeOfWhatEventsLeave) {
  std::pair<std::string, char const*> const cases[] = {
      {"<a>one<b/>two</a>", "<a><b/>[two]</a>"},
      {"<a>\n <b p='1'/> </a>", "<a><b p='1'/>[ ]</a>"},
      {"<x:a xmlns:x='u' x:p='\xC3\xA9'>1<![CDATA[2]]><?p?>3<!--c--></x:a>",
       "<x:a xmlns:x='u' x:p='\\00e9'>[123]</x:a>"},
      {"<a><b>1</b>2<c>3</d></a>", "<a><b>[1]</b><c/></a>"},
      {"<a/><b/>", "<a/>"},
      {"text", "nothing"}};
  Readers readers;
  for (auto const& [document, tree] : cases) EXPECT_EQ(readers.Read(Way::read, document), tree);
}

TEST(XmlReaders, TakeFilesOfEverySizeCutAndDamagedAnywhere) {
  Readers readers;
  // Around the sizes of the pieces in which files are read, up to documents far larger than the compressed file.
  for (std::size_t const size : {1'023u, 1'024u, 1'025u, 16'384u, 65'535u, 65'536u, 65'537u, 131'072u, 1u << 20}) {
    std::string const elements = Repeated("<e n='#'>text</e>", size / 48);
    std::string const filler(size - 7 - elements.size(), 'x');
    std::string const tree = "<a>" + Repeated("<e n='#'>[text]</e>", size / 48) + "[" + filler + "]</a>";
    for (Way const way : fileWays) {
      for (bool const isPacked : {false, true}) {
        std::string const result = readers.Read(way, "<a>" + elements + filler + "</a>", isPacked);
        EXPECT_TRUE(result == (GivesEvents(way) ? "^" + tree + "$" : tree)) << size << " " << isPacked;
      }
    }
  }

  auto const read = [&](Way way, std::string const& file) {
    return readers.ReadFile(way, readers.folder.Write(std::to_string(file.size()), file).u16string());
  };
  std::string const document = "<a>" + Repeated("<e n='#'>\xC3\xA9</e>", 15) + "</a>";
  std::string const events = "^<a>" + Repeated("<e n='#'>[\xC3\xA9]</e>", 15) + "</a>";
  for (std::string const& file : {document, Gzip(document)}) {
    // What is cut off of the last eight bytes is a checksum that zlib can do without.
    for (std::size_t size = 0; size < file.size() - (file == document ? 0 : 10); ++size) {
      EXPECT_EQ(read(Way::read2, file.substr(0, size)), "malformed") << size;
      std::string const told = read(Way::parseFile, file.substr(0, size));
      // Where a start tag is cut, it may be told of without what is missing.
      EXPECT_TRUE(events.starts_with(told.substr(0, std::min(told.rfind('<'), told.find('$'))))) << told;
    }
  }
  std::string const first = Gzip("<a><b/>");
  std::string const second = Gzip("</a>");
  std::string const withoutSum = first + second.substr(0, second.size() - 8);
  struct {
    std::string file;
    char const* events;
    char const* model;
  } const cases[] = {{first + second + "rest", "^<a><b></b></a>$", "<a><b/></a>"},
                     {withoutSum, "^<a><b></b></a>$", "<a><b/></a>"},
                     {withoutSum + "another!", "^<a><b></b>2004", "2004"},
                     {first + second.substr(0, 10) + "\xFF" + second.substr(11), "^<a><b></b>2004", "2004"},
                     {withoutSum.substr(0, 10) + "\xFF" + withoutSum.substr(11), "2004", "2004"}};
  for (auto const& c : cases) {
    EXPECT_EQ(read(Way::parseFile, c.file), c.events);
    EXPECT_EQ(read(Way::read2, c.file), c.model);
    EXPECT_EQ(read(Way::read, c.file), c.model) << "where no text is lost, the same";
  }
}

TEST(XmlReaders, ReportFilesThatCannotBeRead) {
  Readers readers;
  wstring const locked = readers.folder.Wide("locked");
  ZamXmlOutStream const writer(StorageFile, locked);
  for (Way const way : fileWays) {
    for (wstring const& path : {readers.folder.Wide("missing"), readers.folder.Path().u16string(), wstring(), locked}) {
      EXPECT_EQ(readers.ReadFile(way, path), "2003");
    }
    EXPECT_EQ(readers.ReadFile(way, u"/proc/self/mem"), "2004");
  }
  EXPECT_EQ(FailureId([] { XmlTree{u"missing"}; }), 2003);
  EXPECT_EQ(FailureId([] { XmlSaxParser().ParseFile(u"missing", nullptr); }), 1);
  EXPECT_EQ(FailureId([] { XmlSaxParser().ParseMemory("<a/>", 4, nullptr); }), 1);
}

TEST(XmlReaders, OpenNothingThatADocumentNames) {
  Readers readers;
  std::string const secret = readers.folder.Write("secret", "<!ENTITY e 'stolen'>");
  int const watch = inotify_init1(IN_NONBLOCK);
  ASSERT_GE(inotify_add_watch(watch, secret.c_str(), IN_OPEN), 0);
  char notice[4096];
  std::string const include = "<i:include xmlns:i='http://www.w3.org/2001/XInclude' href='";
  for (std::string const& document : {"<!DOCTYPE a [<!ENTITY e SYSTEM 'file://" + secret + "'>]><a>&e;</a>",
                                      "<!DOCTYPE a PUBLIC 'id' '" + secret + "'><a>&e;</a>",
                                      "<!DOCTYPE a [<!ENTITY % p SYSTEM '" + secret + "'>%p;]><a>&e;</a>",
                                      "<?xml-stylesheet href='" + secret + "'?>" + include + secret + "'/>"}) {
    for (Way const way : everyWay) {
      EXPECT_EQ(readers.Read(way, document).find("stolen"), std::string::npos);
      EXPECT_LT(read(watch, notice, sizeof notice), 0) << document;
    }
  }
  readers.folder.Write("secret", "");
  EXPECT_GT(read(watch, notice, sizeof notice), 0);  // it would have been noticed
  close(watch);
}

TEST(XmlReaders, LeaveTheHostALoaderThatCallsTheOneItFound) {
  Readers readers;
  std::string const file = readers.folder.Write("file", "<a/>");
  readers.Read(Way::readBuffer, "<a/>");
  static xmlExternalEntityLoader found = xmlGetExternalEntityLoader();
  static int calls = 0;
  xmlSetExternalEntityLoader([](char const* url, char const* id, xmlParserCtxt* context) {
    return ++calls > 9 ? nullptr : found(url, id, context);
  });
  for (int loads = 1; loads < 3; ++loads) {
    readers.Read(Way::readBuffer, "<a/>");
    xmlParserCtxt* const context = xmlNewParserCtxt();
    xmlParserInput* const input = xmlLoadExternalEntity(file.c_str(), nullptr, context);
    EXPECT_TRUE(input != nullptr && calls == loads);
    xmlFreeInputStream(input);
    xmlFreeParserCtxt(context);
  }
  xmlSetExternalEntityLoader(found);
}

TEST(XmlReaders, RefuseWhatPassesALimitAndNoDocumentBeforeIt) {
  std::string const entity = "<!DOCTYPE a [<!ENTITY e '!'>]>";
  std::string const big = std::string(100'000, 'x');
  auto const element = [](std::string const& content) { return "<a>" + content + "</a>"; };
  auto const declaring = [&](std::string const& declarations, std::string const& content = "") {
    return "<!DOCTYPE a [" + declarations + "]>" + element(content);
  };
  auto const referring = [&](std::string const& content) { return declaring("<!ENTITY e '" + big + "'>", content); };
  auto const nested = [&](std::size_t times) {
    std::string const inner(90'000, 'x');
    return declaring("<!ENTITY e0 '" + inner + "'><!ENTITY e1 '" + Repeated("&e0;", times) + "'>", "&e1;");
  };
  std::string const comment = "<!ENTITY % e '<!--" + std::string(1'000, 'c') + "-->'>";
  auto const list = [](std::size_t values) { return "<!ATTLIST a p (t" + Repeated("|t#", values) + ") 't'>"; };
  auto const parameter = [&](std::size_t references) {
    return declaring("<!ENTITY e ''><!ENTITY % p ''><!ATTLIST a p CDATA '" + Repeated("&e;", references) + "'>%p;");
  };
  auto const attributes = [&](std::size_t count) {
    return declaring("<!ENTITY e '<b" + Repeated(" p#=\"\"", count) + "/>'>", "&e;");
  };
  auto const declaration = [](std::size_t blanks) {
    return "<?xml version='1.0'" + std::string(blanks, ' ') + "encoding='ASCII'?><a></a>";
  };
  std::string const expansion = "over 1000000 bytes that references in an XML document stand for";
  std::string const listed = "over 10000 listed values in the declarations of an XML document";
  struct {
    std::string limit;
    std::string accepted;
    std::string refused;
    bool isOfInner = false;  // references, which nobody counts where they are kept
  } const cases[] = {
      {"over 65536 bytes of an XML declaration", declaration(65'000), declaration(67'000)},
      {expansion, referring(Repeated("&e;", 8)), referring(Repeated("&e;", 10))},
      {expansion, referring(Repeated("<b p='&e;&e;&e;'/>", 2)), referring(Repeated("<b p='&e;&e;&e;'/>", 4))},
      {expansion, nested(11), nested(12), true},
      {expansion, Chain(40), Chain(41)},
      {expansion, declaring("<!ENTITY e '" + Repeated("<b/>", 1'000) + "'>", Repeated("&e;", 40)),
       declaring("<!ENTITY e '" + Repeated("<b/>", 1'000) + "'>", Repeated("&e;", 44))},
      {expansion, declaring(comment + Repeated("%e;<!---->", 900)), declaring(comment + Repeated("%e;<!---->", 1'000))},
      // Of what is malformed, which libxml2 parses.
      {"over 4096 attributes of an XML element", entity + "<a" + Repeated(" p#=\"'=>\"", 100'000) + "></a>",
       entity + "<a" + Repeated(" p#=''", 100'000) + " p0=''></a>"},
      {"over 4096 attributes of an XML element", attributes(4'096), attributes(4'097)},
      {"over 10000 declared attributes in an XML document", declaring(Repeated("<!ATTLIST a p# CDATA ''>", 10'000)),
       declaring(Repeated("<!ATTLIST a p# CDATA ''>", 10'001))},
      {listed, declaring(list(10'000)), declaring(list(11'000))},
      {listed, declaring("<!ENTITY % l \"" + list(3'000) + "\">%l;"),
       declaring("<!ENTITY % l \"" + list(3'000) + "\">%l;%l;%l;")},
      {"over 500000 bytes of declarations in an XML document",
       "<!DOCTYPE a SYSTEM '" + std::string(490'000, 'y') + "' []><a></a>",
       "<!DOCTYPE a SYSTEM '" + std::string(510'000, 'y') + "' []><a></a>"},
      {"over 50000 names in an XML document", declaring("<!ELEMENT a (b" + Repeated(",b#", 49'900) + ")>"),
       declaring("<!ELEMENT a (b" + Repeated(",b#", 50'001) + ")>")},
      {"over 10000 references in front of a parameter entity", parameter(4'990), parameter(10'010)},
      {"over 50000 markup in an XML document",
       declaring("<!ENTITY e ''><!ELEMENT " + std::string(49'999, 'n') + " ANY>"),
       declaring("<!ENTITY e ''><!ELEMENT " + std::string(50'001, 'n') + " ANY>")},
  };
  Readers readers;
  for (auto const& [limit, accepted, refused, isOfInner] : cases) {
    for (Way const way : {Way::parseFile, Way::read, Way::readBuffer, Way::readWithReferences}) {
      SCOPED_TRACE(refused.substr(0, 100) + " by way " + std::to_string(static_cast<int>(way)));
      std::string const result = readers.Read(way, accepted);
      EXPECT_TRUE(GivesEvents(way) ? result.ends_with("</a>$") : result.starts_with("<a")) << result.substr(0, 100);
      bool const isCounted = !isOfInner || way != Way::readWithReferences;
      EXPECT_TRUE(!isCounted || readers.Read(way, refused, true) == limit) << limit;
    }
  }
  // Prefixes that each element of the model declares by default.
  auto const prefixes = [&](std::size_t elements) {
    return declaring("<!ATTLIST b" + Repeated(" xmlns:p# CDATA 'u'", 500) + ">", Repeated("<b/>", elements));
  };
  EXPECT_EQ(readers.Read(Way::readBuffer, prefixes(100)), element(Repeated("<b/>", 100)));
  EXPECT_EQ(readers.Read(Way::readBuffer, prefixes(101)), expansion);
  // What looks like a limit in a message of libxml2 or in a tag, and is none.
  for (std::string const& malformed :
       {"<a p='Name too long' xml:space='Huge input lookup'><Huge>&huge;</a>"s,
        "<a><!--\xC3\xA4 huge text node, and what else it says"s, "<!DOCTYPE a><!-- value too long -- -- --><a/>"s,
        "<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '<b>&e;</b>'>]><a>&e;</a>"s,
        "<a p='" + std::string(200'000, '=') + "' p=''/>"}) {
    EXPECT_EQ(readers.Read(Way::readBuffer, malformed), "malformed");
  }
}

TEST(XmlReaders, TakeNoMoreOfADocumentThanTheyMay) {
  struct {
    std::string document;
    std::uint64_t least, most;  // of what a tree is worth
  } const cases[] = {{"<a/>" + std::string(20'000, ' '), 20'004, 20'004},
                     {"<a>" + Repeated("<b/>", 1'000) + "</a>", 88'000, 200'000},
                     {"<a>" + Repeated("<b#/>", 1'000) + "</a>", 220'000, 400'000},
                     {"<a p='" + std::string(30'000, 'x') + "'/>", 30'009, 40'000}};
  Readers readers;
  for (auto const& [document, least, most] : cases) {
    for (Way const way : everyWay) {
      std::uint64_t tooFew = 0;
      for (std::uint64_t step = 1 << 20; step > 0; step /= 2) {
        readers.mostBytes = tooFew + step;
        if (readers.Read(way, document, true).starts_with("over")) tooFew += step;
      }
      bool const isText = GivesEvents(way);  // which alone counts
      EXPECT_GE(tooFew + 1, isText ? document.size() : least);
      EXPECT_LE(tooFew + 1, isText ? document.size() : most);
    }
  }
}

/// Also what is made to cost more than in proportion to its size; only that takes as long as no row may.
TEST(XmlReaders, LoseNothingOfDocumentsThatAreLargeInEveryWay) {
  std::string const filler(10'500'000, '.');
  std::string const contents[] = {Repeated("<e#/>", 60'000),
                                  Repeated("<b xml:id='i#'/>", 60'000),
                                  "<b" + Repeated(" p#=''", 5'000) + "/>",
                                  Repeated("<b" + Repeated(" p#=''", 4'000) + "/>", 50),
                                  Repeated("<b xmlns:x#='urn:u'>", 40'000) + Repeated("</b>", 40'000),
                                  "<" + std::string(60'000, 'n') + "/>",
                                  "<b p='" + filler + "'/>",
                                  filler,
                                  "<![CDATA[" + filler + "]]>",
                                  "<?p " + filler + "?>",
                                  "<!--" + filler + "-->"};
  Readers readers;
  for (std::string const& content : contents) {
    SCOPED_TRACE(content.substr(0, 40));
    auto const start = std::chrono::steady_clock::now();
    std::string const document = "<a>" + content + "<end/></a>";
    std::string const parsed = readers.Read(Way::parseFile, document);
    EXPECT_TRUE(parsed.ends_with("<end></end></a>$"));
    EXPECT_TRUE(readers.Read(Way::read, document, true).ends_with("<end/></a>"));
    std::string const model = readers.Read(Way::read2, document);
    EXPECT_TRUE(model.ends_with("<end/></a>") && std::max(parsed.size(), model.size()) >= content.size());
    // Neither a document type nor another encoding makes a difference.
    std::string const type = "<?xml version='1.0' encoding='ISO-8859-1'?><!DOCTYPE a [<!ENTITY e '!'>]>";
    EXPECT_TRUE(readers.Read(Way::parseMemory, type + document) == parsed);
    EXPECT_TRUE(readers.Read(Way::readBuffer, type + document) == model);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
  }
}

}  // namespace
}  // namespace ZaM::test
