#include "zam/foundation/regex.h"

#include <boost/regex.hpp>
#include <cstddef>
#include <new>
#include <utility>

#include "zam/foundation/regex_traits.h"

namespace ZaM {

namespace {

using Expression = boost::basic_regex<wchar, detail::RegexTraits>;

Expression compile(wstring const& pattern, bool ignoreCase) {
  auto const flags = ignoreCase ? boost::regex_constants::icase : boost::regex_constants::normal;
  return Expression(pattern.data(), pattern.data() + pattern.size(), flags);
}

/// The records of a list, many to an allocation: one for each would take longer than the searches of a pattern that
/// matches everywhere (regex_benchmark). The first record of a list lies at the start of its first block.
struct Block {
  static constexpr std::size_t capacity = 64;

  alignas(_Match) std::byte records[capacity * sizeof(_Match)];
  Block* next = nullptr;
};

/// Destroys a list that a RecordList made; null is none. Records hold nothing but their place, so that they end with
/// their blocks.
void destroyList(_Match* head) {
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
  compile(pattern, false);
}

Regex::~Regex() {
  destroyList(matches);
}

_Match* Regex::Match(wstring text) {
  destroyList(std::exchange(matches, nullptr));
  Expression const expression = compile(pattern, ignoreCase);
  RecordList list(matches);
  wchar const* const begin = text.data();
  wchar const* const end = begin + text.size();
  boost::match_results<wchar const*> what;
  for (wchar const* start = begin;
       boost::regex_search(start, end, what, expression, boost::regex_constants::match_not_initial_null);
       start = what[0].second) {
    list.Append(what[0].first - begin, what[0].length(), true);
  }
  list.Append(-1, -1, false);
  return matches;
}

}  // namespace ZaM
