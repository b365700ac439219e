#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "geom/model/trellis/topo_mesh.h"
#include "geom/model/trellis/topo_mesh_records.h"

// Every operation asks all of its questions first, then reserves the records it will take, and only then
// relinks: nothing after the first changed link can fail.

namespace qvGeom {

using topo::Edge;
using topo::Face;
using topo::Fan;
using topo::Vertex;

namespace {

void link(Edge* e, Edge* next) {
  e->next = next;
  next->prev = e;
}

void pair(Edge* a, Edge* b) {
  a->twin = b;
  b->twin = a;
}

// Makes a, b, c the cycle of f, whose size and first edge are the caller's.
void closeTriangle(Edge* a, Edge* b, Edge* c, Face* f) {
  link(a, b);
  link(b, c);
  link(c, a);
  a->face = b->face = c->face = f;
}

// Enters e into the ring of v.
void hang(Edge* e, Vertex* v) {
  e->start = v;
  if (Edge* const head = v->outgoing) {
    e->outPrev = head->outPrev;
    e->outNext = head;
    e->outPrev->outNext = head->outPrev = e;
  } else {
    e->outPrev = e->outNext = v->outgoing = v->first = e;
  }
}

// Takes e out of the ring of its start. `sameFan` follows it as first edge; null when e was alone in its fan.
void unhang(Edge* e, Edge* sameFan) {
  Vertex* const v = e->start;
  e->outPrev->outNext = e->outNext;
  e->outNext->outPrev = e->outPrev;
  if (v->outgoing == e) v->outgoing = e->outNext == e ? nullptr : e->outNext;
  if (v->first != e) return;
  v->first = sameFan ? sameFan : topo::oldestOutgoing(v, [](const Edge*) { return true; });
}

// Moves the whole ring of `from`, every fan of it, to `to`, whose first edge stays. Both have faces.
void rehang(Vertex* from, Vertex* to) {
  Edge *const a = from->outgoing, *const b = to->outgoing;
  topo::anyOutgoing(from, [to](Edge* e) { return e->start = to, false; });
  std::swap(a->outPrev->outNext, b->outPrev->outNext);
  std::swap(a->outPrev, b->outPrev);
  from->outgoing = from->first = nullptr;
}

// How often v is a corner of the face of e.
int timesInFace(const Edge* e, const Vertex* v) {
  int n = 0;
  const Edge* h = e;
  do {
    n += h->start == v;
    h = h->next;
  } while (h != e);
  return n;
}

// Whether a face has both vertices as corners.
bool shareFace(const Vertex* a, const Vertex* b) {
  return topo::anyOutgoing(a, [b](const Edge* e) { return timesInFace(e, b) > 0; });
}

// Whether a half-edge runs between a and b in either direction: one from b to a is followed by one from a.
bool joined(const Vertex* a, const Vertex* b) {
  return topo::anyOutgoing(a, [b](const Edge* e) { return topo::endOf(e) == b || e->prev->start == b; });
}

bool isTriangle(const Edge* e) { return e->face->size == 3; }

}  // namespace

// ---- creation ----

Edge* TopoMesh::newEdge(Vertex* start, Face* face) {
  Edge* const e = edges_.append();
  e->face = face;
  hang(e, start);
  return e;
}

void TopoMesh::removeEdge(Edge* edge, Edge* sameFan) {
  unhang(edge, sameFan);
  edges_.remove(edge);
}

TopoMeshVertex TopoMesh::allocVertex(const qvLinear::Point& p) {
  vertices_.reserve(1);
  Vertex* const v = vertices_.append();
  v->point = p;
  return TopoMeshVertex(v);
}

TopoMeshFace TopoMesh::newFace(const TopoMeshVertex* corners, int numCorners) {
  for (int i = 0; i < numCorners; ++i)
    if (!corners[i].isAlive()) return {};
  faces_.reserve(1);
  edges_.reserve(numCorners);
  Face* const f = faces_.append();
  f->size = numCorners;
  f->first = newEdge(corners[0].record_, f);
  Edge* last = f->first;
  for (int i = 1; i < numCorners; ++i) {
    Edge* const e = newEdge(corners[i].record_, f);
    link(last, e);
    last = e;
  }
  link(last, f->first);
  return TopoMeshFace(f);
}

TopoMeshFace TopoMesh::allocTriangle(TopoMeshVertex a, TopoMeshVertex b, TopoMeshVertex c) {
  const std::array corners{a, b, c};
  return newFace(corners.data(), 3);
}

TopoMeshFace TopoMesh::allocFace(const qv::vector<TopoMeshVertex>& corners) {
  if (corners.size() < 3) return {};
  return newFace(corners.data(), static_cast<int>(corners.size()));
}

bool TopoMesh::setTwins(TopoMeshEdge a, TopoMeshEdge b) {
  if (!a.isAlive() || !b.isAlive() || a == b || a.twin() || b.twin()) return false;
  if (a.start() != b.end() || a.end() != b.start() || a.start() == a.end()) return false;
  pair(a.record_, b.record_);
  return true;
}

// ---- swapping and cutting ----

bool TopoMesh::swapEdge(TopoMeshEdge handle) {
  if (!handle.isAlive() || !handle.twin()) return false;
  Edge* const e = handle.record_;
  Edge* const t = e->twin;
  if (!isTriangle(e) || !isTriangle(t)) return false;
  Edge *const q1q2 = e->next, *const q2q0 = e->prev, *const q0q3 = t->next, *const q3q1 = t->prev;
  Vertex *const q2 = q2q0->start, *const q3 = q3q1->start;
  // Both sides in one triangle, which then has a corner twice, are refused with the rest: q2 = q3.
  if (q2 == q3 || joined(q2, q3)) return false;

  unhang(e, q0q3);
  unhang(t, q1q2);
  hang(e, q2);
  hang(t, q3);
  closeTriangle(e, q3q1, q1q2, e->face);
  closeTriangle(t, q2q0, q0q3, t->face);
  if (e->face->first == q2q0) e->face->first = e;
  if (t->face->first == q3q1) t->face->first = t;
  return true;
}

TopoMeshVertex TopoMesh::subdivideFace(TopoMeshFace f, const qvLinear::Point& p) {
  if (!f.isAlive() || f.numVertices() != 3) return {};
  vertices_.reserve(1);
  faces_.reserve(2);
  edges_.reserve(6);
  Vertex* const m = vertices_.append();
  m->point = p;

  const std::array<Edge*, 3> outer{f.record_->first, f.record_->first->next, f.record_->first->prev};
  std::array<Edge*, 3> inward, outward;  // of each new triangle, from the end of its outer edge to m and back
  for (std::size_t i = 0; i < 3; ++i) {
    Face* const face = i == 0 ? f.record_ : faces_.append();
    face->first = outer[i];
    face->size = 3;
    inward[i] = newEdge(outer[(i + 1) % 3]->start, face);
    outward[i] = newEdge(m, face);
  }
  for (std::size_t i = 0; i < 3; ++i) {
    closeTriangle(outer[i], inward[i], outward[i], inward[i]->face);
    pair(inward[i], outward[(i + 1) % 3]);
  }
  return TopoMeshVertex(m);
}

TopoMeshEdge TopoMesh::subdivideFace(TopoMeshEdge from, TopoMeshEdge to) {
  if (!from.isAlive() || !to.isAlive() || from.face() != to.face()) return {};
  Edge *const a = from.record_, *const b = to.record_;
  if (a == b || a->next == b || b->next == a || a->start == b->start) return {};
  faces_.reserve(1);
  edges_.reserve(2);
  Face *const kept = a->face, *const cut = faces_.append();
  Edge *const keptSide = newEdge(b->start, kept), *const cutSide = newEdge(a->start, cut);

  Edge *const beforeA = a->prev, *const beforeB = b->prev;
  link(beforeB, keptSide);
  link(keptSide, a);
  link(beforeA, cutSide);
  link(cutSide, b);
  pair(keptSide, cutSide);

  cut->first = b;
  cut->size = 1;
  for (Edge* e = b; e != cutSide; e = e->next) {
    if (kept->first == e) kept->first = a;
    e->face = cut;
    ++cut->size;
  }
  kept->size += 2 - cut->size;
  return TopoMeshEdge(keptSide);
}

TopoMeshVertex TopoMesh::subdivideEdge(TopoMeshEdge handle, const qvLinear::Point& p) {
  if (!handle.isAlive()) return {};
  vertices_.reserve(1);
  edges_.reserve(2);
  Vertex* const m = vertices_.append();
  m->point = p;
  Edge *const e = handle.record_, *const t = e->twin;
  // One side after the other, so that it does not matter when one follows the other in the same face.
  const auto cut = [&](Edge* side) {
    Edge* const rest = newEdge(m, side->face);
    link(rest, side->next);
    link(side, rest);
    ++side->face->size;
    return rest;
  };
  Edge* const eRest = cut(e);
  if (t) {
    pair(e, cut(t));
    pair(t, eRest);
  }
  return TopoMeshVertex(m);
}

// ---- deleting a vertex ----

namespace {

enum class Removal { refused, isolated, ear, inner };

Removal removalOf(const Vertex* v) {
  if (!v->first) return Removal::isolated;
  const Fan fan = topo::fanOf(v->first);
  if (fan.size != topo::numOutgoing(v)) return Removal::refused;
  if (fan.open) return fan.size == 1 && isTriangle(v->first) ? Removal::ear : Removal::refused;
  if (fan.size != 3) return Removal::refused;

  std::array<const Face*, 3> across;
  const Edge* spoke = v->first;
  for (const Face*& face : across) {
    if (!isTriangle(spoke)) return Removal::refused;
    face = spoke->next->twin ? spoke->next->twin->face : nullptr;
    spoke = topo::nextInFan(spoke);
  }
  const bool backToBack = across[0] && across[0] == across[1] && across[1] == across[2];
  return backToBack ? Removal::refused : Removal::inner;
}

}  // namespace

bool TopoMesh::canDeleteVertex(TopoMeshVertex v) const {
  return v.isAlive() && removalOf(v.record_) != Removal::refused;
}

TopoMeshFace TopoMesh::deleteVertex(TopoMeshVertex v) {
  if (!v.isAlive()) return {};
  TopoMeshFace filled;
  switch (removalOf(v.record_)) {
    case Removal::refused:
      return {};
    case Removal::isolated:
      break;
    case Removal::ear:
      removeEar(v.record_);
      break;
    case Removal::inner:
      filled = removeInnerVertex(v.record_);
      break;
  }
  vertices_.remove(v.record_);
  return filled;
}

TopoMeshFace TopoMesh::removeInnerVertex(Vertex* v) {
  std::array<Edge*, 3> spokes;  // from v, in the order of the fan: the sides across then follow each other
  spokes[0] = v->first;
  spokes[1] = topo::nextInFan(spokes[0]);
  spokes[2] = topo::nextInFan(spokes[1]);
  std::array<Edge*, 3> around, back;
  for (std::size_t i = 0; i < 3; ++i) {
    around[i] = spokes[i]->next;
    back[i] = spokes[i]->prev;
  }
  Edge* const oldest = *std::min_element(spokes.begin(), spokes.end(), [](const Edge* a, const Edge* b) {
    return a->face->number < b->face->number;
  });
  Face* const kept = oldest->face;
  kept->first = oldest->next;
  for (std::size_t i = 0; i < 3; ++i) {
    if (spokes[i]->face != kept) faces_.remove(spokes[i]->face);
    removeEdge(back[i], around[(i + 1) % 3]);
    removeEdge(spokes[i], nullptr);
  }
  closeTriangle(around[0], around[1], around[2], kept);
  return TopoMeshFace(kept);
}

void TopoMesh::removeEar(Vertex* v) {
  Edge *const out = v->first, *const side = out->next, *const in = out->prev;
  Edge* const across = side->twin;
  if (across) across->twin = nullptr;
  removeEdge(side, across ? across->next : nullptr);
  removeEdge(in, across);
  removeEdge(out, nullptr);
  faces_.remove(out->face);
}

// ---- joining ----

namespace {

// The face on this side survives losing it, or closes up between two faces or a face and the boundary.
bool canLose(const Edge* side) {
  if (timesInFace(side, side->start) != 1 || timesInFace(side, topo::endOf(side)) != 1) return false;
  return !isTriangle(side) || side->next->twin || side->prev->twin;
}

// The corner of the triangle on this side that lies across; null for a larger face or no face.
const Vertex* apexOf(const Edge* side) { return side && isTriangle(side) ? side->prev->start : nullptr; }

bool hasTriangle(const Vertex* v, const Vertex* x, const Vertex* y) {
  return topo::anyOutgoing(v, [=](const Edge* e) {
    const Vertex *const a = topo::endOf(e), *const b = e->prev->start;
    return isTriangle(e) && ((a == x && b == y) || (a == y && b == x));
  });
}

// Whether a and b have a neighbour in common other than x and y. Sorted numbers keep it cheap at a vertex
// with thousands of neighbours.
bool shareNeighbour(const Vertex* a, const Vertex* b, const Vertex* x, const Vertex* y) {
  qv::vector<std::uint64_t> ofA;
  const auto note = [&](const Vertex* n) {
    if (n != x && n != y) ofA.push_back(n->number);
  };
  topo::anyOutgoing(a, [&](const Edge* e) { return note(topo::endOf(e)), note(e->prev->start), false; });
  std::sort(ofA.begin(), ofA.end());
  const auto known = [&](const Vertex* n) { return std::binary_search(ofA.begin(), ofA.end(), n->number); };
  return topo::anyOutgoing(b, [&](const Edge* e) { return known(topo::endOf(e)) || known(e->prev->start); });
}

// The half-edge at v of the corner that e touches: e itself or its successor.
Edge* cornerAt(Edge* e, const Vertex* v) { return e->start == v ? e : e->next; }

bool canContract(Edge* e, const Vertex* gone, const Vertex* kept) {
  Edge* const t = e->twin;
  if (gone == kept || !canLose(e) || (t && !canLose(t))) return false;
  const Vertex *const x = apexOf(e), *const y = apexOf(t);
  if (x && x == y) return false;

  const Fan goneFan = topo::fanOf(cornerAt(e, gone));
  if (goneFan.size != topo::numOutgoing(gone)) return false;
  if (t && goneFan.open && topo::fanOf(cornerAt(e, kept)).open) return false;

  const bool bothInAnotherFace = topo::anyOutgoing(gone, [&](const Edge* h) {
    return h->face != e->face && (!t || h->face != t->face) && timesInFace(h, kept) > 0;
  });
  if (bothInAnotherFace) return false;
  if (x && y && hasTriangle(gone, x, y) && hasTriangle(kept, x, y)) return false;
  return !shareNeighbour(gone, kept, x, y);
}

}  // namespace

bool TopoMesh::canContractEdge(TopoMeshEdge e, TopoMeshVertex keep) const {
  if (!e.isAlive() || !keep.isAlive() || (keep != e.start() && keep != e.end())) return false;
  return canContract(e.record_, (keep == e.start() ? e.end() : e.start()).record_, keep.record_);
}

bool TopoMesh::contractEdge(TopoMeshEdge e, TopoMeshVertex keep) {
  if (!canContractEdge(e, keep)) return false;
  Vertex *const kept = keep.record_, *const gone = (keep == e.start() ? e.end() : e.start()).record_;
  Edge* const twin = e.record_->twin;
  rehang(gone, kept);
  collapseSide(e.record_);
  if (twin) collapseSide(twin);
  vertices_.remove(gone);
  return true;
}

// Removes e, both ends of which are one vertex by now, from its face, and with it a triangle. The other
// triangle of the edge may still be linked as a neighbour: whatever first edge it lends is moved on when its
// own turn comes.
void TopoMesh::collapseSide(Edge* e) {
  Face* const f = e->face;
  Edge *const a = e->next, *const b = e->prev;
  if (f->size > 3) {
    if (f->first == e) f->first = a;
    --f->size;
    link(b, a);
    removeEdge(e, a);
    return;
  }
  Edge *const beyondA = a->twin, *const beyondB = b->twin;
  if (beyondA) beyondA->twin = beyondB;
  if (beyondB) beyondB->twin = beyondA;
  Edge* const atEnds = beyondB ? beyondB : beyondA->next;
  removeEdge(b, beyondA ? beyondA : beyondB->next);
  removeEdge(e, atEnds);
  removeEdge(a, atEnds);
  faces_.remove(f);
}

bool TopoMesh::canMergeVertices(TopoMeshEdge a, TopoMeshEdge b) const {
  if (!a.isAlive() || !b.isAlive() || a == b || a.twin() || b.twin()) return false;
  const Vertex *const u = a.record_->start, *const w = topo::endOf(a.record_);
  const Vertex *const x = b.record_->start, *const y = topo::endOf(b.record_);
  if (u == w || x == y) return false;
  // Were u and x one, or w and y, the edge would become a loop; a or b then joins vertices of its own face.
  return (u == y || !shareFace(u, y)) && (w == x || !shareFace(w, x));
}

bool TopoMesh::mergeVertices(TopoMeshEdge a, TopoMeshEdge b) {
  if (!canMergeVertices(a, b)) return false;
  Vertex *const u = a.record_->start, *const w = topo::endOf(a.record_);
  Vertex *const x = b.record_->start, *const y = topo::endOf(b.record_);  // u and y, w and x become one
  if (u != y) {
    rehang(y, u);
    vertices_.remove(y);
  }
  if (w != x) {
    rehang(x, w);
    vertices_.remove(x);
  }
  pair(a.record_, b.record_);
  return true;
}

}  // namespace qvGeom
