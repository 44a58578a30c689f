#include "zam/results/result.h"

#include "zam/results/result_xml.h"

namespace ZaM {

Result::~Result() = default;

void Result::Save(std::string const& name, ZamXmlOutStream* stream) {
  detail::WriteResult(*this, name, *stream);
}

}  // namespace ZaM
