#include "help_page.h"

#include <gtest/gtest.h>

#include "utf8.h"

namespace classify {
namespace {

std::string TextOf(std::string const& page) {
  std::optional<std::u16string> const text = HelpPageText(page);
  return text ? ZaM::ToUtf8(*text) : "(none)";
}

TEST(HelpPage, GivesWhatAReaderSees) {
  struct {
    char const* page;
    char const* text;
  } const cases[] = {
      {"<page/>", "\n\n"},
      {"<page><title>A</title><p>one <em>t</em>wo</p></page>", "\n\nA\n\none two\n\n"},
      {"<page>a<info>b<credit>X<name>Y</name>Z</credit>c<m:license>X</m:license></info>d<revision v='1'/>e</page>",
       "\na\nbc\nde\n"},
      {"<m:page xmlns:m='u'><m:p>a<m:gui>b</m:gui></m:p></m:page>", "\n\nab\n\n"},
      {"<page>a<!-- X -->b<?pi X?>c<![CDATA[<d>]]>&#x20AC;&amp;</page>", "\nabc<d>\xE2\x82\xAC&\n"},
      {"<!DOCTYPE page [<!ENTITY e 'in<em>s</em>ide'>]><page>&e;</page>", "\ninside\n"},
      {"<?xml version='1.0' encoding='ISO-8859-1'?><page>\xE9</page>", "\n\xC3\xA9\n"},
      {"", "(none)"},
      {"text", "(none)"},
      {"<page><p>cut", "(none)"},
      {"<page><p>crossed</page></p>", "(none)"},
      {"<page>\xFF</page>", "(none)"},
  };
  for (auto const& [page, text] : cases) EXPECT_EQ(TextOf(page), text) << page;
}

}  // namespace
}  // namespace classify
