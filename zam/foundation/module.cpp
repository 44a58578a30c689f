#include "zam/foundation/module.h"

#include <utility>

namespace ZaM {

TextModule::TextModule(wstring path, std::map<unsigned int, wstring> texts)
    : ownPath(std::move(path)), ownTexts(std::move(texts)) {}

std::u16string_view TextModule::GetPath() const {
  return ownPath;
}

std::u16string_view TextModule::FindText(unsigned int id) const {
  auto const text = ownTexts.find(id);
  return text == ownTexts.end() ? std::u16string_view() : text->second;
}

}  // namespace ZaM
