#pragma once

#include <memory>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

/// Which stretches of sampled curves lie against each other within a distance.
///
/// The curves are the line strips of a mesh, in its order, given by their points; one whose last point is its
/// first again is closed. They are expected to be sampled at a fraction of the distance asked for, a fifth or
/// less: a stretch is told by its samples alone. Where thousands of them crowd within the distance, the
/// first few thousand count. Points of triangles and of single lines take no part.
namespace MeshLineTopology {

class TopologyAlg;

/// The place of a sample at which an edge ends.
class QVGEOM_API Vertex {
 public:
  qvLinear::PointFlt getPosition() const;
  /// Number of the sample among the points of the mesh.
  int getPoint() const { return point_; }

 private:
  friend class Edge;
  Vertex(const TopologyAlg& topology, int point) : topology_(&topology), point_(point) {}

  const TopologyAlg* topology_;
  int point_;
};

/// A stretch of a curve, from its first to its second point in the order of the curve, that lies against
/// another stretch, its twin. A value that names a record of its topology: valid until that computes again or
/// dies.
class QVGEOM_API Edge {
 public:
  /// Exactly one of the two holds. A circular edge is a whole closed curve; its two points are then the same
  /// sample, and those of its twin the sample that this one lies against.
  bool isLinear() const { return !isCircular(); }
  bool isCircular() const;
  /// Whether both run the same way along each other, once the curves that the orientation names are reversed:
  /// surfaces to the left of both would lie upon each other, not side by side. The answer of an edge and of
  /// its twin is the same.
  bool isTwinReversed() const;
  Edge getTwin() const;
  /// Sample numbers: points of the mesh. Those of the twin match crosswise when both run opposite ways, its
  /// second point lying against this first one; of twins that run the same way, first lies against first.
  /// Those of a linear edge may be equal: it then runs all around, or is too short to tell its ends apart.
  int getFirstPoint() const;
  int getSecondPoint() const;
  Vertex getFirstVertex() const { return Vertex(*topology_, getFirstPoint()); }
  Vertex getSecondVertex() const { return Vertex(*topology_, getSecondPoint()); }
  /// Number of the curve.
  int getCurve() const;
  /// Position in the order of the topology.
  int index() const { return index_; }

  friend bool operator==(const Edge& a, const Edge& b) { return a.index_ == b.index_; }

 private:
  friend class TopologyAlg;
  friend class EdgeIterator;
  Edge(const TopologyAlg& topology, int index) : topology_(&topology), index_(index) {}

  const TopologyAlg* topology_;
  int index_;
};

/// Computes the edges. One thread at a time.
class QVGEOM_API TopologyAlg {
 public:
  /// @param curves must outlive this and stay as it is
  explicit TopologyAlg(CompactMesh const& curves);
  ~TopologyAlg();
  TopologyAlg(const TopologyAlg&) = delete;
  TopologyAlg& operator=(const TopologyAlg&) = delete;

  /// @param distance within which stretches count as lying against each other, inclusive, in model units
  /// @return false, and no edges, when the distance is not positive and finite, a point of a curve is not
  ///         finite, or a strip names a point that does not exist
  bool compute(double distance);

  /// Says which curves belong to one piece and can only be reversed together; without it, each by itself.
  /// @param pieces one number for each curve, equal for those of a piece; a curve without one is by itself
  void setPieces(const qv::vector<int>& pieces);

  /// One bit for each curve, set for those to be reversed so that neighbours agree: along twins the curves
  /// then run opposite ways. Where not all can, long stretches come before short ones, and nothing is to be
  /// reversed unless the length that agrees becomes greater. The lowest curve of each connected set stays.
  /// Empty before the first successful computation.
  const BitVector& getOrientation() const;
  int getNumEdges() const;

 private:
  friend class Edge;
  friend class Vertex;
  class Impl;
  std::unique_ptr<Impl> impl_;
};

/// Visits all edges, twins included, by curve and then by first point along it.
class QVGEOM_API EdgeIterator {
 public:
  explicit EdgeIterator(const TopologyAlg& topology) : topology_(&topology) {}

  bool valid() const { return index_ < topology_->getNumEdges(); }
  /// Only while valid.
  Edge get() const { return Edge(*topology_, index_); }
  void next() { ++index_; }

 private:
  const TopologyAlg* topology_;
  int index_ = 0;
};

}  // namespace MeshLineTopology

}  // namespace qvGeom
