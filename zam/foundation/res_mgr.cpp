#include "zam/foundation/res_mgr.h"

#include <algorithm>
#include <initializer_list>
#include <new>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/format_text.h"
#include "zam/foundation/satellite_file.h"
#include "zam/platform/environment.h"
#include "zam/platform/files.h"
#include "zam/platform/surrogates.h"

namespace ZaM {

namespace {

constexpr std::size_t capacity = 1024;  // of a formatted text, a path and a variable's value, terminator included
constexpr std::u16string_view fallbackLanguage = u"en";
constexpr std::uint16_t primaryIdMask = 0x3FF;

struct SystemLanguage {
  std::uint16_t primaryId;
  std::u16string_view code;
};

constexpr SystemLanguage systemLanguages[] = {{0x03, u"ca"}, {0x07, u"de"}, {0x09, u"en"}, {0x0A, u"es"},
                                              {0x0C, u"fr"}, {0x10, u"it"}, {0x16, u"pt"}};

std::vector<wstring> LanguagesOf(wstring const& setting) {
  if (setting.size() >= capacity) return {};
  std::size_t const dash = setting.find(u'-');
  if (dash == setting.npos) return {setting};
  return {setting, setting.substr(0, dash)};
}

/// The languages to be tried, in order.
std::vector<wstring> Languages() {
  wstring const setting = platform::EnvironmentVariable("Telvo Components Language");
  if (!setting.empty()) return LanguagesOf(setting);

  if (auto preferred = platform::PreferredLanguages(); !preferred.empty()) return preferred;
  auto const primaryId = platform::UserLanguageId() & primaryIdMask;
  for (SystemLanguage const& known : systemLanguages) {
    if (known.primaryId == primaryId) return {wstring(known.code)};
  }
  return {};
}

bool StaysInFolder(std::u16string_view name) {
  return name.find_first_of(u"/\\") == name.npos && name.find(u"..") == name.npos;
}

wstring Format(std::u16string_view text, std::initializer_list<detail::FormatArgument> arguments, std::size_t count) {
  return ReportOutOfMemory([&] { return detail::FormatText(text, std::span(arguments.begin(), count), capacity); });
}

wstring Missing(unsigned int id) {
  return Format(u"Resource string #%d not found!", {id}, 1);
}

}  // namespace

// The satellites first, since their copy alone may fail: a handle is never without its owner.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): a copy of its own is as good as any.
ResMgr& ResMgr::operator=(ResMgr const& other) {
  satellites = ReportOutOfMemory([&] { return std::vector(other.satellites); });
  moduleHandle = other.moduleHandle;
  satelliteHandle = other.satelliteHandle;
  std::ranges::copy(other.language, language);
  return *this;
}

void ResMgr::Init(HINSTANCE module) {
  Init(module, true);
}

void ResMgr::Init(HINSTANCE module, bool asDataFile) {
  moduleHandle = module;
  satelliteHandle = nullptr;
  SetLanguage(fallbackLanguage);
  try {
    ChooseLanguage(Languages(), asDataFile);
  } catch (std::bad_alloc const&) {
    // A missing satellite is no failure, and the module's own texts need no memory.
  }
}

bool ResMgr::ChooseLanguage(std::vector<wstring> const& candidates, bool asDataFile) {
  std::u16string_view const path = moduleHandle == nullptr ? std::u16string_view() : moduleHandle->GetPath();
  if (path.empty() || path.size() >= capacity) return false;
  std::size_t const separator = path.find_last_of(u"/\\");
  bool const hasFolder = separator != path.npos;
  wstring const folder(path.substr(0, hasFolder ? separator : 0));
  wstring const fileName(path.substr(hasFolder ? separator + 1 : 0));

  for (wstring const& candidate : candidates) {
    if (!StaysInFolder(candidate)) continue;
    wstring place = folder;
    place.append(u"\\").append(candidate).append(u"\\");
    if (!LoadResources(std::move(place), fileName, asDataFile)) continue;
    SetLanguage(candidate);
    return true;
  }
  return false;
}

bool ResMgr::InitIn(HINSTANCE module, wstring const& wanted) {
  moduleHandle = module;
  SetLanguage(fallbackLanguage);
  auto const candidates = LanguagesOf(wanted);
  return ChooseLanguage(candidates, true) || (!candidates.empty() && candidates.back() == fallbackLanguage);
}

bool ResMgr::LoadResources(wstring folder, wstring fileName, bool /*asDataFile*/) {
  fileName.resize(fileName.size() - std::min<std::size_t>(fileName.size(), 3));
  wstring path = std::move(folder) + fileName + u"lng";
  auto const bytes = platform::ReadFile(path, detail::satelliteLimit);
  auto texts = bytes ? detail::DecodeSatellite(*bytes) : std::nullopt;
  if (!texts) return false;
  satellites.push_back(std::make_shared<TextModule const>(std::move(path), std::move(*texts)));
  satelliteHandle = satellites.back().get();
  return true;
}

void ResMgr::SetLanguage(std::u16string_view code) {
  constexpr std::size_t most = std::size(decltype(language){}) - 1;
  std::size_t length = std::min(code.size(), most);
  if (length < code.size() && platform::IsHighSurrogate(code[length - 1])) --length;
  std::fill(std::copy_n(code.begin(), length, std::begin(language)), std::end(language), u'\0');
}

void ResMgr::FreeSatellites() {
  satelliteHandle = nullptr;
  std::exchange(satellites, {});
}

HINSTANCE ResMgr::GetResourceHandle() const {
  return satelliteHandle != nullptr ? satelliteHandle : moduleHandle;
}

wchar* ResMgr::GetLanguage() {
  return language;
}

std::u16string_view ResMgr::FindText(unsigned int id) const {
  std::u16string_view found;
  if (satelliteHandle != nullptr) found = satelliteHandle->FindText(id);
  if (found.empty() && moduleHandle != nullptr) found = moduleHandle->FindText(id);
  return found;
}

bool ResMgr::GetString(unsigned int id, wstring& text) const {
  std::u16string_view const found = FindText(id);
  text = found.empty() ? Missing(id) : ReportOutOfMemory([&] { return wstring(found); });
  return !found.empty();
}

wstring ResMgr::GetString(unsigned int id) const {
  wstring text;
  GetString(id, text);
  return text;
}

wstring ResMgr::GetString(unsigned int id, wchar const* a, wchar const* b, wchar const* c) const {
  std::u16string_view const text = FindText(id);
  if (text.empty()) return Missing(id);
  return Format(text, {a, b, c}, b == nullptr ? 1 : c == nullptr ? 2 : 3);
}

wstring ResMgr::GetStringL(unsigned int id, std::int32_t const* a, std::int32_t const* b, std::int32_t const* c) const {
  std::u16string_view const text = FindText(id);
  if (text.empty()) return Missing(id);
  std::size_t const count = a == nullptr ? 0 : b == nullptr ? 1 : c == nullptr ? 2 : 3;
  return Format(text, {count > 0 ? *a : 0, count > 1 ? *b : 0, count > 2 ? *c : 0}, count);
}

wstring ResMgr::GetStringT(unsigned int id, unsigned int const* a) const {
  std::u16string_view const text = FindText(id);
  if (text.empty()) return Missing(id);
  return a == nullptr ? Format(text, {}, 0) : Format(text, {*a}, 1);
}

wstring ResMgr::GetStringUI32(unsigned int id, unsigned int const* a) const {
  return GetStringT(id, a);
}

}  // namespace ZaM
