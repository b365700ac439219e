#pragma once

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "geom/qvGeom.h"

#include "console.h"

namespace tool {

/// Whether all three corners of a triangle have finite texture coordinates.
bool isInLayout(const qvGeom::CompactMesh& mesh, int triangle);

/// The range of u and of v over the triangles that are in the layout; without any the least is infinite, and
/// the greatest is less.
struct LayoutBox {
  double least[2];
  double greatest[2];

  bool isEmpty() const { return !(least[0] <= greatest[0]); }
  double extent() const { return std::max(greatest[0] - least[0], greatest[1] - least[1]); }
};
LayoutBox layoutBox(const qvGeom::CompactMesh& mesh);

/// How a mesh lies in the plane by its texture coordinates. Triangles without area on the surface do not
/// count. Stretch is told for the layout scaled to the area of the surface: 1 is true to length.
struct LayoutQuality {
  double stretchMean = 0;   ///< root of the mean square of the stretch over directions and area
  double stretchMax = 0;    ///< the greatest of any triangle in any direction
  double stretchMin = 0;    ///< the least
  double angleMean = 0;     ///< degrees by which a corner's angle in the layout differs from the true one
  double angleMax = 0;      ///< degrees
  int flipped = 0;          ///< triangles that face the other way than most
  int collapsed = 0;        ///< triangles without area in the layout
  double span[2] = {0, 0};  ///< of the texture coordinates in use

  nlohmann::ordered_json asJson() const;
  std::string asText() const;
};

/// @param mesh with texture coordinates
/// Throws a failure: interrupted.
LayoutQuality measureLayout(const qvGeom::CompactMesh& mesh, Console& console);

/// For each triangle the root of its mean square stretch over all directions, scaled as above; NaN for one
/// without a finite area on the surface, or without finite texture coordinates.
std::vector<double> layoutStretches(const qvGeom::CompactMesh& mesh);

/// For each triangle 1, or -1 if it faces the other way than most in the layout, or 0 if it has no area
/// there.
std::vector<signed char> layoutSides(const qvGeom::CompactMesh& mesh);

struct Flattened {
  bool done = false;
  bool wasCut = false;
  std::int64_t genus = 0;  ///< of a mesh in one piece
  std::string refusal;     ///< why not, where something can be said
};

/// Gives the mesh new texture coordinates.
/// @param mayCut  whether a mesh that is no disc is cut open
/// @param welds   whether vertices at the same position count as one, even where that closes a boundary
/// Throws a failure: interrupted.
Flattened flattenMesh(qvGeom::CompactMesh& mesh, bool mayCut, bool welds, double share, Console& console);

}  // namespace tool
