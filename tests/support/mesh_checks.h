#pragma once

// What tests ask of whole meshes and records.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/progress.h"
#include "geom/model/keel/signals.h"
#include "geom/model/keel/threading.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/topology/adjacency.h"
#include "geom/topology/boundaries.h"

#include "tests/support/shapes.h"

namespace qvGeom {

using Floats = std::vector<float>;
using Ints = std::vector<int>;

inline constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
inline constexpr float kInf = std::numeric_limits<float>::infinity();
inline constexpr float kMax = std::numeric_limits<float>::max();

inline Floats floatsOf(float const* p, int n) { return p ? Floats(p, p + n) : Floats(); }
inline Ints intsOf(int const* p, int n) { return p ? Ints(p, p + n) : Ints(); }

inline Floats positionsOf(const PointMesh& m) { return floatsOf(m.getVerticesRaw(), 3 * m.getNumVertices()); }
inline Floats normalsOf(const PointMesh& m) { return floatsOf(m.getNormalsRaw(), 3 * m.getNumVertices()); }
inline Floats uvsOf(const PointMesh& m) { return floatsOf(m.getUVsRaw(), 2 * m.getNumVertices()); }
inline Ints indicesOf(const CompactMesh& m) { return intsOf(m.getTrianglesRaw(), 3 * m.getNumTriangles()); }
inline Ints trisOf(const MeshAdjTris& adj, int v) { return intsOf(adj.triIndices(v), adj.numTris(v)); }
inline Ints neighboursOf(const MeshAdjVertices& adj, int v) {
  return intsOf(adj.vertexIndices(v), adj.numAdjVertices(v));
}

/// Matches floats one by one, with some allowance for rounding.
inline auto areNear(const Floats& expected) {
  return testing::Pointwise(testing::FloatNear(1e-6f), expected);
}

inline std::vector<Ints> loopsOf(const MeshBoundaries& boundaries) {
  std::vector<Ints> loops;
  for (int i = 0; i < boundaries.size(); ++i)
    loops.emplace_back(boundaries.getStart(i), boundaries.getEnd(i));
  return loops;
}

/// Every index names a vertex, and every per-vertex and per-triangle array is as long as it should be.
inline void expectSound(const CompactMesh& mesh) {
  const int n = mesh.getNumVertices();
  for (const int v : indicesOf(mesh)) ASSERT_TRUE(v >= 0 && v < n) << v;
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

/// What change notices said: the type and the flags of each.
using Notices = std::vector<std::pair<MeshModification::Type, unsigned>>;

/// Collects the notices that a mesh sends while this lives; one with a map or named channels has all flags.
class NoticeLog {
 public:
  explicit NoticeLog(const PointMesh& mesh) {
    mesh.changeSignal().connect(client_, [this, &mesh](EntityModification& modification) {
      const auto& m = dynamic_cast<MeshModification&>(modification);
      const bool plain = m.getEntity() == &mesh && !m.getRemap() && m.modifiedVertexAttribs().empty();
      sent.emplace_back(m.getType(), plain ? m.flags() : ~0u);
    });
  }
  Notices sent;

 private:
  qvRTB::SignalBase client_;
};

/// Cancels its task once it has been asked a number of times.
class CancelAfter : public qvUtil::Progress {
 public:
  explicit CancelAfter(int questions) : left_(questions) {}
  bool cancelled() override { return --left_ < 0; }
  /// Whether it did.
  bool heard() const { return left_ < 0; }

 private:
  int left_;
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
