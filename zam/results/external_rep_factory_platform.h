// The registry of the factories for external representations.
#ifndef ZAM_RESULTS_EXTERNAL_REP_FACTORY_PLATFORM_H
#define ZAM_RESULTS_EXTERNAL_REP_FACTORY_PLATFORM_H

#include <cstddef>
#include <string>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/export.h"
#include "zam/model/representation.h"
#include "zam/results/external_rep_factory.h"

namespace ZaM {

/// Lists an application's factories in the order in which they were added, so that code that meets a tag or a name
/// finds the factory for it. There is one for the process; no two entries have the same tag.
///
/// Owning:   an added factory belongs to the registry, which calls its `Release` when it is removed or the process
///           exits.
/// Exit:     the first `GetFactoryPlatform` arranges for the factories to be released when the process exits, in their
///           order, up to the first that throws. They have to be callable until then, or be removed before. Afterwards
///           the registry is empty and stays usable, so that static objects that end later may still look for a
///           factory or remove theirs; one that is added so late is never released.
/// Threads:  no lock. Factories are added and removed from one thread, while no other one looks for any.
/// Errors:   looking for what isn't there gives null, and removing it does nothing. BaseException with id 5 when memory
///           runs out, with nothing changed.
///
/// Copying is possible, but a copy would release the same factories once more when it ends.
class ZAM_EXPORT ExternalRepFactoryPlatform {
 public:
  /// The registry of the process.
  static ExternalRepFactoryPlatform& GetFactoryPlatform();

  ExternalRepFactoryPlatform(ExternalRepFactoryPlatform const&) = default;
  ExternalRepFactoryPlatform& operator=(ExternalRepFactoryPlatform const&) = default;
  /// Releases the factories in their order, up to the first that throws; that exception ends here.
  ~ExternalRepFactoryPlatform();

  /// Adds a factory, unless one with its tag is there: then `factory` is released at once, so that it must not be used
  /// any more. That is so for a factory that is added a second time, too: it loses a reference and stays listed. Null
  /// is passed over. Returns the number of factories.
  /// What the factories throw passes through. When memory runs out `factory` still belongs to the caller.
  unsigned int AddFactory(ExternalRepFactory* factory);

  /// The number of factories.
  unsigned int GetFactoryCount() const { return static_cast<unsigned int>(factories.size()); }

  /// The factory at this place, counted from 0; null after the last one.
  ExternalRepFactory const* GetFactory(unsigned int index) const;
  /// The first factory of this name, which is compared byte by byte; null if there is none.
  ExternalRepFactory const* GetFactory(std::string const& name) const;
  /// The factory of this tag; null if there is none.
  ExternalRepFactory const* GetFactory(RepTag tag) const;

  /// Releases the first factory of this name, then takes it off the list; those after it move down by one. Nothing is
  /// thrown: if a factory throws on the way, the call ends, and a factory that throws from `Release` stays listed.
  void RemoveFactory(std::string const& name);
  /// The same with the factory of this tag.
  void RemoveFactory(RepTag tag);

 private:
  ExternalRepFactoryPlatform() = default;

  template <class Matches>
  ExternalRepFactory* Find(Matches matches) const;
  template <class Matches>
  void Remove(Matches matches) noexcept;
  void ReleaseAll() noexcept;

  detail::ReportingCopies<std::vector<ExternalRepFactory*>> factories;  // in the order of their adding; never null
};

}  // namespace ZaM

#endif
