#include "zam/foundation/library_texts.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <map>
#include <mutex>
#include <new>
#include <type_traits>

#include "zam/foundation/messages.h"
#include "zam/foundation/never_destroyed.h"
#include "zam/platform/files.h"

namespace ZaM::detail {

namespace {

/// Holds no memory of its own and needs no destruction, so that its texts outlast everything but the code itself.
class OwnModule final : public Module {
 public:
  OwnModule() {
    try {
      wstring const folder = platform::FolderOfThisLibrary();
      if (!folder.empty()) SetPath(folder + u"/zam/zam.mod");
    } catch (std::bad_alloc const&) {
      // Without a path there are no satellites, which is no failure.
    }
  }

  [[nodiscard]] std::u16string_view GetPath() const override { return {path.data(), pathLength}; }

  [[nodiscard]] std::u16string_view FindText(unsigned int id) const override {
    auto const texts = BuiltInTexts();
    auto const found = std::ranges::lower_bound(texts, id, {}, &BuiltInText::id);
    return found == texts.end() || found->id != id ? std::u16string_view() : found->text;
  }

 private:
  /// A path too long for a module's is left out.
  void SetPath(std::u16string_view whole) {
    if (whole.size() > path.size()) return;
    std::copy(whole.begin(), whole.end(), path.begin());
    pathLength = whole.size();
  }

  std::array<wchar, 1023> path;
  std::size_t pathLength = 0;
};

static_assert(std::is_trivially_destructible_v<OwnModule>);

ResMgr* MakeInstance(std::byte* storage) {
  auto* const instance = new (storage) ResMgr;
  instance->Init(LibraryModule());
  return instance;
}

/// The languages that were chosen so far. None goes while the library is there, since threads may be reading its texts.
struct ChosenLanguages {
  std::mutex mutex;
  std::map<wstring, ResMgr> byName;
};

ChosenLanguages& Chosen() {
  static NeverDestroyed<ChosenLanguages> chosen;
  return chosen.Get();
}

constinit std::atomic<ResMgr const*> inForce = nullptr;  // null: the user's language

LibraryTexts const fromLoadToUnload;

}  // namespace

HINSTANCE LibraryModule() {
  static OwnModule const module;
  return &module;
}

LibraryTexts::LibraryTexts() {
  Instance();
}

LibraryTexts::~LibraryTexts() {
  inForce = nullptr;
  Instance().FreeSatellites();
  Chosen().byName.clear();
}

ResMgr const& LibraryTexts::Get() {
  ResMgr const* const chosen = inForce.load(std::memory_order_acquire);
  return chosen != nullptr ? *chosen : Instance();
}

bool LibraryTexts::Choose(wstring const& language) {
  std::lock_guard const lock(Chosen().mutex);
  auto& byName = Chosen().byName;
  auto place = byName.find(language);
  if (place == byName.end()) {
    ResMgr texts;
    if (!texts.InitIn(LibraryModule(), language)) return false;
    place = byName.emplace(language, texts).first;
  }
  inForce.store(&place->second, std::memory_order_release);
  return true;
}

ResMgr& LibraryTexts::Instance() {
  // Never destroyed: a program's last static objects may still ask for texts.
  alignas(ResMgr) static std::byte storage[sizeof(ResMgr)];
  static ResMgr* const instance = MakeInstance(storage);
  return *instance;
}

}  // namespace ZaM::detail
