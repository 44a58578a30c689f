// What a classification depends on, apart from the documents.
#ifndef CLASSIFY_CORPUS_SETTINGS_H
#define CLASSIFY_CORPUS_SETTINGS_H

namespace classify {

struct Settings {
  unsigned int minWordLength = 1;
  bool useDigits = true;
  unsigned int maxResults = 3;  // 0: a value for every class

  friend bool operator==(Settings const&, Settings const&) = default;
};

}  // namespace classify

#endif
