#pragma once

// What tests ask of whole meshes and records.

#include <cstddef>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/threading.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/topology/adjacency.h"
#include "geom/topology/boundaries.h"

namespace qvGeom {

inline std::vector<float> floatsOf(float const* p, int n) {
  return p ? std::vector<float>(p, p + n) : std::vector<float>();
}

inline std::vector<float> positionsOf(const PointMesh& mesh) {
  return floatsOf(mesh.getVerticesRaw(), 3 * mesh.getNumVertices());
}

inline std::vector<float> normalsOf(const PointMesh& mesh) {
  return floatsOf(mesh.getNormalsRaw(), 3 * mesh.getNumVertices());
}

inline std::vector<float> uvsOf(const PointMesh& mesh) {
  return floatsOf(mesh.getUVsRaw(), 2 * mesh.getNumVertices());
}

inline std::vector<int> indicesOf(const CompactMesh& mesh) {
  int const* p = mesh.getTrianglesRaw();
  return p ? std::vector<int>(p, p + std::ptrdiff_t{3} * mesh.getNumTriangles()) : std::vector<int>();
}

inline std::vector<int> trisOf(const MeshAdjTris& adjTris, int v) {
  return {adjTris.triIndices(v), adjTris.triIndices(v) + adjTris.numTris(v)};
}

inline std::vector<int> neighboursOf(const MeshAdjVertices& adjVertices, int v) {
  return {adjVertices.vertexIndices(v), adjVertices.vertexIndices(v) + adjVertices.numAdjVertices(v)};
}

inline std::vector<std::vector<int>> loopsOf(const MeshBoundaries& boundaries) {
  std::vector<std::vector<int>> loops;
  for (int i = 0; i < boundaries.size(); ++i)
    loops.emplace_back(boundaries.getStart(i), boundaries.getEnd(i));
  return loops;
}

/// Every index names a vertex, and every per-vertex and per-triangle array is as long as it should be.
inline void expectSound(const CompactMesh& mesh) {
  const int n = mesh.getNumVertices();
  for (const int v : indicesOf(mesh)) {
    ASSERT_GE(v, 0);
    ASSERT_LT(v, n);
  }
  for (int i = 0; i < mesh.getNumAttributes(); ++i) EXPECT_EQ(mesh.getAttributes(i)->getNumElements(), n);
}

/// The records that most algorithms ask for.
struct Adjacency {
  explicit Adjacency(const CompactMesh& mesh) {
    meshAdjTris(mesh, tris);
    meshAdjVertices(mesh, tris, vertices);
    meshComputeBoundary(mesh, tris, vertices, boundaries);
  }
  MeshAdjTris tris;
  MeshAdjVertices vertices;
  MeshBoundaries boundaries;
};

/// Collects what the library prints while this lives.
class DebugLog {
 public:
  DebugLog() {
    debugChannel().setSink([this](char const* text) { messages.emplace_back(text); });
  }
  ~DebugLog() { debugChannel().setSink({}); }
  std::vector<std::string> messages;
};

/// Runs a check on shared pools of 1, 2, 3 and 8 threads, and puts the pool back.
template <typename Check>
void forThreadCounts(const Check& check) {
  qvUtil::ThreadPool& pool = qvUtil::ThreadPool::get();
  const int before = pool.getNumThreads();
  for (const int threads : {1, 2, 3, 8}) {
    SCOPED_TRACE(std::to_string(threads) + " threads");
    pool.setNumThreads(threads);
    check();
  }
  pool.setNumThreads(before);
}

}  // namespace qvGeom
