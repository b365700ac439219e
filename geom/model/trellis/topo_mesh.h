#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/keel/vectors.h"

namespace qvGeom {

class TopoMesh;
class TopoMeshEdge;
class TopoMeshFace;
class TopoMeshVertex;

/// The records behind the handles. Callers hold handles; nothing outside the half-edge mesh reads these.
///
/// Records lie in blocks in order of creation, so that the lists need no links. Number 0 marks a place
/// without an element; the first such place in a block leads on to the next block.
namespace topo {

struct Edge;
struct Face;

struct Vertex {
  std::uint32_t number = 0;
  bool alive = true;
  qvLinear::Point point;
  union {
    Edge* first = nullptr;  // the fan that iteration sees is the one of this half-edge
    Vertex* nextBlock;
  };
  Edge* outgoing = nullptr;  // ring of all half-edges that start here, of every fan, in no order that counts
};

struct alignas(64) Edge {  // one cache line: edits touch many at random
  std::uint32_t number = 0;
  bool alive = true;
  union {
    Edge* next = nullptr;
    Edge* nextBlock;
  };
  Edge* prev = nullptr;
  Edge* twin = nullptr;
  Vertex* start = nullptr;
  Face* face = nullptr;
  Edge* outPrev = nullptr;  // neighbours in the start's ring
  Edge* outNext = nullptr;
};
static_assert(sizeof(Edge) == 64 || sizeof(void*) != 8);

struct Face {
  std::uint32_t number = 0;
  bool alive = true;
  int size = 0;  // half-edges of the cycle
  union {
    Edge* first = nullptr;
    Face* nextBlock;
  };
};

/// The first living element from this place on; null when there is none.
template <typename Record>
Record* livingFrom(Record* place) {
  while (place && !(place->number != 0 && place->alive))
    place = place->number == 0 ? place->nextBlock : place + 1;
  return place;
}

/// What the three handles share. A handle is a pointer to a record that stays in place until its mesh dies,
/// so that it can be asked for its number, and whether its element is alive, also after a deletion. Nothing
/// else may be asked of a null handle.
///
/// Handles order by creation number, null first: containers of handles iterate alike in every run.
template <typename Record>
class Handle {
 public:
  constexpr Handle() = default;
  explicit constexpr Handle(Record* record) : record_(record) {}

  explicit operator bool() const { return record_ != nullptr; }
  /// Creation number, from 1, never given twice within a mesh; 0 for null.
  std::uint64_t number() const { return record_ ? record_->number : 0; }
  /// Not null and not deleted.
  bool isAlive() const { return record_ && record_->alive; }

  friend bool operator==(const Handle& a, const Handle& b) { return a.record_ == b.record_; }

 protected:
  friend class qvGeom::TopoMesh;
  Record* record_ = nullptr;
};

}  // namespace topo

/// Vertex of a TopoMesh.
class QVGEOM_API TopoMeshVertex : public topo::Handle<topo::Vertex> {
 public:
  using Handle::Handle;

  const qvLinear::Point& point() const { return record_->point; }
  void setPoint(const qvLinear::Point& p) const { record_->point = p; }
  /// Some outgoing half-edge; null for a vertex without faces.
  TopoMeshEdge firstEdge() const;
  /// Number of outgoing half-edges that TopoMeshEdgeVertexIterator visits: one fan's. At an inner vertex the
  /// number of neighbours, at a boundary vertex one less; 0 without faces.
  int valence() const;
  /// Whether the fan is open; true for a vertex without faces.
  bool onBoundary() const;
  /// All half-edges that start here, of every fan, the oldest first.
  qv::vector<TopoMeshEdge> outgoingEdges() const;
  /// The vertex created next among those alive; null at the end of the list.
  TopoMeshVertex nextInMesh() const { return TopoMeshVertex(topo::livingFrom(record_ + 1)); }

  friend auto operator<=>(const TopoMeshVertex& a, const TopoMeshVertex& b) {
    return a.number() <=> b.number();
  }
};

/// Directed half-edge of a face. There are no half-edges without a face: at a boundary the twin is null.
class QVGEOM_API TopoMeshEdge : public topo::Handle<topo::Edge> {
 public:
  using Handle::Handle;

  TopoMeshVertex start() const { return TopoMeshVertex(record_->start); }
  TopoMeshVertex end() const { return TopoMeshVertex(record_->next->start); }
  /// Successor and predecessor in the cycle of the face.
  TopoMeshEdge next() const { return TopoMeshEdge(record_->next); }
  TopoMeshEdge prev() const { return TopoMeshEdge(record_->prev); }
  /// The opposite half-edge of the neighbouring face; null at a boundary.
  TopoMeshEdge twin() const { return TopoMeshEdge(record_->twin); }
  TopoMeshFace face() const;
  /// The half-edge created next among those alive; null at the end. Not the successor in the face.
  TopoMeshEdge nextInMesh() const { return TopoMeshEdge(topo::livingFrom(record_ + 1)); }

  friend auto operator<=>(const TopoMeshEdge& a, const TopoMeshEdge& b) { return a.number() <=> b.number(); }
};

/// Polygonal face: a closed cycle of at least three half-edges.
class QVGEOM_API TopoMeshFace : public topo::Handle<topo::Face> {
 public:
  using Handle::Handle;

  /// After creation the half-edge that starts at the first vertex given.
  TopoMeshEdge firstEdge() const { return TopoMeshEdge(record_->first); }
  int numVertices() const { return record_->size; }
  /// Mean of the corners.
  qvLinear::Point centroid() const;
  TopoMeshFace nextInMesh() const { return TopoMeshFace(topo::livingFrom(record_ + 1)); }

  friend auto operator<=>(const TopoMeshFace& a, const TopoMeshFace& b) { return a.number() <=> b.number(); }
};

inline TopoMeshEdge TopoMeshVertex::firstEdge() const { return TopoMeshEdge(record_->first); }
inline TopoMeshFace TopoMeshEdge::face() const { return TopoMeshFace(record_->face); }

namespace topo {
template <typename Record>
class Pool;
}

/// Half-edge mesh for editing: polygons with directed half-edges, also non-manifold ones.
///
/// An editing operation either does all of its work and says so, or changes nothing and returns null or
/// false; the same holds when memory runs out. Handles that an operation does not name as removed stay valid
/// and keep their twins unless stated. The lists of vertices, half-edges and faces are in order of creation.
/// Null handles and those of deleted elements are refused by every operation; those of another mesh are not
/// recognised: do not mix meshes. What a deleted element was linked to is no longer told: of such a handle
/// ask nothing but `number` and `isAlive`.
///
/// Two half-edges are neighbours only once they are twins; new faces have none. All fans of a vertex are
/// known to `findEdge`, deletion and merging; iteration about a vertex sees the one fan of its first edge.
/// A first edge that is lost is followed by another of the same fan, and by the oldest half-edge of another
/// fan only when its own is gone.
///
/// Reference counted, not copyable, one thread at a time. Records of deleted elements stay until the mesh
/// dies, so memory, and the time of a walk along a list, follow the number of elements ever created: 2^32 - 1
/// of a kind at most.
class QVGEOM_API TopoMesh : public qv::ReferenceCount {
 public:
  TopoMesh();
  ~TopoMesh() override;
  TopoMesh(const TopoMesh&) = delete;
  TopoMesh& operator=(const TopoMesh&) = delete;

  TopoMeshVertex firstVertex() const { return TopoMeshVertex(vertices_.head); }
  TopoMeshEdge firstEdge() const { return TopoMeshEdge(edges_.head); }
  TopoMeshFace firstFace() const { return TopoMeshFace(faces_.head); }
  /// Living elements; half-edges are counted one by one.
  int numVertices() const { return vertices_.count; }
  int numEdges() const { return edges_.count; }
  int numFaces() const { return faces_.count; }

  TopoMeshVertex allocVertex(const qvLinear::Point& p);
  /// A new face with half-edges a->b, b->c, c->a without twins, whatever edges exist already. Vertices may
  /// repeat. Null if a vertex is.
  TopoMeshFace allocTriangle(TopoMeshVertex a, TopoMeshVertex b, TopoMeshVertex c);
  /// The same for any polygon; null for fewer than three vertices.
  TopoMeshFace allocFace(const qv::vector<TopoMeshVertex>& corners);

  /// Makes a and b twins of each other. Refused when they are one, when either has a twin, when their ends
  /// are not opposite, or when they start where they end.
  bool setTwins(TopoMeshEdge a, TopoMeshEdge b);

  /// The half-edge from a to b in any fan of a, the oldest if there are several; null if none. O(half-edges
  /// that start at a).
  TopoMeshEdge findEdge(TopoMeshVertex a, TopoMeshVertex b) const;

  /// Turns the diagonal of the two triangles at e. With e: q0->q1 in (q0, q1, q2) and its twin in (q1, q0,
  /// q3), e then runs q2->q3 in (q3, q1, q2) and its twin q3->q2 in (q3, q2, q0): the same half-edges and
  /// faces, so q1->q2 and q3->q1 lie in e's face, q2->q0 and q0->q3 in the twin's. Nothing is created,
  /// deleted or moved in the lists; a second swap restores the diagonal with ends and faces exchanged.
  /// Refused without a twin, when a side is no triangle or both are the same face, when q2 = q3, or when an
  /// edge between q2 and q3 exists in either direction.
  bool swapEdge(TopoMeshEdge e);

  /// Cuts a triangle into three at a new vertex. The outer half-edges keep their identity and twins; f stays
  /// as the face of its first edge. Null when f is no triangle.
  TopoMeshVertex subdivideFace(TopoMeshFace f, const qvLinear::Point& p);
  /// Cuts a face by the diagonal from the start of `from` to the start of `to`, two half-edges of it that are
  /// not the same or adjacent and start at different vertices. The face keeps the part with `from`, the other
  /// half-edges get a new face.
  /// @return the new half-edge in the old face, whose twin lies in the new one; null when refused
  TopoMeshEdge subdivideFace(TopoMeshEdge from, TopoMeshEdge to);
  /// Puts a new vertex m on e: u->w. e becomes u->m and a new half-edge m->w follows it; the same on the
  /// side of the twin, which becomes w->m. Each of the four is then the twin of the one it lies against, so e
  /// and its former twin both have a new twin. The faces have one edge more each. Null when e is.
  TopoMeshVertex subdivideEdge(TopoMeshEdge e, const qvLinear::Point& p);

  /// Whether `deleteVertex` would do its work.
  bool canDeleteVertex(TopoMeshVertex v) const;
  /// Removes v in one of three cases and refuses all others:
  /// - v is an inner vertex of a single fan of three triangles: its half-edges and two of the faces go; the
  ///   three half-edges around keep their handles and twins and become the cycle of the returned face (the
  ///   oldest of the three). Refused when the three neighbours across them are one face: two faces back to
  ///   back would remain;
  /// - v is the tip of an ear, a vertex of one triangle whose two sides there have no twins: v and the face
  ///   go, the opposite side's twin becomes a boundary; null is returned. A triangle on its own leaves its
  ///   other two corners without faces;
  /// - v has no faces: v goes, null is returned.
  TopoMeshFace deleteVertex(TopoMeshVertex v);

  /// Moves one end of e onto the other, `keep`, which stays where it is. The triangles of e go; the two
  /// remaining sides of each become one edge: their outer half-edges are twins, or boundary. A face with more
  /// than three edges loses e only. Refused
  /// - when `keep` is no end of e, or e runs from a vertex to itself;
  /// - when e is an inner edge between two boundary vertices, or the removed end has more than one fan;
  /// - when a triangle of e has no twin on either of its other sides;
  /// - when the ends share a neighbour other than the apexes of e's triangles, or these have the same apex;
  /// - when a face would come to repeat a vertex: one of e that already repeats an end, or one beside it that
  ///   has both ends;
  /// - when two triangles, one at each end, would come to lie upon each other, as in a tetrahedron.
  bool contractEdge(TopoMeshEdge e, TopoMeshVertex keep);
  /// Whether `contractEdge` would do its work.
  bool canContractEdge(TopoMeshEdge e, TopoMeshVertex keep) const;

  /// Sews two boundary half-edges together: a's start and b's end become one vertex, a's, likewise a's end
  /// and b's start, and a and b become twins. All half-edges of the removed vertices are re-hung, of every
  /// fan; none, one or two vertices go. Refused when a = b or either has a twin, when a is or would become an
  /// edge from a vertex to itself, or when two different vertices to be joined belong to one face already.
  bool mergeVertices(TopoMeshEdge a, TopoMeshEdge b);
  /// Whether `mergeVertices` would do its work.
  bool canMergeVertices(TopoMeshEdge a, TopoMeshEdge b) const;

  /// Checks every invariant in O(elements): lists and counts, closed face cycles of stated size, mutual and
  /// opposite twins, rings of outgoing half-edges complete, first edges right.
  /// @param fault receives the first fault found; may be null
  bool validate(std::string* fault = nullptr) const;

 private:
  template <typename Record>
  struct List {
    Record* head = nullptr;  // the oldest that is alive
    int count = 0;
    std::uint32_t lastNumber = 0;
    std::unique_ptr<topo::Pool<Record>> pool;

    List();
    ~List();
    void reserve(int more);       // the next `more` appends cannot fail
    Record* append();             // needs `reserve`
    void remove(Record* record);  // the record stays in the pool, marked as deleted
  };

  TopoMeshFace newFace(const TopoMeshVertex* corners, int numCorners);
  topo::Edge* newEdge(topo::Vertex* start, topo::Face* face);
  void removeEdge(topo::Edge* edge, topo::Edge* sameFan);
  TopoMeshFace removeInnerVertex(topo::Vertex* vertex);
  void removeEar(topo::Vertex* vertex);
  void collapseSide(topo::Edge* edge);

  List<topo::Vertex> vertices_;
  List<topo::Edge> edges_;
  List<topo::Face> faces_;
};

/// Visits the outgoing half-edges of one fan about a vertex, from e to twin(prev(e)). A closed fan starts at
/// the vertex's first edge, an open one at its half-edge without twin, so that all are met.
///
/// Visits at most as many half-edges as the fan had at the start. The half-edge it has left may be swapped
/// away or edited: advance first, then edit. Ends early when the half-edge it stands on has been deleted.
class QVGEOM_API TopoMeshEdgeVertexIterator {
 public:
  explicit TopoMeshEdgeVertexIterator(TopoMeshVertex v);

  bool valid() const { return remaining_ > 0; }
  /// Only while valid.
  TopoMeshEdge get() const { return edge_; }
  void next();

 private:
  TopoMeshEdge edge_;
  int remaining_ = 0;
};

/// Walks a boundary loop along its half-edges. At a vertex with several fans it stays with the fan that it
/// came in by. A loop closes after at most as many steps as the mesh has half-edges.
class QVGEOM_API TopoMeshBoundaryIterator {
 public:
  TopoMeshBoundaryIterator() = default;
  explicit TopoMeshBoundaryIterator(TopoMeshEdge e) { reset(e); }
  explicit TopoMeshBoundaryIterator(TopoMeshVertex v) { reset(v); }

  /// Stands on the boundary half-edge e; invalid when e is null, deleted or has a twin.
  void reset(TopoMeshEdge e);
  /// Stands on the boundary half-edge that leaves v in the fan of its first edge; invalid at an inner vertex.
  void reset(TopoMeshVertex v);

  bool valid() const { return static_cast<bool>(edge_); }
  /// The current half-edge; it starts at the current vertex.
  TopoMeshEdge get() const { return edge_; }
  /// Advances along the loop; invalid when the half-edge it stands on was deleted or has become an inner one.
  /// @return the new current half-edge, null when invalid; the walk closes when the first comes again
  TopoMeshEdge nextEdge();
  /// The boundary half-edges that enter and leave the current vertex within one fan; null when invalid.
  void getPrevNextEdges(TopoMeshEdge& prev, TopoMeshEdge& next) const;

 private:
  TopoMeshEdge edge_;
};

}  // namespace qvGeom

/// @cond
// Hashes follow the creation number, like the order.
template <>
struct std::hash<qvGeom::TopoMeshVertex> {
  std::size_t operator()(const qvGeom::TopoMeshVertex& v) const {
    return static_cast<std::size_t>(v.number());
  }
};
template <>
struct std::hash<qvGeom::TopoMeshEdge> {
  std::size_t operator()(const qvGeom::TopoMeshEdge& e) const { return static_cast<std::size_t>(e.number()); }
};
template <>
struct std::hash<qvGeom::TopoMeshFace> {
  std::size_t operator()(const qvGeom::TopoMeshFace& f) const { return static_cast<std::size_t>(f.number()); }
};
/// @endcond
