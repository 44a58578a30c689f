// Knows one kind of external representation, by a name and a tag.
#ifndef ZAM_RESULTS_EXTERNAL_REP_FACTORY_H
#define ZAM_RESULTS_EXTERNAL_REP_FACTORY_H

#include <string>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"
#include "zam/model/representation.h"

namespace ZaM {

class ExternalRepresentation;

/// A contract for applications, whose factories the ExternalRepFactoryPlatform lists. The platform calls `Release`,
/// `GetName` and `GetRepTag`; the other two are for the programs that find a factory there.
///
/// Owning:  a factory is made by its application and ends by its own `Release`, as it likes: by a `delete`, by a count,
///          or not at all if it is a static object.
/// Threads: the platform calls a factory on the thread that calls the platform, and on the one that ends the process.
/// Errors:  what a factory throws passes through the platform where a factory is added or looked for, and ends there
///          where one is removed or the process exits.
class ZAM_EXPORT ExternalRepFactory {
 protected:
  ExternalRepFactory() = default;
  virtual ~ExternalRepFactory();

 public:
  ExternalRepFactory(ExternalRepFactory const&) = default;
  ExternalRepFactory& operator=(ExternalRepFactory const&) = default;

  /// Gives up the reference that the platform held, which never touches the factory again. While this runs the factory
  /// is still listed. It may call the platform, but must not have itself removed once more.
  virtual void Release() = 0;

  /// The factory's name; several may bear the same.
  virtual std::string const& GetName() const = 0;

  /// The tag of the representations that it makes.
  virtual RepTag GetRepTag() const = 0;

  /// A new representation of what lies at `location`, with a count of 1; null if that is nothing for this factory.
  virtual ExternalRepresentation* CreateRepresentation(wstring const& location) const = 0;

  /// What kind of representations these are, in words for the user.
  virtual wstring GetDescription() const = 0;
};

}  // namespace ZaM

#endif
