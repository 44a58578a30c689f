#include "zam/foundation/file_search.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "zam/foundation/never_destroyed.h"
#include "zam/foundation/no_throw.h"
#include "zam/platform/folder.h"

namespace ZaM {

namespace {

struct Search {
  std::vector<platform::FolderEntry> entries;
  std::size_t next = 0;
};

/// The open searches of the process by their handles. Handles aren't used again until all others have been, so that
/// one that is closed too early doesn't hit another search.
class SearchTable {
 public:
  static SearchTable& Get() {
    static detail::NeverDestroyed<SearchTable> table;
    return table.Get();
  }

  int Add(std::shared_ptr<Search> search) {
    std::lock_guard const lock(mutex);
    do {
      last = last == std::numeric_limits<int>::max() ? 1 : last + 1;
    } while (searches.contains(last));
    searches.emplace(last, std::move(search));
    return last;
  }

  std::shared_ptr<Search> Find(int handle) {
    std::lock_guard const lock(mutex);
    auto const found = searches.find(handle);
    return found == searches.end() ? nullptr : found->second;
  }

  void Remove(int handle) {
    std::lock_guard const lock(mutex);
    searches.erase(handle);
  }

 private:
  std::mutex mutex;
  std::map<int, std::shared_ptr<Search>> searches;
  int last = 0;
};

void Store(platform::FolderEntry const& found, _wfinddata64i32_t& entry) {
  entry.attrib = (found.isReadOnly ? 0x01u : 0u) | (found.isHidden ? 0x02u : 0u) | (found.isFolder ? 0x10u : 0u);
  entry.time_create = found.changeTime;
  entry.time_access = found.accessTime;
  entry.time_write = found.writeTime;
  entry.size = static_cast<std::uint32_t>(found.size);
  std::size_t const length = std::min(found.name.size(), std::size(entry.name) - 1);
  *std::copy_n(found.name.begin(), length, entry.name) = u'\0';
}

}  // namespace

int ZamFindFirst(wstring const& pattern, _wfinddata64i32_t* entry) noexcept {
  return detail::ResultOr(-1, [&] {
    auto const search = std::make_shared<Search>(Search{platform::SearchFolder(pattern)});
    if (entry == nullptr || search->entries.empty()) return -1;
    int const handle = SearchTable::Get().Add(search);
    ZamFindNext(handle, entry);
    return handle;
  });
}

bool ZamFindNext(int handle, _wfinddata64i32_t* entry) noexcept {
  return detail::ResultOr(false, [&] {
    auto const search = SearchTable::Get().Find(handle);
    if (entry == nullptr || search == nullptr || search->next == search->entries.size()) return false;
    Store(search->entries[search->next++], *entry);
    return true;
  });
}

void ZamFindClose(int handle) noexcept {
  detail::ResultOr(false, [&] {
    SearchTable::Get().Remove(handle);
    return true;
  });
}

}  // namespace ZaM
