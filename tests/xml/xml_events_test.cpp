#include "zam/xml/xml_events.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <string>
#include <utility>

#include "tests/support/temporary_folder.h"
#include "zam/xml/libxml2_events.h"
#include "zam/xml/xml_event_shaper.h"

namespace ZaM::detail::test {
namespace {

/// Notes its events as `<name|localName p|q=v>`, `</name>`, `[text]`, `{cdata}`, `(comment)`, `?target data?`,
/// `&name=…;`.
struct Recorder : XmlEventReceiver {
  void OnStartElement(XmlElement const& element) override {
    log += Flush() + "<" + Name(element.name, element.localName);
    for (auto const& [name, localName, value] : element.attributes) {
      EXPECT_EQ(name.data()[name.size()] + localName.data()[localName.size()] + value.data()[value.size()], 0);
      log += " " + Name(name, localName) + "='" + std::string(value) + "'";
    }
    log += ">";
  }
  void OnEndElement(std::string_view name) override { log += Flush() + "</" + std::string(name) + ">"; }
  void OnCharacters(std::string_view piece) override {
    if (!cdata.empty()) log += Flush();
    text += piece;
  }
  void OnCData(std::string_view piece) override {
    if (!text.empty()) log += Flush();
    cdata += piece;
  }
  void OnComment(std::string_view comment) override { log += Flush() + "(" + std::string(comment) + ")"; }
  void OnProcessingInstruction(std::string_view target, std::string_view data) override {
    log += Flush() + "?" + std::string(target) + " " + std::string(data) + "?";
  }
  void OnEntityReference(std::string_view name, std::string_view content) override {
    log += Flush() + "&" + std::string(name) + "=" + std::string(content) + ";";
  }

  static std::string Name(std::string_view name, std::string_view localName) {
    return std::string(name) + (name == localName ? "" : "|" + std::string(localName));
  }
  std::string Flush() {
    std::string const run = text.empty() ? "" : "[" + std::exchange(text, "") + "]";
    return run + (cdata.empty() ? "" : "{" + std::exchange(cdata, "") + "}");
  }

  std::string log;
  std::string text;
  std::string cdata;
};

constexpr XmlEventOptions plain = {};
constexpr XmlEventOptions withoutBlanks = {.keepsBlanks = false};
constexpr XmlEventOptions model = {.isModel = true};
constexpr XmlEventOptions references = {.substitutesEntities = false, .keepsBlanks = false};

/// A reference to an entity that is `height` entities deep, which libxml2 takes for too many from 38 on.
std::string nestedReferences(int height) {
  std::string declarations = "<!ENTITY e1 '1'>";
  for (int i = 2; i <= height; ++i) {
    declarations += "<!ENTITY e" + std::to_string(i) + " '&e" + std::to_string(i - 1) + ";'>";
  }
  return "<!DOCTYPE a [" + declarations + "]><a>&e" + std::to_string(height) + ";</a>";
}

TEST(XmlEventParser, TellsTheSameWhereverTheInputIsCut) {
  struct {
    std::string document;
    char const* events;
    XmlEventOptions options = plain;
  } const cases[] = {
      {"<!--c--><a><!--d--><?p q?>1<![CDATA[2]]>3</a><?p?>", "<a>(d)?p q?[1]{2}[3]</a>"},
      {"<a>1\r\n2\r3<![CDATA[4\r\n5\r]]><![CDATA[\n6\r\r\n\n7]]></a>", "<a>[1\n2\n3]{4\n5\n\n6\n\n\n7}</a>"},
      {"<a><![CDATA[1\r\n2]]>\r\n</a>", "<a>{1\n2}[\n]</a>"},
      {"<!DOCTYPE a [<!ATTLIST a p NMTOKENS ''><!ATTLIST b p ID #IMPLIED>]><a p=' 1  2 '><b p='\n3&#32;'/></a>",
       "<a p='1 2'><b p='3'></b></a>"},
      {"<!DOCTYPE a [<!ATTLIST a p CDATA #IMPLIED p NMTOKEN '1'>]><a p=' 2 '/>", "<a p=' 2 '></a>"},
      // Namespaces, and defaults of attributes.
      {"<x:a xmlns:x='u' x:p='1'/>", "<x:a xmlns:x='u' x:p='1'></x:a>"},
      {"<x:a p='0' xmlns:x='u' xmlns='v' x:p='1' y:p='2'/>", "<x:a|a p='0' x:p|p='1' y:p='2'></x:a>", model},
      {"<a><x:b xmlns:x='u'><x:b xmlns:x='u'/><x:c/></x:b><x:d xml:p=''/></a>",
       "<a><x:b|b><x:b|b></x:b><x:c|c></x:c></x:b><x:d xml:p|p=''></x:d></a>", model},
      {"<x:a xmlns:x=''/>", "<x:a></x:a>", model},
      {"<!DOCTYPE x:a [<!ATTLIST x:a p CDATA '1' q NMTOKENS ' 2  3 ' xmlns:x CDATA 'u'>]><x:a p='4'/>",
       "<x:a|a p='4'></x:a>", model},
      {"<!DOCTYPE a [<!ATTLIST a p CDATA '1'>]><a/>", "<a></a>"},
      // Blanks.
      {"<a> <b/> </a>", "<a>[ ]<b></b>[ ]</a>"},
      {"<a> <b/> <!--c--> <b> </b> </a>", "<a><b></b>(c)<b>[ ]</b></a>", withoutBlanks},
      {"<a>1 <b/> <b/></a>", "<a>[1 ]<b></b>[ ]<b></b></a>", withoutBlanks},
      {"<a><b/>1<b/> <b/> </a>", "<a><b></b>[1]<b></b><b></b></a>", withoutBlanks},
      {"<a> &#32;<b/> &lt; <b/></a>", "<a>[  ]<b></b>[ < ]<b></b></a>", withoutBlanks},
      {"<a xml:space='preserve'> <b/><c xml:space='default'> <d/></c></a>",
       "<a xml:space='preserve'>[ ]<b></b>"
       "<c xml:space='default'><d></d></c></a>",
       withoutBlanks},
      {"<!DOCTYPE a [<!ELEMENT a (b)><!ELEMENT b (#PCDATA)>]><a> <b> <c/></b></a>", "<a><b>[ ]<c></c></b></a>",
       withoutBlanks},
      // References.
      {"<!DOCTYPE a [<!ENTITY e '1<b/>'><!ENTITY f '2'>]><a p='3&f;4&f;' q='&f;4' r='&amp;&f;'>5&e;&f;&amp;&e;</a>",
       "<a p='3' q='2' r='&'>[5]&e=1<b/>;&f=2;[&]&e=1<b/>;</a>", references},
      {"<!DOCTYPE a [<!ENTITY e '1<b/>'><!ENTITY f '2'>]><a p='3&f;&f;'>5&e;&f;&amp;&e;</a>",
       "<a p='322'>[51]<b></b>[2&1]<b></b></a>"},
      {"<!DOCTYPE a [<!-- ' --><?p ]>?><!ENTITY e '1<b p=\"&f;\"/>&f;]&#13;'><!ENTITY f '2&#10;&#38;lt;&#38;#9;'>]>"
       "<a q='&f;&#0000010;'>&e;></a>",
       "<a q='2 < \n'>[1]<b p='2 < '></b>[2\n<\t]\n>]</a>"},
      {"<!DOCTYPE a [<!ENTITY e ' <b/> 1<c> </c> <d xml:space=\"preserve\"> <c/></d>'>]><a>&e; <b/></a>",
       "<a><b></b>[ 1]<c>[ ]</c>[ ]<d xml:space='preserve'>[ ]<c></c></d>[ ]<b></b></a>"},
      {"<!DOCTYPE a SYSTEM '>' [<!ENTITY e SYSTEM 'x'>]><a p='1&u;'> &u; <b/> &e;<b/></a>",
       "<a p='1'><b></b>[ ]<b></b></a>", withoutBlanks},
      {nestedReferences(40), "<a>[1]</a>"},
      // Encodings.
      {"<?xml version='1.0' encoding='ISO-8859-1'?><!DOCTYPE a [<!ENTITY e '\xE9'>]><a p='\xE9'>&e;</a>",
       "<a p='\xC3\xA9'>[\xC3\xA9]</a>"},
      {"<?xml version='1.0' encoding='GBK'?><a>\xD2\xBB</a>", "<a>[\xE4\xB8\x80]</a>"},
      {std::string("\xFE\xFF\0<\0a\0>\xD8\x3D\xDE\0\0<\0/\0a\0>", 20), "<a>[\xF0\x9F\x98\x80]</a>"},
      {std::string("<\0?\0p\0?\0>\0<\0a\0/\0>\0", 18), "<a></a>"},
  };
  for (auto const& [document, events, options] : cases) {
    std::string_view const bytes = document;
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
      Recorder recorder;
      XmlEventParser parser(recorder, options);
      parser.Feed(bytes.substr(0, cut));
      for (char const& byte : bytes.substr(cut)) parser.Feed({&byte, 1});
      parser.Finish();
      ASSERT_EQ(recorder.log, events) << document << " cut at " << cut;
      EXPECT_TRUE(parser.IsWellFormed());
    }
  }
}

/// What is told up to a fault, but for the text right in front of it.
template <class Parser>
std::string eventsOf(Parser& parser, Recorder& recorder, std::string_view document, std::size_t cut) {
  parser.Feed(document.substr(0, cut));
  parser.Feed(document.substr(cut));
  parser.Finish();
  return recorder.log + (parser.IsWellFormed() ? "" : " malformed");
}

TEST(XmlEventParser, GoesOnWithLibxml2WhereverTheScannerStops) {
  std::string const around = "<?xml version='1.0'?><!--c--><x:a xmlns:x='u'> <b> 1&#13;<c p='&lt;' q='2'/>";
  std::string const documents[] = {
      "<a>]]></a>",
      "<a>1</a><b/>",
      "<!--c--><!DOCTYPE a [<!ENTITY e '1<b/>'>]><a>&e;<c p='&e;'/></a>",
      "<!DOCTYPE a [<!ENTITY e '1<b/>&f;'><!ENTITY f '&e;'>]><a>&e;</a>",
      "<!DOCTYPE a [<!ENTITY e '1</a>'>]><a>0&e;</a>",
      "<!DOCTYPE a [<!ENTITY e '&#38;'>]><a>0&e;</a>",
      "<!DOCTYPE a [<!ENTITY e SYSTEM 'x'>]><a>&e;<b p='&e;'/></a>",
      "<!DOCTYPE a [<!ENTITY e '1'>]><a>&e;<b></a>",
      "<!DOCTYPE a SYSTEM 'x' [<!ENTITY e '1&u;'>]><a>&u;<b p='&e;'/>&e;</a>",
      "<?xml version='1.0' standalone='yes'?><!DOCTYPE a SYSTEM 'x'><a>&u;</a>",
      "<!DOCTYPE a [<!ENTITY e>]><a/>",
      "<!DOCTYPE a><!DOCTYPE a><a/>",
      "\xEF\xBB\xBF<!DOCTYPE a><a>\xC3\xA9</b>",
      "<?xml version='2.0'?><a/>",
      "<!--c--><?xml version='1.0'?><a/>",
      "<?p?><a>1</b>",
      "<a p='1' q='2' p='3'/>",
      "<a p1='' p2='' p3='' p4='' p5='' p6='' p7='' p8='' p9='' p10='' p11='' p12='' p1=''/>",
      "<a p=''q=''/>",
      "<a p='<'/>",
      "<a><!--1--2--></a>",
      "<a><?xml 1?></a>",
      "<a><?p1?2?><?p\x01?></a>",
      "<a><![CDATA[1\x01]]></a>",
      "<a>1<![CDATA[2]]>",
      "<a>&#0;</a>",
      "<a>&#xD800;</a>",
      "<a p='&#x110000;'/>",
      "<a>\xC0\x80</a>",
      "<a>\xED\xA0\x80</a>",
      "<a>\xEF\xBF\xBE</a>",
      "<a>\xF4\x90\x80\x80</a>",
      "<a p='\xC3'/>",
      "<\xC3\x97/>",
      "<a\xC2\xB7/><a/>",
      "<\xC2\xB7/>",
      "<1/>",
      "<a",
      "",
      " <a/>",
      around + "</b><d:e>&e;</d:e></x:a>",
      around + " </b> </x:a>\n<c/>",
      around + "\r\n<![CDATA[3\r\n]]>\r</b></x:b>"};
  for (std::string const& document : documents) {
    for (XmlEventOptions const options : {plain, withoutBlanks, model}) {
      for (std::size_t cut = 0; cut <= document.size(); ++cut) {
        Recorder expected;
        XmlEventShaper shaper(expected, options);
        Libxml2Events libxml2(shaper, {});
        Recorder recorder;
        XmlEventParser parser(recorder, options);
        ASSERT_EQ(eventsOf(parser, recorder, document, cut), eventsOf(libxml2, expected, document, cut))
            << document << " cut at " << cut;
      }
    }
  }
}

xmlExternalEntityLoader found = nullptr;
int calls = 0;

xmlParserInput* loadAsFound(char const* url, char const* id, xmlParserCtxt* context) {
  return ++calls > 9 ? nullptr : found(url, id, context);
}

TEST(XmlEventParser, LeavesTheHostALoaderThatCallsTheOneItFound) {
  auto const parse = [] {
    Recorder recorder;
    XmlEventParser parser(recorder, {});
    parser.Feed("<a/>");
    parser.Finish();
  };
  ZaM::test::TemporaryFolder const folder;
  std::string const file = folder.Write("file", "<a/>");
  parse();
  found = xmlGetExternalEntityLoader();
  xmlSetExternalEntityLoader(&loadAsFound);
  for (int loads = 1; loads < 3; ++loads) {
    parse();
    xmlParserCtxt* const context = xmlNewParserCtxt();
    xmlParserInput* const input = xmlLoadExternalEntity(file.c_str(), nullptr, context);
    EXPECT_NE(input, nullptr);
    EXPECT_EQ(calls, loads);
    xmlFreeInputStream(input);
    xmlFreeParserCtxt(context);
  }
  xmlSetExternalEntityLoader(found);
}

}  // namespace
}  // namespace ZaM::detail::test
