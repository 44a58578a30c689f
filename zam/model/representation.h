// One view of a document under a four-character tag.
#ifndef ZAM_MODEL_REPRESENTATION_H
#define ZAM_MODEL_REPRESENTATION_H

#include <cstdint>
#include <iosfwd>
#include <string>

#include "zam/foundation/export.h"

namespace ZaM {

/// A view of a document: a feature vector, a result, a statistic. It holds its tag, and names the arithmetic that the
/// algorithms work in; the content is the business of derived classes, which applications write.
///
/// A concrete class derives from `Node` as well, so that the tree can carry it. Node and Representation are strangers
/// to each other: only `dynamic_cast` leads from one to the other. Such a class has two pairs of `Save` and `Load`,
/// that of Node answering true and that of Representation answering false; one override replaces both.
///
/// Owning:  never `delete` a counted object through a pointer to Representation, although its destructor is public;
///          a counted object ends by `Release`.
/// Threads: one thread at a time, unless the derived class allows more, which lets classifiers share a tree of classes.
///          Algorithms call it on the thread that runs them.
/// Errors:  the base throws nothing; `Save` and `Load` answer false where they fail. What a derived class throws passes
///          through the algorithms unchanged.
class ZAM_EXPORT Representation {
 public:
  /// Four characters, not terminated, overlaid by one number in the machine's byte order. Tags are compared by `id`.
  union RepTag {
    /// The characters, and the number that they are in the machine's byte order.
    char name[4];
    std::int32_t id;

    /// By `id`.
    friend constexpr bool operator==(RepTag const& a, RepTag const& b) { return a.id == b.id; }
  };

  /// The tag "Dflt".
  static RepTag const DefaultTag;
  static RepTag const& GetDefaultTag() { return DefaultTag; }

  /// Under the default tag.
  Representation() : tag(DefaultTag) {}
  /// Under this tag.
  Representation(RepTag const& given) : tag(given) {}
  Representation(Representation const&) = default;
  Representation& operator=(Representation const&) = default;
  virtual ~Representation();

  /// The similarity of this representation and `other`; the greater, the more similar. 0.0 in the base.
  virtual double dot(Representation const& other) const;

  /// Adds `other` to this representation. Nothing in the base.
  virtual void add(Representation const& other);

  /// Takes `other` away from this representation. Nothing in the base.
  virtual void sub(Representation const& other);

  /// The distance from `other`. 0.0 in the base.
  virtual double dist(Representation const& other) const;

  /// Whether the content may be used; what isn't valid is passed over. False in the base.
  virtual bool IsValid() const;

  /// The lower bound of `dot` on this representation: 1.0 in the base, as the upper one, which opts out of normalising.
  virtual double GetMinimum() const;

  /// The upper bound of `dot` on this representation: 1.0 in the base.
  virtual double GetMaximum() const;

  /// Writes the content; returns whether that succeeded. The base has nothing to store and returns false.
  virtual bool Save(std::basic_ostream<char>* stream);

  /// Reads the content; returns whether that succeeded. The base returns false.
  virtual bool Load(std::basic_istream<char>* stream);

  /// The tag as a number; any is accepted.
  int GetTagId() const { return tag.id; }
  void SetTagId(int id) { tag.id = id; }

  /// The tag as text, which ends before its first zero byte: empty for the id 0.
  std::string GetTagName() const;

  /// The tag becomes `SetRepTag(name)`: "Dflt" unless `name` has exactly 4 bytes.
  void SetTagName(std::string const& name);

 private:
  RepTag tag;
};

/// A tag by its short name.
using RepTag = Representation::RepTag;

/// The four bytes of `name` as a tag, whatever they are. A name of any other length, longer ones included, gives the
/// tag "Dflt" without an error: two mistyped names mean the same tag. A literal is better written `"Rslt"_tag`, whose
/// length the compiler checks.
ZAM_EXPORT RepTag SetRepTag(std::string const& name);

namespace detail {

/// A literal of four bytes.
struct TagText {
  /// From a literal of this length alone.
  consteval TagText(char const (&literal)[5]) : bytes{literal[0], literal[1], literal[2], literal[3]} {}
  char bytes[4];  ///< Without the terminating zero.
};

}  // namespace detail

inline namespace literals {

/// `"Rslt"_tag` is the tag with these four bytes; a literal of any other length doesn't compile.
template <detail::TagText text>
consteval RepTag operator""_tag() {
  return {{text.bytes[0], text.bytes[1], text.bytes[2], text.bytes[3]}};
}

}  // namespace literals

}  // namespace ZaM

#endif
