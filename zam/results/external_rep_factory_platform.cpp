#include "zam/results/external_rep_factory_platform.h"

#include <algorithm>
#include <utility>

#include "zam/foundation/create_counted.h"

namespace ZaM {

namespace {

auto HasName(std::string const& name) {
  return [&name](ExternalRepFactory const& factory) { return factory.GetName() == name; };
}

auto HasTag(RepTag tag) {
  return [tag](ExternalRepFactory const& factory) { return factory.GetRepTag() == tag; };
}

}  // namespace

ExternalRepFactoryPlatform& ExternalRepFactoryPlatform::GetFactoryPlatform() {
  // Never destroyed itself, only emptied: static objects that were made before it end after this, and may come by.
  static auto& platform = *ReportOutOfMemory([] { return new ExternalRepFactoryPlatform; });
  struct AtExit {
    ~AtExit() { platform.ReleaseAll(); }
  };
  static AtExit const atExit;
  return platform;
}

ExternalRepFactoryPlatform::~ExternalRepFactoryPlatform() {
  ReleaseAll();
}

unsigned int ExternalRepFactoryPlatform::AddFactory(ExternalRepFactory* factory) {
  if (!factory) return GetFactoryCount();
  if (Find(HasTag(factory->GetRepTag()))) {
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
  return Find(HasName(name));
}

ExternalRepFactory const* ExternalRepFactoryPlatform::GetFactory(RepTag tag) const {
  return Find(HasTag(tag));
}

void ExternalRepFactoryPlatform::RemoveFactory(std::string const& name) {
  Remove(HasName(name));
}

void ExternalRepFactoryPlatform::RemoveFactory(RepTag tag) {
  Remove(HasTag(tag));
}

// By index: a factory that is asked may change the list.
template <class Matches>
ExternalRepFactory* ExternalRepFactoryPlatform::Find(Matches matches) const {
  for (std::size_t i = 0; i < factories.size(); ++i) {
    ExternalRepFactory* const factory = factories[i];
    if (matches(*factory)) return factory;
  }
  return nullptr;
}

template <class Matches>
void ExternalRepFactoryPlatform::Remove(Matches matches) noexcept {
  try {
    ExternalRepFactory* const factory = Find(matches);
    if (!factory) return;
    factory->Release();
    // Looked for again, without touching it: meanwhile the list may have changed.
    auto const entry = std::find(factories.begin(), factories.end(), factory);
    if (entry != factories.end()) factories.erase(entry);
  } catch (...) {
  }
}

// Taken off before they are released, so that none is released twice if it calls back.
void ExternalRepFactoryPlatform::ReleaseAll() noexcept {
  auto const released = std::exchange(factories, {});
  try {
    for (ExternalRepFactory* factory : released) factory->Release();
  } catch (...) {
  }
}

}  // namespace ZaM
