// Survives a fault in code that isn't its own; linked with zam::faults.
#include <zam/zam.h>

#include <cstdint>
#include <cstdio>

namespace {

// Stands for a plugin: reads where nothing is.
int readOrientation(ZaM::DocumentNode const&) {
  std::uintptr_t volatile nowhere = 16;
  return *reinterpret_cast<int const volatile*>(nowhere);
}

/// The orientation of a page as a plugin finds it; 0 where the plugin fails.
int orientationOf(ZaM::DocumentNode const& page) {
  try {
    return readOrientation(page);
  } catch (ZaM::StructuredException const& fault) {
    std::printf("fault 0x%08X\n", fault.GetExceptionCode());
    return 0;
  }
}

}  // namespace

int main() {
  ZaM::StructuredException::Enable();  // for this thread
  ZaM::Ref const page(ZaM::DocumentNode::Create());
  return orientationOf(*page);
}
