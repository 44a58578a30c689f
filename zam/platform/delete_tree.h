// Deletes a folder with all it holds.
#ifndef ZAM_PLATFORM_DELETE_TREE_H
#define ZAM_PLATFORM_DELETE_TREE_H

#include <string_view>

namespace ZaM::platform {

/// True if the folder is gone. The first failure ends it; what was deleted until then stays deleted. False, with
/// nothing done, for what is no folder, for the root, and for a path that ends in `..`.
///
/// Symbolic links are deleted, not followed, also where `path` itself is a link to a folder. Nobody who changes the
/// tree meanwhile can lead the deletion to a place outside. Neither depth nor number of entries are limited by the
/// stack, by open files or by the length of a path.
[[nodiscard]] bool DeleteTree(std::u16string_view path);

}  // namespace ZaM::platform

#endif
