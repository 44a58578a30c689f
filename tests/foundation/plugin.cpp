// A plugin of a host that knows nothing of the library: uses something of every room.
#include <zam/zam.h>

extern "C" ZAM_EXPORT int UseTheLibrary() {
  using namespace ZaM;
  Ref root(DocumentNode::Create());
  root->AddChild(DocumentNode::Create(1, root.Get()));
  Ref matrix(ErrorMatrix::Create(3));
  ErrorMatrixVisitor visitor(matrix.Get(), 0.0, 0.0);
  root->Visit(&visitor);
  PcaAnalyzer().DoAlgorithm(nullptr);
  XmlTree tree;
  bool const isRead = tree.ReadBuffer("<a b='c'>text</a>");
  XmlSaxParser().ParseMemory("<a/>", 4, &tree);
  Ref filter(AsciiTextFilter::Create(1, true));
  char symbols[8];
  bool const isFiltered = filter->FilterTextA("ab cd", 5, symbols, sizeof symbols) == 7;
  SetLanguage(u"de");
  bool const isTold = !BaseException(5).GetErrorDescription().empty();
  return isRead && isFiltered && isTold && root->ChildCount() == 1 ? 1 : 0;
}

/// Chooses a language, unless it is null; says the present one and a sentence in it, with a ! if there is no such.
extern "C" ZAM_EXPORT void Speak(char16_t const* language, std::string& said) {
  bool const isChosen = language == nullptr || ZaM::SetLanguage(language);
  said = ZaM::ToUtf8(ZaM::GetLanguage() + u": " + ZaM::BaseException(5).GetErrorDescription()) + (isChosen ? "" : "!");
}
