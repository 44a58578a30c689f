// Result files from hostile hands, through the callback stack: each `Result` in a document reads itself, as a list and
// as slots, what was read survives being written, and the example's reader takes a file or says why not.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "fuzz/require.h"
#include "result_reader.h"
#include "run_error.h"

namespace {

using ZaM::FullResult;
using ZaM::Ref;
using ZaM::SparseResult;
using ZaM::XmlSaxParser;

template <class ResultClass>
std::string Written(ResultClass& result) {
  ZaM::ZamXmlOutStream stream(ZaM::StorageMemory);
  result.ZaM::Result::Save("Result", &stream);
  stream.Close();
  return stream.getXmlString();
}

/// Hands each element `Result` over to a result, at whatever depth, and tells `atEnd` of it.
template <class ResultClass, class AtEnd>
class Reader : public ZaM::XmlSaxCallback {
 public:
  explicit Reader(AtEnd function) : atEnd(function) {}

  void OnStartElement(XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override {
    Finish();
    if (std::string_view(reinterpret_cast<char const*>(name)) != "Result") return parser->PushCallback(this);
    result = Ref(ResultClass::Create());
    result->InitializeProperties(parser, attributes);
    parser->PushCallback(result.Get());
  }
  void OnEndElement(XmlSaxParser* /*parser*/, unsigned char const* /*name*/) override { Finish(); }
  void OnEndDocument(XmlSaxParser* /*parser*/) override { Finish(); }

 private:
  void Finish() {
    if (auto const read = std::exchange(result, nullptr)) atEnd(*read);
  }

  AtEnd atEnd;
  Ref<ResultClass> result;
};

template <class ResultClass, class AtEnd>
void Read(std::string_view document, AtEnd atEnd) {
  Reader<ResultClass, AtEnd> reader(atEnd);
  try {
    XmlSaxParser().ParseMemory(document.data(), static_cast<unsigned int>(document.size()), &reader);
  } catch (ZaM::LimitExceededException const&) {
  } catch (ZaM::OutOfBoundsException const&) {
  }
}

/// Values keep six digits: what they round to 0 goes with the second writing, and its part of the count with the
/// third. After that nothing changes.
template <class ResultClass>
void SurvivesBeingWritten(std::string_view document) {
  Read<ResultClass>(document, [](ResultClass& read) {
    std::string text = Written(read);
    for (int round = 0; round < 3; ++round) {
      std::string next;
      Read<ResultClass>(text, [&](ResultClass& again) { next = Written(again); });
      Require(!next.empty() && (round < 2 || next == text));
      text = std::move(next);
    }
  });
}

void ReadByTheExample(std::string_view document) {
  classify::Progress progress(false);
  classify::ResultReader reader("it", progress);
  try {
    XmlSaxParser().ParseMemory(document.data(), static_cast<unsigned int>(document.size()), &reader);
    classify::Findings const findings = reader.Take();
    for (auto const& tested : findings.Tested()) {
      Require(tested.classId > 0 && tested.classId <= findings.ClassCount());
      for (auto const& entry : tested.Result().GetResults()) Require(entry.GetIndex() <= findings.ClassCount());
    }
  } catch (classify::RunError const& error) {
    Require(!error.message.empty());
  } catch (ZaM::LimitExceededException const&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string_view const document(reinterpret_cast<char const*>(data), size);
  SurvivesBeingWritten<SparseResult>(document);
  SurvivesBeingWritten<FullResult>(document);
  ReadByTheExample(document);
  return 0;
}
