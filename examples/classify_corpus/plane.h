// The plane on which documents are drawn as points.
#ifndef CLASSIFY_CORPUS_PLANE_H
#define CLASSIFY_CORPUS_PLANE_H

#include <zam/zam.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pending_file.h"
#include "progress.h"
#include "word_vector.h"

namespace classify {

/// A training document, for the plane.
struct PlaneExample {
  ZaM::Ref<WordVector> words;
  unsigned int classId;
  std::string name;  // the path below the corpus
};

struct PlanePoint {
  float x;
  float y;
};

/// What a picture of the plane shows.
struct DocumentMap {
  unsigned int fold = 0;                                  // whose documents these are
  std::size_t examples = 0;                               // how many others the plane was learned from
  std::map<ZaM::DocumentNode const*, PlanePoint> points;  // by the tested document's node
};

/// The two directions in which training documents differ most: their first two principal components.
///
/// So that large classes don't decide alone, it is learned from the same number of documents of each class, as far as
/// these have so many, `mostExamples` in all. They are spread evenly over those of the class.
///
/// A model file holds the plane's numbers, and after them the hash of what it was learned from: documents and their
/// vectors. It fits no other documents.
class Plane {
 public:
  static constexpr std::size_t fewestExamples = 4;
  static constexpr std::size_t mostExamples = 600;

  /// Which of the documents of these classes, each of which has a known word, the plane is to be learned from, class by
  /// class.
  static std::vector<std::size_t> Choose(std::vector<unsigned int> const& classIds);

  /// Of the examples that were chosen.
  explicit Plane(std::vector<PlaneExample> chosen);

  /// Takes the plane from `model` if there is such a file; else learns it, and writes the file unless its name is
  /// empty: it is committed with the other `outputs`. Throws RunError if there are fewer than four examples, or if the
  /// file can't be written, isn't a plane, or is one of other documents. Counts passes as steps of `progress`, which
  /// outlives the object.
  void LearnOrLoad(std::filesystem::path const& model, std::vector<PendingFile>& outputs, Progress& progress);

  /// Makes sure that `LearnOrLoad` can look for the file, and write it if there is none, so that a long run isn't lost.
  /// Throws RunError if it can't.
  static void CheckModel(std::filesystem::path const& model);

  /// Leaves a point on each document of the tree that has a word vector.
  void Project(ZaM::DocumentNode& documents);

  /// The point that a document was given; nothing if it has none.
  static std::optional<PlanePoint> PointOf(ZaM::DocumentNode& document);

  std::size_t ExampleCount() const { return examples.size(); }

 private:
  void SupplyExamples(ZaM::PcaControl& control) const;
  void Load(std::filesystem::path const& model);
  PendingFile Save(std::filesystem::path const& model);
  std::uint64_t HashOfExamples() const;

  std::vector<PlaneExample> examples;
  ZaM::PcaAnalyzer analyzer;
};

}  // namespace classify

#endif
