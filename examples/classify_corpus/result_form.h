// The names in a result file; docs/formats.md describes it.
#ifndef CLASSIFY_CORPUS_RESULT_FORM_H
#define CLASSIFY_CORPUS_RESULT_FORM_H

namespace classify::form {

inline constexpr unsigned int version = 1;

inline constexpr char const* root = "ClassificationResults";
inline constexpr char const* versionNumber = "Version";
inline constexpr char const* corpus = "Corpus";
inline constexpr char const* documents = "Documents";
inline constexpr char const* minWordLength = "MinWordLength";
inline constexpr char const* digits = "Digits";
inline constexpr char const* maxResults = "MaxResults";

inline constexpr char const* classElement = "Class";
inline constexpr char const* id = "Id";
inline constexpr char const* name = "Name";

inline constexpr char const* fold = "Fold";
inline constexpr char const* number = "Number";
inline constexpr char const* learned = "Learned";
inline constexpr char const* tested = "Tested";

inline constexpr char const* document = "Document";
inline constexpr char const* path = "Path";
inline constexpr char const* classId = "ClassId";
inline constexpr char const* result = "Result";

// Of new documents, which have no true class.
inline constexpr char const* classified = "ClassifiedDocuments";
inline constexpr char const* className = "Class";
inline constexpr char const* second = "Second";
inline constexpr char const* rejected = "Rejected";

}  // namespace classify::form

#endif
