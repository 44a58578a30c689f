#include "zam/foundation/regex.h"

#include <boost/regex.hpp>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <new>
#include <utility>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/regex_traits.h"

namespace ZaM {

namespace {

using Expression = boost::basic_regex<wchar, detail::RegexTraits>;

Expression Compile(wstring const& pattern, bool ignoreCase) {
  auto const flags = ignoreCase ? boost::regex_constants::icase : boost::regex_constants::normal;
  return Expression(pattern.data(), pattern.data() + pattern.size(), flags);
}

/// The steps that one Match may still take: readings, and comparisons of places, as some states read nothing. The
/// engine bounds the states of each search alone, and not what is read in a state: a pattern can take days for a
/// megabyte. Ordinary patterns take less than 30 steps for a unit; the constant part lets short texts have what the
/// engine allows.
class Steps {
 public:
  explicit Steps(std::size_t textSize) : left(10'000'000 + 100 * static_cast<std::int64_t>(textSize)) {}

  void Count() {
    if (--left < 0) throw boost::regex_error(boost::regex_constants::error_complexity);
  }

 private:
  std::int64_t left;
};

/// A place in a text for the engine, which counts the steps there (regex_benchmark: a nanosecond or two for a unit).
class CountingIterator {
 public:
  using iterator_category = std::random_access_iterator_tag;
  using value_type = wchar;
  using difference_type = std::ptrdiff_t;
  using pointer = wchar const*;
  using reference = wchar const&;

  CountingIterator() = default;
  CountingIterator(wchar const* unit, Steps& counter) : place(unit), steps(&counter) {}

  reference operator*() const {
    steps->Count();
    return *place;
  }
  CountingIterator& operator+=(difference_type n) {
    place += n;
    return *this;
  }
  CountingIterator& operator-=(difference_type n) { return *this += -n; }
  CountingIterator& operator++() { return *this += 1; }
  CountingIterator& operator--() { return *this += -1; }
  CountingIterator operator++(int) { return std::exchange(*this, *this + 1); }
  CountingIterator operator--(int) { return std::exchange(*this, *this + -1); }
  CountingIterator operator+(difference_type n) const { return CountingIterator(*this) += n; }
  CountingIterator operator-(difference_type n) const { return CountingIterator(*this) -= n; }
  difference_type operator-(CountingIterator other) const { return place - other.place; }
  bool operator==(CountingIterator other) const {
    steps->Count();
    return place == other.place;
  }
  auto operator<=>(CountingIterator other) const { return place <=> other.place; }

 private:
  wchar const* place = nullptr;
  Steps* steps = nullptr;
};

/// The records of a list, many to an allocation: one for each would take longer than the searches of a pattern that
/// matches everywhere (regex_benchmark). The first record of a list lies at the start of its first block.
struct Block {
  static constexpr std::size_t capacity = 64;

  alignas(_Match) std::byte records[capacity * sizeof(_Match)];
  Block* next = nullptr;
};

/// Destroys a list that a RecordList made; null is none. Records hold nothing but their place, so that they end with
/// their blocks.
void DestroyList(_Match* head) {
  for (auto* block = reinterpret_cast<Block*>(head); block;) delete std::exchange(block, block->next);
}

/// Adds records to the list that begins at `head`, which is null as yet.
class RecordList {
 public:
  explicit RecordList(_Match*& listHead) : head(listHead) {}

  void Append(std::ptrdiff_t position, std::ptrdiff_t length, bool matched) {
    if (used == Block::capacity) AddBlock();
    void* const place = block->records + used++ * sizeof(_Match);
    last = new (place) _Match(last, static_cast<std::int32_t>(position), static_cast<std::int32_t>(length), matched);
    if (!head) head = last;
  }

 private:
  void AddBlock() {
    auto* const added = new Block;
    if (block) block->next = added;
    block = added;
    used = 0;
  }

  _Match*& head;
  Block* block = nullptr;              // the last one
  std::size_t used = Block::capacity;  // records in it
  _Match* last = nullptr;
};

}  // namespace

_Match::_Match(_Match* previous, std::int32_t start, std::int32_t units, bool isMatch)
    : position(start), length(units), matched(isMatch) {
  if (previous) previous->next = this;
}

_Match::~_Match() {
  while (next) {
    _Match* const successor = next;
    next = std::exchange(successor->next, nullptr);
    delete successor;
  }
}

Regex::Regex(wstring expression, bool ignoringCase)
    : pattern(std::move(expression)), ignoreCase(ignoringCase), matches(nullptr) {
  ReportOutOfMemory([&] { Compile(pattern, false); });
}

Regex::~Regex() {
  DestroyList(matches);
}

_Match* Regex::Match(wstring text) {
  DestroyList(std::exchange(matches, nullptr));
  ReportOutOfMemory([&] {
    Expression const expression = Compile(pattern, ignoreCase);
    RecordList list(matches);
    Steps steps(text.size());
    CountingIterator const begin(text.data(), steps);
    CountingIterator const end(text.data() + text.size(), steps);
    boost::match_results<CountingIterator> what;
    for (CountingIterator start = begin;
         boost::regex_search(start, end, what, expression, boost::regex_constants::match_not_initial_null);
         start = what[0].second) {
      list.Append(what[0].first - begin, what[0].length(), true);
    }
    list.Append(-1, -1, false);
  });
  return matches;
}

}  // namespace ZaM
