// Results as an XML document, and back; and what a failure says to a German user.
#include <zam/zam.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::string Write(std::vector<ZaM::Ref<ZaM::SparseResult>> const& results) {
  ZaM::ZamXmlOutStream stream(ZaM::StorageMemory);
  stream.CreateNode("Letters");
  for (std::size_t i = 0; i < results.size(); ++i) {
    stream.CreateNode("Letter");
    stream.AddProperty("Number", i + 1);
    stream.AddProperty("Sender", u"Müller & Söhne");
    results[i]->Save("Result", &stream);
    stream.CloseNode("Letter");
  }
  stream.CloseNode("Letters");
  stream.Close();
  return stream.getXmlString();
}

// Takes part in the parse, and has each result read itself.
class Reader : public ZaM::XmlSaxCallback {
 public:
  void OnStartElement(ZaM::XmlSaxParser* parser, unsigned char const* name, unsigned char const** attributes) override {
    if (std::string_view(reinterpret_cast<char const*>(name)) != "Result") return parser->PushCallback(this);
    results.emplace_back(ZaM::SparseResult::Create());
    results.back()->InitializeProperties(parser, attributes);
    parser->PushCallback(results.back().Get());
  }
  void OnEndElement(ZaM::XmlSaxParser* /*parser*/, unsigned char const* /*name*/) override {}

  std::vector<ZaM::Ref<ZaM::SparseResult>> results;
};

}  // namespace

int main() {
  ZaM::DescribeUncaught();
  ZaM::Ref result(ZaM::SparseResult::Create());
  result->SetResultItem(3, 0.875F, ZaM::ResultTypeScored);
  result->SetResultItem(7, 0.25F, ZaM::ResultTypeScored);
  std::string const document = Write({result});
  std::puts(document.c_str());

  Reader reader;
  ZaM::XmlSaxParser().ParseMemory(document.data(), static_cast<unsigned int>(document.size()), &reader);
  for (auto const& read : reader.results) {
    for (ZaM::IndexedResult const& entry : read->GetResults()) {
      std::printf("class %u with %.3f\n", entry.GetIndex(), entry.GetValue());
    }
  }

  ZaM::SetLanguage(u"de");
  try {
    ZaM::XmlTree letters(ZaM::FromUtf8("Post für März.xml"));  // there is no such file
  } catch (ZaM::BaseException const& failure) {
    std::printf("%d: %s\n", failure.GetErrorId(), failure.what().c_str());
  }
}
