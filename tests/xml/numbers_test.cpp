// Numbers in documents, by all that write and read them.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>

#include "tests/support/xml_text.h"
#include "zam/zam.h"

namespace ZaM::test {
namespace {

TEST(XmlNumbers, AreReadFromEventsAttributesAndElements) {
  std::string const zeros(400, '0');
  struct {
    std::string text;
    std::int32_t asLong;
    unsigned int asSizet;
    std::int64_t asTimet;
    double asDouble;
    bool isNumber = true;
  } const cases[] = {
      {"", 7, 7, 7, 7},
      {"abc", 7, 7, 7, 7, false},
      {"- 1", 7, 7, 7, 7, false},
      {"inf", 7, 7, 7, 7, false},
      {" \t\n\v\f\r12abc", 12, 12, 12, 12},
      {"\x0E 1", 7, 7, 7, 7, false},
      {"1\xC4\xB2", 1, 1, 1, 1},  // a character whose code ends as that of a digit
      {"-1.5", -1, UINT32_MAX, -1, -1.5},
      {"+1.5e2", 1, 1, 1, 150},
      {".5", 7, 7, 7, 0.5, false},
      {"-2147483648", INT32_MIN, 2147483648, -2147483648, -2147483648.0},
      {"-2147483649", INT32_MIN, 2147483647, -2147483649, -2147483649.0},
      {"2147483648", INT32_MAX, 2147483648, 2147483648, 2147483648.0},
      {"18446744073709551615", INT32_MAX, UINT32_MAX, -1, 18446744073709551616.0},
      {"-18446744073709551616", INT32_MIN, UINT32_MAX, -1, -18446744073709551616.0},
      {"1e999", 1, 1, 1, HUGE_VAL},
      {"-1e-999", -1, UINT32_MAX, -1, -0.0},
      {"0." + zeros + "1e9", 0, 0, 0, 0},
      {"1" + zeros + "e-9", INT32_MAX, UINT32_MAX, -1, HUGE_VAL},
  };
  auto const isSame = [](double a, double b) { return a == b && std::signbit(a) == std::signbit(b); };
  XmlSaxParser parser;
  for (auto const& c : cases) {
    SCOPED_TRACE(c.text.substr(0, 30));
    auto const* const bytes = reinterpret_cast<unsigned char const*>(c.text.c_str());
    EXPECT_EQ(parser.GetLongValue(bytes, 7), c.isNumber ? c.asLong : 0);
    EXPECT_EQ(parser.GetSizetValue(bytes, 7), c.asSizet);
    EXPECT_EQ(parser.GetTimetValue(bytes, 7), c.asTimet);
    EXPECT_TRUE(isSame(parser.GetDoubleValue(bytes, 7), c.asDouble));
    wstring text;
    parser.ConvertString(bytes, static_cast<int>(c.text.size()), text);
    Ref<XmlNode> const node(XmlNode::Create(u"node"));
    node->AddProperty(u"a", text);
    node->AddSubNodeText(u"a", text);
    EXPECT_EQ(node->GetPropertyLong(u"a", 7), c.asLong);
    EXPECT_EQ(node->GetSubNodeLong(u"a", 7), c.asLong);
    EXPECT_EQ(node->GetPropertySizet(u"a", 7), c.asSizet);
    EXPECT_EQ(node->GetSubNodeSizet(u"a", 7), c.asSizet);
    EXPECT_EQ(node->GetPropertyTimet(u"a", 7), c.asTimet);
    EXPECT_TRUE(isSame(node->GetPropertyDouble(u"a", 7), c.asDouble));
    EXPECT_TRUE(isSame(node->GetSubNodeDouble(u"a", 7), c.asDouble));
    for (bool const byDefault : {false, true}) {  // looks at the first unit only
      bool const expected = c.text.starts_with('1') || (byDefault && !c.text.starts_with('0'));
      EXPECT_EQ(parser.GetBoolValue(bytes, byDefault), expected);
      EXPECT_EQ(node->GetPropertyBool(u"a", byDefault), expected);
      EXPECT_EQ(node->GetSubNodeBool(u"a", byDefault), expected);
    }
  }
  EXPECT_EQ(parser.GetLongValue(nullptr, 7), 7);
  EXPECT_EQ(Ref<XmlNode>(XmlNode::Create(u"node"))->GetSubNodeLong(u"none", 7), 7);
}

TEST(XmlNumbers, AreWrittenInOneFormByNodes) {
  Ref<XmlNode> const node(XmlNode::Create(u"node"));
  node->AddPropertyDouble(u"huge", 1e40);
  node->AddPropertyDouble(u"full", -1e24);  // with a digit more than fits
  node->AddPropertyDouble(u"tiny", -5e-324);
  node->AddPropertyTimet(u"never", -1);
  node->AddPropertySizet(u"size", 4294967295u);
  node->AddPropertyLong(u"long", INT32_MIN);
  node->AddPropertyBool(u"true", true);
  node->AddSubNodeDouble(u"double", -12);
  node->AddSubNodeBool(u"false", false);
  node->AddSubNodeSizet(u"size", 0);
  node->AddSubNodeLong(u"long", INT32_MAX);
  EXPECT_EQ(Describe(node.Get()),
            "<node huge='1000000000000000030378602842700' full='-999999999999999983222784.00000' tiny='-0.000000' "
            "never='18446744073709551615' "
            "size='4294967295' long='-2147483648' true='1'><double>[-12.000000]</double><false>[0]</false>"
            "<size>[0]</size><long>[2147483647]</long></node>");
}

enum Plain { plainValue = 7 };
enum class Letter : char { value = 'a' };
enum class Wide : std::uint64_t { value = 1ULL << 63 };

template <class Value>
std::string Attribute(Value const& value) {
  ZamXmlOutStream stream;
  stream.CreateNode("a");
  stream.AddProperty("x", value);
  return stream.getXmlString().substr(6);  // after `<a x="`
}

TEST(XmlNumbers, AreTakenByStreamsForWhatTheyAre) {
  std::pair<std::string, std::string> const cases[] = {
      // what would turn into a bool
      {Attribute(u"text"), "text\""},
      {Attribute("n\xC3\xA4rrow"), "n\xC3\xA4rrow\""},
      {Attribute(const_cast<wchar*>(u"p")), "p\""},
      {Attribute(static_cast<char const*>(nullptr)), "\""},
      {Attribute(u'\u20AC'), "\xE2\x82\xAC\""},
      // the given kinds
      {Attribute(true), "1\""},
      {Attribute(false), "0\""},
      {Attribute(INT32_MIN), "-2147483648\""},
      {Attribute(INT64_MIN), "-9223372036854775808\""},
      {Attribute(-1e-9), "-0.000000\""},
      {std::to_string(Attribute(1e300).size()), "256"},  // with the quote
      // all others
      {Attribute(SIZE_MAX), "18446744073709551615\""},
      {Attribute(static_cast<short>(-8)), "-8\""},
      {Attribute(0.25F), "0.250000\""},
      {Attribute(plainValue), "7\""},
      {Attribute(Letter::value), "97\""},
      {Attribute(Wide::value), "9223372036854775808\""},
  };
  for (auto const& [actual, expected] : cases) EXPECT_EQ(actual, expected);
}

}  // namespace
}  // namespace ZaM::test
