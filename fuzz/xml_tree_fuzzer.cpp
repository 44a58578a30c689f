// Any bytes as a document, by both ways of reading. What was read can be written, and what was written can be read.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/scratch_file.h"
#include "tests/support/xml_text.h"
#include "zam/zam.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void writeAndRead(ZaM::XmlTree const& tree) {
  ZaM::XmlTree again;
  require(again.ReadBuffer(tree.WriteBuffer()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text(reinterpret_cast<char const*>(data), size);
  ScratchFile const file(text);
  ZaM::XmlTree fromFile;
  fromFile.SetFilename(file.Path());
  try {
    fromFile.Read();
    if (fromFile.GetRoot()) writeAndRead(fromFile);
    if (fromFile.Read2()) writeAndRead(fromFile);
  } catch (ZaM::FileIOException const& failure) {
    require(failure.GetErrorId() == 2004);
  }

  ZaM::XmlTree fromBuffer;
  bool const isWellFormed = fromBuffer.ReadBuffer(text);
  require(isWellFormed == (fromBuffer.GetRoot() != nullptr));
  bool const isPlain = !text.starts_with("\x1f\x8b");
  if (isPlain) require(ZaM::test::Describe(fromFile.GetRoot()) == ZaM::test::Describe(fromBuffer.GetRoot()));
  return 0;
}
