// Prints what becomes of the registered factories when a process exits.
#include <cstdio>
#include <stdexcept>

#include "zam/zam.h"

namespace {

// Made before the registry, and so destroyed after its factories were released.
struct Latecomer {
  ~Latecomer() {
    auto& platform = ZaM::ExternalRepFactoryPlatform::GetFactoryPlatform();
    platform.RemoveFactory("first");
    std::printf("%u left\n", platform.GetFactoryCount());
  }
} const latecomer;

struct Factory : ZaM::ExternalRepFactory {
  explicit Factory(char const* given) : name(given) {}
  void Release() override {
    std::printf("%s\n", name.c_str());
    ZaM::ExternalRepFactoryPlatform::GetFactoryPlatform().RemoveFactory("next");  // is on its way out already
    if (name == "fails") throw std::runtime_error(name);
  }
  std::string const& GetName() const override { return name; }
  ZaM::RepTag GetRepTag() const override { return ZaM::SetRepTag(name.substr(0, 4)); }
  ZaM::ExternalRepresentation* CreateRepresentation(ZaM::wstring const& /*location*/) const override { return nullptr; }
  ZaM::wstring GetDescription() const override { return {}; }

  std::string const name;
} first("first"), next("next"), fails("fails"), last("last");

}  // namespace

int main() {
  auto& platform = ZaM::ExternalRepFactoryPlatform::GetFactoryPlatform();
  for (Factory* factory : {&first, &next, &fails, &last}) platform.AddFactory(factory);
  std::printf("%u listed\n", platform.GetFactoryCount());
}
