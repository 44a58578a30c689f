// What the person at the terminal should know about a run that went on in spite of it.
#ifndef CLASSIFY_CORPUS_NOTES_H
#define CLASSIFY_CORPUS_NOTES_H

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace classify {

/// Collects names by what is to be said of them, counts them all, and shows the first ones.
class Notes {
 public:
  static constexpr std::size_t shownNames = 10;

  /// `message` says it of a single one, as in "not text, left out"; `name` is shown as it stands.
  void Add(std::string const& message, std::string name) { names[message].push_back(std::move(name)); }

  /// Calls `use(message, name)` for each name, in the order of messages and in that of adding.
  void ForEach(auto use) const {
    for (auto const& [message, list] : names)
      for (std::string const& name : list) use(message, name);
  }

  /// One line for each message, such as "not text, left out (2): pets/cat.jpg, pets/dog.jpg", or without the names.
  void Print(std::ostream& stream, bool showNames) const;

 private:
  std::map<std::string, std::vector<std::string>> names;
};

}  // namespace classify

#endif
