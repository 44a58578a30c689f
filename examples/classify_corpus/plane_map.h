// The picture of documents as points on a plane.
#ifndef CLASSIFY_CORPUS_PLANE_MAP_H
#define CLASSIFY_CORPUS_PLANE_MAP_H

#include <string>
#include <vector>

#include "plane.h"

namespace classify {

/// Draws the points coloured by class, the name of each class in the middle of its points, and a legend with how many
/// they are; SVG. Throws RunError if there is nothing to draw, or as `DrawPicture` does.
std::string DrawMap(std::string const& corpus, DocumentMap const& map, std::vector<std::string> const& classNames);

}  // namespace classify

#endif
