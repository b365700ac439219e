#pragma once

#include <string>

#include "geom/qvGeom.h"

namespace tool {

/// Kind of a picture file by its name: PNG or SVG. Throws a usage failure for any other name.
enum class LayoutFormat { png, svg };
LayoutFormat layoutFormat(const std::string& path);

/// The bytes of a picture of the triangles by their texture coordinates, v upwards: their edges, those that
/// face the other way than most in red. A PNG file has 1000 pixels along the longer side, and lighter lines
/// the more there are; an SVG file has one path for either colour.
std::string layoutPicture(const qvGeom::CompactMesh& mesh, LayoutFormat format);

}  // namespace tool
