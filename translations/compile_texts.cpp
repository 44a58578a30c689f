// Turns a translation file into the satellite that ResMgr loads, or says what is wrong with it.
#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "translations/check_texts.h"
#include "translations/po_file.h"
#include "zam/foundation/messages.h"
#include "zam/foundation/satellite_file.h"
#include "zam/platform/unicode.h"

namespace {

using ZaM::detail::TextMap;
using ZaM::translations::CheckedTexts;
using ZaM::translations::PoEntry;
using ZaM::translations::PoError;

constexpr std::string_view usage = R"(Usage:
  zam_compile_texts [--texts TEXTS.po] INPUT.po OUTPUT.lng
      Turns the translations of INPUT.po into a language satellite. The msgctxt of
      each entry is the number of a text, and its msgid the built-in text: the
      library's own, or with --texts that of TEXTS.po, a file of the same form
      whose msgstr don't count.
  zam_compile_texts --template
      Prints a translation file for the library's texts, without translations.
)";

/// Ends the program with the errors, as compilers print them.
struct Refused : std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::string Describe(std::string const& file, PoError const& error) {
  std::string const text = error.context.empty() ? "" : "text " + error.context + ": ";
  return file + ":" + std::to_string(error.line) + ": " + text + error.message + "\n";
}

std::vector<PoEntry> ReadPo(std::string const& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream bytes;
  if (stream.peek() != EOF) bytes << stream.rdbuf();
  if (!stream.is_open() || stream.bad() || !bytes) throw Refused(file + ": can't be read\n");
  try {
    return ZaM::translations::ParsePo(bytes.view());
  } catch (PoError const& error) {
    throw Refused(Describe(file, error));
  }
}

TextMap Accept(std::string const& file, CheckedTexts checked) {
  std::string errors;
  for (PoError const& error : checked.errors) errors += Describe(file, error);
  if (!errors.empty()) throw Refused(errors);
  return std::move(checked.texts);
}

TextMap LibraryTexts() {
  TextMap texts;
  for (auto const& [id, text] : ZaM::detail::BuiltInTexts()) texts.emplace(id, text);
  return texts;
}

// Into a file beside it first: neither a failure nor a device of that name loses what was there.
void Write(std::string const& file, std::string const& bytes) {
  if (bytes.size() > ZaM::detail::satelliteLimit) throw Refused(file + ": would be too large for a satellite\n");
  std::string const unfinished = file + ".tmp";
  std::ofstream stream(unfinished, std::ios::binary);
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  stream.close();
  std::error_code failure;
  if (stream) std::filesystem::rename(unfinished, file, failure);
  if (stream && !failure) return;
  std::filesystem::remove(unfinished, failure);
  throw Refused(file + ": can't be written\n");
}

void Compile(TextMap const& builtIn, std::string const& input, std::string const& output) {
  std::error_code different;
  if (std::filesystem::equivalent(input, output, different)) throw Refused(output + ": is the translation itself\n");
  TextMap const texts = Accept(input, ZaM::translations::Translations(ReadPo(input), builtIn));
  Write(output, ZaM::detail::EncodeSatellite(texts));
}

void PrintTemplate() {
  std::cout << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n";
  for (auto const& [id, text] : LibraryTexts()) {
    std::cout << "\nmsgctxt \"" << id << "\"\nmsgid \""
              << ZaM::translations::EscapePo(ZaM::platform::Utf8FromUtf16(text)) << "\"\nmsgstr \"\"\n";
  }
  if (!std::cout.flush()) throw Refused("the template can't be written\n");
}

int Run(std::vector<std::string> const& arguments) {
  if (arguments.size() == 1 && arguments[0] == "--template") {
    PrintTemplate();
  } else if (arguments.size() == 1 && arguments[0] == "--help") {
    std::cout << usage;
  } else if (arguments.size() == 1 && arguments[0] == "--version") {
    std::cout << "zam_compile_texts " ZAM_VERSION "\n";
  } else if (arguments.size() == 2) {
    Compile(LibraryTexts(), arguments[0], arguments[1]);
  } else if (arguments.size() == 4 && arguments[0] == "--texts") {
    std::string const& texts = arguments[1];
    Compile(Accept(texts, ZaM::translations::SourceTexts(ReadPo(texts))), arguments[2], arguments[3]);
  } else {
    std::cerr << usage;
    return 2;
  }
  return 0;
}

}  // namespace

int main(int count, char** values) {
  try {
    return Run(std::vector<std::string>(values + std::min(count, 1), values + count));
  } catch (std::exception const& error) {
    std::cerr << error.what();
    return 1;
  }
}
