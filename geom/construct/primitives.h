#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/lines.h"
#include "geom/model/keel/reference.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/bounding_box.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/polyline.h"
#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

// Simple shapes for display and interaction. Positions are in model units, angles in radians.
//
// A function that takes a mesh replaces all of its contents: arrays, channels, strips, lines and selections
// that the shape does not name are gone, normals count as supplied, and no notice is sent. Listeners and the
// array allocator stay.
//
// Refused, with the mesh unchanged or a null result: null pointers; an axis other than 0, 1, 2; counts that
// are too small, or so large that a mesh could not count the shape's elements (a third of the ints); numbers
// that are not finite, and those that lead to coordinates beyond the range of floats. A radius may be zero,
// which collapses the shape, or negative, which reflects it in its centre. Running out of memory throws
// std::bad_alloc and leaves the mesh as it was.
//
// A plane-aligned shape lies in the plane perpendicular to coordinate axis `axis`. Its coordinates u and v
// there are the axes (axis + 1) mod 3 and (axis + 2) mod 3, so that it runs counter-clockwise seen from
// +axis; that is its normal.

/// Rectangle u[0]..u[1] by v[0]..v[1] at height `level`: vertices (u0, v0), (u1, v0), (u0, v1), (u1, v1),
/// triangles (0, 1, 2), (3, 2, 1), normals +axis. A reversed range turns the triangles round, not the
/// normals.
/// @param withUVs whether vertex i gets the texture coordinates (uRange[i & 1], vRange[i >> 1]); otherwise
///                the two ranges are not looked at
QVGEOM_API void constructRectangle(const float* u, const float* v, float level, int axis, CompactMesh& mesh,
                                   bool withUVs, const float* uRange, const float* vRange);
/// The same with texture coordinates in [0, 1].
QVGEOM_API void constructRectangle(const float* u, const float* v, float level, int axis, CompactMesh& mesh,
                                   bool withUVs);
/// The same with one range for u and v.
QVGEOM_API void constructSquare(const float* range, float level, int axis, CompactMesh& mesh, bool withUVs);
/// The parallelogram between `origin` and `origin + u + v`, numbered alike: normals along u x v, (0, 0, 1)
/// where there is no such direction, and texture coordinates (s, t).
QVGEOM_API void constructRectangle(const qvLinear::ParamPlane& plane, CompactMesh& mesh);

/// Wall and floor that meet in an edge along x, seen from +y and +z: vertices 0, 1 at (x0, y0, z1), (x1, y0,
/// z1), 2, 3 on the common edge at (y0, z0), 4, 5 at (y1, z0); two triangles each, as in a rectangle. Normals
/// are +y on the wall, +z on the floor and halfway between on the common edge.
/// @param withUVs texture coordinates: uRange along x; vRange from top to front, its middle on the common
///                edge
QVGEOM_API void constructRectangularCorner(const float* x, const float* y, const float* z, CompactMesh& mesh,
                                           bool withUVs, const float* uRange, const float* vRange);
QVGEOM_API void constructRectangularCorner(const float* x, const float* y, const float* z, CompactMesh& mesh,
                                           bool withUVs);

/// Box with its own four vertices, and normals, on each face: 24 vertices, 12 triangles, faces in the order
/// +x, -x, +y, -y, +z, -z.
/// @param box minimum and maximum in x, in y and in z
QVGEOM_API void constructCuboid(const float box[3][2], CompactMesh& mesh);
/// The same with one range for all axes.
QVGEOM_API void constructCube(const float* range, CompactMesh& mesh);
/// The edges of a box as four line strips of four points, each edge once. Vertex k is corner k: maximum x
/// for bit 0, y for bit 1, z for bit 2. An empty box is refused.
QVGEOM_API void constructBoxEdgeLineStrips(const BoundingBox& box, CompactMesh& mesh);

/// One closed line strip of `segments` >= 1 chords with texture coordinates of the unit circle about (0.5,
/// 0.5). Vertex i is at angle i 2 pi / segments from u towards v; the last one repeats the first.
QVGEOM_API void constructCircle(const qvLinear::Point& centre, float radius, int axis, int segments,
                                CompactMesh& mesh);
/// Fan of `segments` >= 1 triangles about the centre, vertex 0; the rim starts at vertex 1 one step past u.
/// Normals +axis, texture coordinates as for the circle. Fewer than three segments have no area.
QVGEOM_API void constructDisk(const qvLinear::Point& centre, float radius, int axis, int segments,
                              CompactMesh& mesh);
/// Chords (i, i + 1) from one angle to the other, as many as the quotient (endAngle - startAngle) / pi
/// segmentsPerPi, computed in float, has whole numbers; refused when that is less than one. The last vertex
/// lies exactly at `endAngle`.
QVGEOM_API void constructArc(const qvLinear::Point& centre, float radius, float startAngle, float endAngle,
                             int axis, int segmentsPerPi, CompactMesh& mesh);

/// Ring sector about the origin in the plane z = 0, from +x over `angle`: `count` >= 1 pairs of an inner and
/// an outer vertex joined by 2 count - 2 triangles, texture coordinates (i / (count - 1), 0 or 1). Triangles
/// and normals face -z for an angle >= 0 and +z otherwise. A single pair lies at angle 0 with u = 0.
QVGEOM_API void constructAnnularArc(float innerRadius, float outerRadius, double angle, int count,
                                    CompactMesh& mesh);
/// Gives such a mesh new radii and a new angle: positions and normals, the latter added where missing. Sends
/// one notice that the geometry and the normals were modified. A mesh whose number n of vertices is odd, or
/// whose number of triangles is not n - 2, is left unchanged.
QVGEOM_API void updateAnnularArc(float innerRadius, float outerRadius, double angle, CompactMesh& mesh);

/// Sphere of 4 n meridians and 2 n - 1 rings, n >= 1, with normals: vertex 0 at +z, 1 at -z, then the rings
/// from +z down, each from +y towards +x.
QVGEOM_API void constructSphere(const qvLinear::Point& centre, float radius, int n, CompactMesh& mesh);

/// One line from a to b.
QVGEOM_API void constructLineSegment(const qvLinear::Point& a, const qvLinear::Point& b, CompactMesh& mesh);
/// One line from the origin of `line` to its point at parameter 1, with the two values in the attribute
/// channel "T".
QVGEOM_API void constructLineSegment(const qvLinear::ParamLine& line, CompactMesh& mesh, float t0, float t1);
/// One line strip through the points in order. A closed one has a further vertex that repeats the first
/// point, but its strip ends with vertex 0. Null for fewer than two points.
QVGEOM_API qv::Reference<CompactMesh> constructLineStrip(const qv::vector<qvLinear::Point2>& points,
                                                         bool closed);
QVGEOM_API qv::Reference<CompactMesh> constructLineStrip(const qv::vector<qvLinear::Point2Flt>& points,
                                                         bool closed);
QVGEOM_API qv::Reference<CompactMesh> constructLineStrip(const qv::vector<qvLinear::Point>& points,
                                                         bool closed);
/// The line's points at parameters -1, 0 and 1, joined by two lines, for a viewer that stretches the ends to
/// infinity: the attribute channel "T" is 0 at the ends and 1 in the middle.
QVGEOM_API qv::Reference<CompactMesh> constructInfiniteLine(const qvLinear::Line& line);

/// Fan over a convex polygon in the plane z = 0 from its first vertex; triangles run the way the boundary
/// does. A boundary that repeats its first vertex at the end counts it once. Null for fewer than three
/// vertices; whether the polygon is convex is not looked at.
QVGEOM_API qv::Reference<CompactMesh> constructPolygonFromConvexBoundary(const Polyline2d& boundary);

/// Sphere about the plane's origin: an octahedron with corners along the plane's axes, each triangle cut into
/// four at the midpoints of its sides `levels` >= 1 times, with all vertices moved out to the given radius.
/// 8 4^levels faces, every half-edge with its twin. The axes are u, made a unit vector, the part of v
/// perpendicular to it, likewise, and their cross product; null when u and v span no plane.
QVGEOM_API qv::Reference<TopoMesh> constructSubdividedOctahedron(const qvLinear::ParamPlane& plane,
                                                                 int levels, double radius);

/// Gives every vertex the normalised direction as its normal, supplied rather than computed. Unlike the
/// above this leaves the rest of the mesh alone. A direction that cannot be normalised is refused.
QVGEOM_API void addUniformNormals(CompactMesh& mesh, const qvLinear::Vector& direction);

}  // namespace qvGeom
