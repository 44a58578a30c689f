// The tool that makes satellites from translation files, run as the build runs it.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/temporary_folder.h"
#include "zam/foundation/satellite_file.h"
#include "zam/platform/files.h"

namespace ZaM {
namespace {

using detail::TextMap;

class CompileTextsTest : public testing::Test {
 protected:
  /// Compiles a file of these contents, with the options before it.
  test::ProcessResult Compile(std::string const& bytes, std::vector<std::string> words = {}) const {
    words.insert(words.begin(), ZAM_TEST_COMPILE_TEXTS);
    words.push_back(folder.Write("in.po", bytes).string());
    words.push_back(output.string());
    return test::RunProcess(words);
  }

  std::optional<TextMap> Compiled() const {
    return detail::DecodeSatellite(platform::ReadFile(output.u16string(), detail::satelliteLimit).value_or(""));
  }

  test::TemporaryFolder const folder;
  std::filesystem::path const output = folder.Path() / "out.lng";
};

TEST_F(CompileTextsTest, TakesTheFormThatEditorsWrite) {
  auto const result = Compile(
      "msgid \"\"\r\nmsgstr \"\"\r\n\"Content-Type: text/plain; charset=UTF-8\\n\"\r\n\r\n"
      R"(#. for the translator
  msgctxt "505"
msgid "Out "
    "of memory"
msgstr ""
"\"Speicher\" "
"füllt\tsich\\"
#, c-format, fuzzy
msgctxt "601"
msgid "Unknown XML error."
msgstr "Geraten"

msgctxt "603"
msgid "File is already opened."
msgstr ""
#~ msgctxt "1"
msgctxt "131"
msgid "ZaM exception number %ld"
msgstr "Nummer %5i, 100%%")");
  EXPECT_EQ(result.exitCode, 0) << result.output;
  EXPECT_EQ(Compiled(), (TextMap{{505, u"\"Speicher\" f\u00FCllt\tsich\\"}, {131, u"Nummer %5i, 100%%"}}));
}

TEST_F(CompileTextsTest, RefusesWhatWouldGoWrongLater) {
  auto const entry = [](std::string const& id, std::string const& source, std::string const& translation) {
    return "msgctxt \"" + id + "\"\nmsgid \"" + source + "\"\nmsgstr \"" + translation + "\"\n";
  };
  std::string const sound = entry("505", "Out of memory", "Speicher");
  std::string const second = sound + "msgctxt \"601\"\n";
  auto const read = [&](std::string const& translation) {
    return entry("402", "Could not read file: %s", translation);
  };
  std::pair<std::string, std::string> const cases[] = {
      {entry("999", "x", "y"), ":1: text 999: there is no built-in text"},
      {sound + "\n" + sound, ":5: text 505: stands already in line 1"},
      {entry("505", "Out of memory", "") + sound, ":4: text 505: stands already in line 1"},
      {entry("505", "Out of Memory", "Speicher"), ":1: text 505: its msgid isn't the built-in text"},
      {entry("0x65", "x", "y"), ":1: text 0x65: its msgctxt must be the number"},
      {entry("4294967801", "Out of memory", "y"), ": its msgctxt must be the number"},  // 505 modulo 2^32
      {"msgid \"x\"\nmsgstr \"y\"\n", ":1: its msgctxt must be the number"},

      // Placeholders that differ in number, kind or order.
      {read("Datei"), ":1: text 402: its placeholders differ"},
      {read("%s %s"), ":1: text 402: its placeholders differ"},
      {read("zu 100% %s"), ":1: text 402: its placeholders differ"},
      {entry("509", "Error in %s, Function %s: %s (0x%x)", "%x %s %s %s"), ":1: text 509: its placeholders differ"},
      {entry("505", "Out of memory", "voll zu 100%"), ":1: text 505: its placeholders differ"},
      {entry("998", "", "") + entry("999", "", ""), ":4: text 999: there is no"},  // every fault at once

      // Files that aren't PO.
      {second + "msgid \"Unknown XML error.\n", ":5: text 601: a string without its closing quote"},
      {second + "msgid \"a\" b\n", ":5: text 601: text behind a string"},
      {second + "msgid \"\\q\"\n", ":5: text 601: unknown escape \"\\q\""},
      {second + "msgid_plural \"a\"\n", ":5: text 601: unknown keyword \"msgid_plural\""},
      {second + "msgstr \"a\"\n", ":5: text 601: msgstr without a msgid"},
      {second + "msgid \"a\"\n", ": text 601: an entry without its msgstr"},
      {second + "msgid \"Gr\xFC\"\n", ":5: text 601: not UTF-8"},
      {second + std::string("msgid \"\0\"\n", 10), ":5: text 601: a string with a zero"},
      {sound + "\n\"lost\"\n", ":5: a string without a keyword"},
  };
  for (auto const& [bytes, error] : cases) {
    auto const result = Compile(bytes);
    EXPECT_EQ(result.exitCode, 1) << bytes;
    EXPECT_NE(result.output.find((folder.Path() / "in.po").string() + ":"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(error), std::string::npos) << error << "\n" << result.output;
    EXPECT_FALSE(std::filesystem::exists(output)) << bytes;
  }
}

TEST_F(CompileTextsTest, TakesAProgramsOwnTexts) {
  std::string const texts = folder.Write("texts.po", "msgctxt \"7\"\nmsgid \"Sorting %s\"\nmsgstr \"\"\n").string();
  auto const result = Compile("msgctxt \"7\"\nmsgid \"Sorting %s\"\nmsgstr \"%s wird sortiert\"\n", {"--texts", texts});
  EXPECT_EQ(result.exitCode, 0) << result.output;
  EXPECT_EQ(Compiled(), (TextMap{{7, u"%s wird sortiert"}}));
  EXPECT_EQ(Compile("msgctxt \"505\"\nmsgid \"Out of memory\"\nmsgstr \"x\"\n", {"--texts", texts}).exitCode, 1);
}

TEST_F(CompileTextsTest, PrintsATemplateThatItTakes) {
  auto const printed = test::RunProcess({ZAM_TEST_COMPILE_TEXTS, "--template"});
  EXPECT_NE(printed.output.find("msgctxt \"104\"\nmsgid \"This file was saved by a newer version of the \\\"%s\\\" "
                                "classifier.\"\nmsgstr \"\"\n"),
            std::string::npos);
  EXPECT_EQ(Compile(printed.output).exitCode, 0);
  EXPECT_EQ(Compiled(), TextMap{});
}

TEST_F(CompileTextsTest, SaysWhatItCannotReadOrWrite) {
  std::string const tool = ZAM_TEST_COMPILE_TEXTS, here = folder.Path(), in = folder.Write("in.po", ""),
                    itself = folder.Write("de.po", "");
  struct {
    std::vector<std::string> words;
    int exitCode;
    std::string output;  // a part of it
  } const cases[] = {
      {{tool, here, output}, 1, here + ": can't be read\n"},
      {{tool, in, here}, 1, here + ": can't be written\n"},
      {{tool, itself, itself}, 1, ""},
      {{"/bin/sh", "-c", tool + " --template > /dev/full"}, 1, ""},
      {{tool}, 2, ""},
      {{tool, "--help"}, 0, "zam_compile_texts "},
      {{tool, "--version"}, 0, "zam_compile_texts "},
  };
  for (auto const& [words, exitCode, part] : cases) {
    auto const result = test::RunProcess(words);
    EXPECT_EQ(result.exitCode, exitCode) << result.output;
    EXPECT_NE(result.output.find(part), std::string::npos) << result.output;
  }
  EXPECT_TRUE(std::filesystem::exists(itself));
}

}  // namespace
}  // namespace ZaM
