#pragma once

#include <memory>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/signals.h"
#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

/// Decides which edges of a triangle mesh may be swapped: those that no connected test vetoes.
///
///   MeshEdgeSwapper swapper;
///   swapper.getVetoSignal().connect(client, MeshEdgeSwapper::preventFoldover);
///   meshSwapEdgesRepeatedly(mesh, swapper);
///
/// Tests look at the two triangles beside a half-edge e from q0 to q1, with third vertices q2 in e's face and
/// q3 in its twin's. Swapping replaces the edge q0 q1 by q2 q3. One thread at a time.
class QVGEOM_API MeshEdgeSwapper {
 public:
  using VetoSignal = qvRTB::Signal2Args<TopoMeshEdge, bool&>;

  MeshEdgeSwapper();
  virtual ~MeshEdgeSwapper();
  MeshEdgeSwapper(const MeshEdgeSwapper&) = delete;
  MeshEdgeSwapper& operator=(const MeshEdgeSwapper&) = delete;

  /// The tests, in the order in which they are asked. One that forbids a swap sets its second argument; all
  /// others leave it alone.
  VetoSignal& getVetoSignal();
  /// Ends all connections.
  void clearVetoSignal();

  /// Whether e may be swapped: it has a twin, some test is connected, and none vetoes.
  virtual bool shouldSwap(TopoMeshEdge e);

  /// Sweeps after which relaxing gives up: tests may disagree for ever, and in space the angle test alone has
  /// no measure that falls with every swap.
  static constexpr int kMaxSweeps = 1000;

  /// The tests. An edge without twin is vetoed by each.
  /// Vetoes unless the sum of the two angles opposite the edge becomes strictly smaller. Depends on the four
  /// points alone.
  static void minimizeOppositeAngleSum(TopoMeshEdge e, bool& veto);
  /// Vetoes when a new triangle would have no normal, or the two would be folded by more than a right angle.
  static void preventFoldover(TopoMeshEdge e, bool& veto);
  /// Vetoes when both ends, of the edge or of the new one, are on the boundary.
  static void preserveBoundary(TopoMeshEdge e, bool& veto);
  /// Vetoes when the signed angles between the two triangles, as they are and as they would be, differ by
  /// more than 2.5 degrees: the swap would turn a crease.
  static void preserveFeatures(TopoMeshEdge e, bool& veto);

 private:
  std::unique_ptr<VetoSignal> veto_;
};

/// Sweeps once over the inner edges of the mesh, in the order of the half-edges and each from the older of
/// its two, and swaps those that `swapper` allows and TopoMesh::swapEdge does not refuse. @return number of
/// swaps
QVGEOM_API int meshSwapEdgesOnce(TopoMesh& mesh, MeshEdgeSwapper& swapper);
/// The same over the given half-edges, in the order of the set; those without a twin are passed over.
QVGEOM_API int meshSwapEdgesOnce(TopoMesh& mesh, qv::set<TopoMeshEdge> const& edges,
                                 MeshEdgeSwapper& swapper);

/// Sweeps until nothing is swapped any more; `kMaxSweeps` times at most. @return number of swaps
QVGEOM_API int meshSwapEdgesRepeatedly(TopoMesh& mesh, MeshEdgeSwapper& swapper);
QVGEOM_API int meshSwapEdgesRepeatedly(TopoMesh& mesh, qv::set<TopoMeshEdge> const& edges,
                                       MeshEdgeSwapper& swapper);

}  // namespace qvGeom
