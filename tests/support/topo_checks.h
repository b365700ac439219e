#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "geom/model/trellis/topo_mesh.h"

// What tests ask of a whole half-edge mesh.

namespace qvGeom::test {

inline ::testing::AssertionResult isValid(const TopoMesh& mesh) {
  std::string fault;
  if (mesh.validate(&fault)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << fault;
}

/// Elements in list order.
template <typename Handle>
std::vector<Handle> listFrom(Handle first) {
  std::vector<Handle> all;
  for (; first; first = first.nextInMesh()) all.push_back(first);
  return all;
}

using Numbers = std::vector<std::uint64_t>;

/// Vertex numbers of a face from its lowest on, so that equal cycles compare equal.
inline Numbers cornersOf(TopoMeshFace f) {
  Numbers corners;
  TopoMeshEdge e = f.firstEdge();
  for (int i = 0; i < f.numVertices(); ++i, e = e.next()) corners.push_back(e.start().number());
  std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end()), corners.end());
  return corners;
}

/// Everything a caller can see, in one number.
inline std::uint64_t fingerprint(const TopoMesh& mesh) {
  std::uint64_t sum = 0xcbf29ce484222325u;
  const auto mix = [&sum](auto... all) { ((sum = (sum ^ all) * 0x100000001b3u ^ sum >> 29), ...); };
  for (auto v = mesh.firstVertex(); v; v = v.nextInMesh()) {
    mix(v.number(), v.firstEdge().number());
    for (double x : v.point().c) mix(std::bit_cast<std::uint64_t>(x));
  }
  for (auto e = mesh.firstEdge(); e; e = e.nextInMesh())
    mix(e.number(), e.start().number(), e.face().number(), e.next().number(), e.twin().number());
  for (auto f = mesh.firstFace(); f; f = f.nextInMesh()) mix(f.number(), f.firstEdge().number());
  return sum;
}

/// Vertices, edges (two twins are one) and faces.
struct Counts {
  int v = 0, e = 0, f = 0;
  friend bool operator==(const Counts&, const Counts&) = default;
  friend std::ostream& operator<<(std::ostream& os, const Counts& c) {
    return os << c.v << " vertices, " << c.e << " edges, " << c.f << " faces";
  }
  int euler() const { return v - e + f; }
};

inline Counts countsOf(const TopoMesh& mesh) {
  int open = 0;
  for (auto e = mesh.firstEdge(); e; e = e.nextInMesh()) open += !e.twin();
  return {mesh.numVertices(), (mesh.numEdges() + open) / 2, mesh.numFaces()};
}

/// Whether the mesh is a surface of triangles with one fan at each vertex and no edge or face twice.
inline ::testing::AssertionResult isSimplicialSurface(const TopoMesh& mesh) {
  if (auto valid = isValid(mesh); !valid) return valid;
  const auto no = [] { return ::testing::AssertionFailure(); };
  std::map<TopoMeshVertex, int> outgoing;
  std::set<std::pair<TopoMeshVertex, TopoMeshVertex>> directed;
  std::set<Numbers> faces;
  for (TopoMeshEdge e : listFrom(mesh.firstEdge())) {
    ++outgoing[e.start()];
    if (!directed.insert({e.start(), e.end()}).second) return no() << "edge twice";
    if (!e.twin() && mesh.findEdge(e.end(), e.start())) return no() << "seam";
  }
  for (const auto& [v, n] : outgoing)
    if (v.valence() != n) return no() << "several fans at vertex " << v.number();
  for (TopoMeshFace f : listFrom(mesh.firstFace())) {
    Numbers corners = cornersOf(f);
    std::sort(corners.begin(), corners.end());
    if (corners.size() != 3 || !faces.insert(corners).second)
      return no() << "face " << f.number() << " is no triangle or lies on another";
  }
  return ::testing::AssertionSuccess();
}

}  // namespace qvGeom::test
