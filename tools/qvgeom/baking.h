#pragma once

#include <functional>

#include "geom/qvGeom.h"

#include "console.h"
#include "picture.h"

namespace tool {

/// Colours a place of a surface: writes red, green and blue as screens know them. @return false where there
/// is no colour
using Paint = std::function<bool(const qvGeom::MeshCoord& at, unsigned char* colour)>;

/// Paints the triangles of a mesh where its texture coordinates put them in the unit square, v upwards, into
/// a picture with alpha of size x size pixels. Pixels whose centre no triangle covers are transparent; where
/// several do, the one with the lowest number is shown. Which way a triangle faces makes no difference; one
/// without area in the layout, or with a coordinate that is not finite, is left out.
///
/// Coordinates within [0, 1] are taken as they are. Others are moved and scaled, u and v alike, until all
/// that triangles use just fit; that is told.
/// @param mesh with texture coordinates
/// @param size at least 1
/// Throws a failure: interrupted.
Picture bakeLayout(const qvGeom::CompactMesh& mesh, int size, const Paint& paint, Console& console);

}  // namespace tool
