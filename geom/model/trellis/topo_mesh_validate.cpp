#include <string>
#include <utility>

#include "geom/model/trellis/topo_mesh.h"
#include "geom/model/trellis/topo_mesh_records.h"

namespace qvGeom {

using topo::Edge;
using topo::Face;
using topo::Vertex;

namespace {

std::string named(const char* kind, std::uint64_t number, const char* what) {
  return std::string(kind) + ' ' + std::to_string(number) + ": " + what;
}

// Each check returns what is wrong, or null. Every walk is bounded by a count that the lists vouch for, so
// that broken links are reported rather than followed for ever.

template <typename List>
const char* faultOfList(const List& list) {
  int n = 0;
  decltype(list.head) prev = nullptr;
  for (auto* record = list.head; record; prev = record, record = topo::livingFrom(record + 1)) {
    if (++n > list.count) return "more elements than counted";
    if (!record->alive) return "a deleted element";
    if (record->number <= (prev ? prev->number : 0)) return "not in order of creation";
  }
  if (n != list.count) return "fewer elements than counted";
  return prev && prev->number > list.lastNumber ? "a number not yet given" : nullptr;
}

const char* faultOf(const Edge* e) {
  if (!e->start || !e->face || !e->next || !e->prev || !e->outPrev || !e->outNext) return "a link is missing";
  if (!e->start->alive || !e->face->alive || !e->next->alive || !e->outNext->alive)
    return "linked to a deleted element";
  if (e->next->prev != e || e->prev->next != e) return "successor and predecessor disagree";
  if (e->next->face != e->face) return "the successor is in another face";
  if (e->outNext->outPrev != e || e->outPrev->outNext != e) return "ring about the start not mutual";
  if (e->outNext->start != e->start) return "in the ring of another vertex";
  const Edge* t = e->twin;
  if (!t) return nullptr;
  if (t == e || t->twin != e) return "twins not mutual";
  if (!t->alive) return "twin deleted";
  if (e->start == topo::endOf(e)) return "a twin of an edge from a vertex to itself";
  return t->start == topo::endOf(e) && topo::endOf(t) == e->start ? nullptr : "twins not opposite";
}

// Adds the half-edges of the cycle to `numSeen`, which may not exceed the mesh's.
const char* faultOf(const Face* f, int numEdges, int& numSeen) {
  if (f->size < 3) return "fewer than three half-edges";
  if (!f->first || !f->first->alive || f->first->face != f) return "first edge not of this face";
  const Edge* e = f->first;
  for (int i = 0; i < f->size; ++i, e = e->next) {
    if (i > 0 && e == f->first) return "cycle shorter than stated";
    if (++numSeen > numEdges) return "faces claim more half-edges than there are";
  }
  return e == f->first ? nullptr : "cycle longer than stated";
}

const char* faultOf(const Vertex* v, int numEdges, int& numSeen) {
  if (!v->first != !v->outgoing) return "first edge without outgoing half-edges, or the reverse";
  if (!v->first) return nullptr;
  if (!v->first->alive || v->first->start != v) return "first edge does not leave";
  if (!v->outgoing->alive || v->outgoing->start != v) return "ring of another vertex";
  const bool tooMany = topo::anyOutgoing(v, [&](const Edge*) { return ++numSeen > numEdges; });
  return tooMany ? "rings hold more half-edges than there are" : nullptr;
}

}  // namespace

bool TopoMesh::validate(std::string* fault) const {
  const auto report = [fault](std::string text) {
    if (fault) *fault = std::move(text);
    return false;
  };
  if (const char* what = faultOfList(vertices_)) return report(std::string("list of vertices: ") + what);
  if (const char* what = faultOfList(edges_)) return report(std::string("list of half-edges: ") + what);
  if (const char* what = faultOfList(faces_)) return report(std::string("list of faces: ") + what);
  for (const Edge* e = edges_.head; e; e = topo::livingFrom(e + 1))
    if (const char* what = faultOf(e)) return report(named("half-edge", e->number, what));

  int inFaces = 0;
  for (const Face* f = faces_.head; f; f = topo::livingFrom(f + 1))
    if (const char* what = faultOf(f, edges_.count, inFaces)) return report(named("face", f->number, what));
  if (inFaces != edges_.count) return report("half-edges in no face's cycle");

  int inRings = 0;
  for (const Vertex* v = vertices_.head; v; v = topo::livingFrom(v + 1))
    if (const char* what = faultOf(v, edges_.count, inRings)) return report(named("vertex", v->number, what));
  if (inRings != edges_.count) return report("half-edges in no vertex's ring");
  return true;
}

}  // namespace qvGeom
