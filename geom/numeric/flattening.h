#pragma once

#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/keel/progress.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

/// Gives a mesh texture coordinates by flattening it to the plane with the least distortion of angles:
///
///   reparameterizeMesh flattening(mesh);
///   if (!flattening.flatten()) ...  // the messages tell why
///
/// Works on a copy, which is welded; cut open to a disc if it is closed or has handles; turned so that the
/// plane of its outer boundary, the loop of the greatest extent along an axis, is level; and pinned at the
/// two vertices of that loop that lie farthest apart along that axis (x before y before z). Other loops are
/// closed by triangles that take part in the energy and in nothing else. The texture coordinates are those of
/// the free vertices that make the conformal energy least, moved and scaled by one factor into the unit
/// square, of which they span at least one side.
///
/// A mesh that was cut has one pair of coordinates for each vertex all the same: that of the wedge that kept
/// the vertex. Triangles at the cut then reach across the layout. Triangles without area do not take part;
/// vertices with no others stay where the plane has them.
///
/// The mesh changes only when all has gone well: its texture coordinates, with one notice of attributes that
/// were modified. Refused are a triangle with a repeated corner, boundary loops of fewer than three vertices,
/// what is no disc, a boundary without extent, positions that give no finite solution, and a mesh that has
/// got another number of vertices than the copy. Messages go to qvOS::AppOutput.
///
/// Whether it is a disc is told by the number of Euler alone, that of the mesh with its loops closed by
/// faces: above 3, as for two spheres or discs, it is refused; below 1, or without loops, the mesh is cut
/// open, and refused where that is switched off or leaves another number. Pieces, pinched vertices and edges
/// of more than two triangles whose numbers make up for one another, as a disc beside a torus, are not
/// noticed: the layout then is finite, and otherwise some layout.
///
/// The first call flattens the mesh as it was when the object was made, every further one as it is by then,
/// and as a new object would. One thread at a time.
/// O(V) memory; the solver's iterations, at most two a vertex, grow with the number of edges across the mesh.
/// After B. Levy, S. Petitjean, N. Ray and J. Maillot, Least squares conformal maps for automatic texture
/// atlas generation (2002), and M. Desbrun, M. Meyer and P. Alliez, Intrinsic parameterizations of surface
/// meshes (2002).
class QVGEOM_API reparameterizeMesh {
 public:
  /// Copies the mesh, which must outlive the object.
  explicit reparameterizeMesh(CompactMesh& mesh);
  ~reparameterizeMesh();
  reparameterizeMesh(const reparameterizeMesh&) = delete;
  reparameterizeMesh& operator=(const reparameterizeMesh&) = delete;

  /// Off: where welding closes or opens boundaries, the mesh is flattened without. On by default.
  void enableMeshCompact(bool enable);
  /// Off: what is not a disc already is refused. On by default.
  void enableMeshCutSurface(bool enable);
  /// On: the solver is led by a factorisation of its system, O(V log V) memory and O(V^1.5) time, and ends
  /// after some ten iterations: the layout is the same but for rounding, where the plain solver reaches it at
  /// all. Worth it from some thousand vertices on, and more so for meshes that are cut open, whose systems
  /// are stiff. Off by default.
  void enableFactorization(bool enable);

  /// @return whether the mesh has new texture coordinates
  bool flatten();
  /// The same, given up when cancelled.
  bool flatten(qvUtil::Progress& progress);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qvGeom
