// Any bytes as a document, by all ways of reading. What was read can be written, and what was written can be read; a
// derived tree, which is read by callbacks, is what any other is.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "fuzz/scratch_file.h"
#include "tests/support/xml_text.h"
#include "zam/zam.h"

namespace {

void WriteAndRead(ZaM::XmlTree const& tree) {
  ZaM::XmlTree again;
  Require(again.ReadBuffer(tree.WriteBuffer()));
}

struct DerivedTree : ZaM::XmlTree {};

std::string Read(ZaM::XmlTree& tree) {
  try {
    tree.Read();
  } catch (ZaM::FileIOException const& failure) {
    Require(failure.GetErrorId() == 2004);
    return "can't be read" + ZaM::test::Describe(tree.GetRoot());
  } catch (ZaM::LimitExceededException const&) {
    return "passes a limit" + ZaM::test::Describe(tree.GetRoot());
  }
  return ZaM::test::Describe(tree.GetRoot());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text(reinterpret_cast<char const*>(data), size);
  ScratchFile const file(text);
  ZaM::XmlTree fromFile;
  DerivedTree derived;
  fromFile.SetFilename(file.Path());
  derived.SetFilename(file.Path());
  Require(Read(fromFile) == Read(derived));
  if (fromFile.GetRoot()) WriteAndRead(fromFile);

  ZaM::XmlTree fromBuffer;
  try {
    if (fromFile.Read2()) WriteAndRead(fromFile);
    bool const isWellFormed = fromBuffer.ReadBuffer(text);
    Require(isWellFormed == (fromBuffer.GetRoot() != nullptr));
    bool const isPlain = !text.starts_with("\x1f\x8b");
    if (isPlain) Require(ZaM::test::Describe(fromFile.GetRoot()) == ZaM::test::Describe(fromBuffer.GetRoot()));
  } catch (ZaM::FileIOException const& failure) {
    Require(failure.GetErrorId() == 2004);
  } catch (ZaM::LimitExceededException const&) {
    Require(!fromFile.GetRoot() && !fromBuffer.GetRoot());
  }
  return 0;
}
