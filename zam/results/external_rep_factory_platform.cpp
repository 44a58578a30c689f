#include "zam/results/external_rep_factory_platform.h"

#include <algorithm>
#include <utility>

#include "zam/foundation/create_counted.h"

namespace ZaM {

namespace {

auto hasName(std::string const& name) {
  return [&name](ExternalRepFactory const& factory) { return factory.GetName() == name; };
}

auto hasTag(RepTag tag) {
  return [tag](ExternalRepFactory const& factory) { return factory.GetRepTag() == tag; };
}

}  // namespace

ExternalRepFactoryPlatform& ExternalRepFactoryPlatform::GetFactoryPlatform() {
  // Never destroyed itself, only emptied: static objects that were made before it end after this, and may come by.
  static auto& platform = *ReportOutOfMemory([] { return new ExternalRepFactoryPlatform; });
  struct AtExit {
    ~AtExit() { platform.releaseAll(); }
  };
  static AtExit const atExit;
  return platform;
}

ExternalRepFactoryPlatform::~ExternalRepFactoryPlatform() {
  releaseAll();
}

unsigned int ExternalRepFactoryPlatform::AddFactory(ExternalRepFactory* factory) {
  if (!factory) return GetFactoryCount();
  if (find(hasTag(factory->GetRepTag()))) {
    factory->Release();
  } else {
    ReportOutOfMemory([&] { factories.push_back(factory); });
  }
  return GetFactoryCount();
}

ExternalRepFactory const* ExternalRepFactoryPlatform::GetFactory(unsigned int index) const {
  return index < factories.size() ? factories[index] : nullptr;
}

ExternalRepFactory const* ExternalRepFactoryPlatform::GetFactory(std::string const& name) const {
  return find(hasName(name));
}

ExternalRepFactory const* ExternalRepFactoryPlatform::GetFactory(RepTag tag) const {
  return find(hasTag(tag));
}

void ExternalRepFactoryPlatform::RemoveFactory(std::string const& name) {
  remove(hasName(name));
}

void ExternalRepFactoryPlatform::RemoveFactory(RepTag tag) {
  remove(hasTag(tag));
}

// By index: a factory that is asked may change the list.
template <class Matches>
ExternalRepFactory* ExternalRepFactoryPlatform::find(Matches matches) const {
  for (std::size_t i = 0; i < factories.size(); ++i) {
    ExternalRepFactory* const factory = factories[i];
    if (matches(*factory)) return factory;
  }
  return nullptr;
}

template <class Matches>
void ExternalRepFactoryPlatform::remove(Matches matches) noexcept {
  try {
    ExternalRepFactory* const factory = find(matches);
    if (!factory) return;
    factory->Release();
    // Looked for again, without touching it: meanwhile the list may have changed.
    auto const entry = std::find(factories.begin(), factories.end(), factory);
    if (entry != factories.end()) factories.erase(entry);
  } catch (...) {
  }
}

// Taken off before they are released, so that none is released twice if it calls back.
void ExternalRepFactoryPlatform::releaseAll() noexcept {
  auto const released = std::exchange(factories, {});
  try {
    for (ExternalRepFactory* factory : released) factory->Release();
  } catch (...) {
  }
}

}  // namespace ZaM
