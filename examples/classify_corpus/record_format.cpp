#include "record_format.h"

#include <zam/zam.h>

#include <array>
#include <optional>

#include "number_text.h"
#include "result_form.h"

namespace classify {

namespace {

constexpr int digits = 6;
constexpr std::array columns{"path", "class", "confidence", "second", "second_confidence", "rejected"};

// In quotes where a reader would take it for something else.
std::string CsvField(std::string const& text) {
  if (text.find_first_of(",\"") == std::string::npos) return text;
  std::string quoted = "\"";
  for (char const character : text) quoted += character == '"' ? "\"\"" : std::string(1, character);
  return quoted + '"';
}

// Of printable text, which has no control characters.
std::string JsonString(std::string const& text) {
  std::string quoted = "\"";
  for (char const character : text) {
    if (character == '"' || character == '\\') quoted += '\\';
    quoted += character;
  }
  return quoted + '"';
}

// An XML document's text without its declaration.
template <class Fill>
std::string Element(Fill fill) {
  ZaM::ZamXmlOutStream stream;
  fill(stream);
  stream.Close();
  return stream.getXmlString();
}

}  // namespace

std::string RecordFormat::Opening() const {
  if (options.format == OutputFormat::Xml) {
    std::string text = "<?xml version=\"1.0\"?>\n<" + std::string(form::classified) + " " + form::versionNumber +
                       "=\"" + std::to_string(form::version) + "\">\n";
    for (ClassModel const* model : classes.models)
      text += Element([&](ZaM::ZamXmlOutStream& stream) {
                stream.CreateNode(form::classElement);
                stream.AddProperty(form::id, model->GetClassId());
                stream.AddProperty(form::name, ZaM::FromUtf8(classes.names[model->GetClassId()]));
                stream.CloseNode(form::classElement);
              }) +
              '\n';
    return text;
  }
  if (!options.header || options.format == OutputFormat::Json) return "";
  std::string line;
  for (char const* column : columns)
    line += std::string(line.empty() ? "" : options.format == OutputFormat::Csv ? "," : "\t") + column;
  return line + '\n';
}

std::string RecordFormat::Closing() const {
  return options.format == OutputFormat::Xml ? "</" + std::string(form::classified) + ">\n" : "";
}

std::string RecordFormat::Record(std::string const& path, ZaM::SparseResult* result) const {
  std::optional<Decision> decided;
  if (result) decided.emplace(*result, options);
  Decision const* const decision = decided ? &*decided : nullptr;
  std::string const record = options.format == OutputFormat::Xml    ? Xml(path, decision, result)
                             : options.format == OutputFormat::Json ? Json(path, decision)
                                                                    : Fields(path, decision);
  return record + '\n';
}

std::string RecordFormat::Fields(std::string const& path, Decision const* decision) const {
  bool const isCsv = options.format == OutputFormat::Csv;
  std::string line;
  auto const add = [&](std::string const& text) { line += (isCsv ? "," : "\t") + (isCsv ? CsvField(text) : text); };
  auto const addClass = [&](unsigned int id, float confidence) {
    add(id == 0 ? "" : classes.names[id]);
    add(id == 0 ? "" : Fixed(confidence, digits));
  };
  addClass(decision ? decision->classId : 0, decision ? decision->confidence : 0);
  addClass(decision ? decision->secondId : 0, decision ? decision->secondConfidence : 0);
  add(!decision || decision->isRejected ? "1" : "0");
  return (isCsv ? CsvField(path) : path) + line;
}

std::string RecordFormat::Json(std::string const& path, Decision const* decision) const {
  auto const classOf = [&](unsigned int id, float confidence, std::string const& prefix) {
    return ",\"" + (prefix.empty() ? "class" : prefix) + "\":" + (id == 0 ? "null" : JsonString(classes.names[id])) +
           ",\"" + (prefix.empty() ? "" : prefix + "_") +
           "confidence\":" + (id == 0 ? "null" : Fixed(confidence, digits));
  };
  return "{\"path\":" + JsonString(path) +
         classOf(decision ? decision->classId : 0, decision ? decision->confidence : 0, "") +
         classOf(decision ? decision->secondId : 0, decision ? decision->secondConfidence : 0, "second") +
         ",\"rejected\":" + (!decision || decision->isRejected ? "true" : "false") + "}";
}

std::string RecordFormat::Xml(std::string const& path, Decision const* decision, ZaM::SparseResult* result) const {
  return Element([&](ZaM::ZamXmlOutStream& stream) {
    stream.CreateNode(form::document);
    stream.AddProperty(form::path, ZaM::FromUtf8(path));
    if (decision && decision->classId != 0)
      stream.AddProperty(form::className, ZaM::FromUtf8(classes.names[decision->classId]));
    if (decision && decision->secondId != 0)
      stream.AddProperty(form::second, ZaM::FromUtf8(classes.names[decision->secondId]));
    stream.AddProperty(form::rejected, !decision || decision->isRejected);
    if (result) result->Save(form::result, &stream);
    stream.CloseNode(form::document);
  });
}

}  // namespace classify
