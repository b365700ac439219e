#include "spatial_mesh.h"

#include <cmath>

#include "exit_code.h"

namespace tool {

using qvGeom::CompactMesh;

namespace {

// While it lives, the shared pool has one thread.
class SingleThread {
 public:
  SingleThread() { qvUtil::ThreadPool::get().setNumThreads(1); }
  ~SingleThread() { qvUtil::ThreadPool::get().setNumThreads(before_); }
  SingleThread(const SingleThread&) = delete;
  SingleThread& operator=(const SingleThread&) = delete;

 private:
  int before_ = qvUtil::ThreadPool::get().getNumThreads();
};

}  // namespace

void SpatialMesh::index(double share, Console& console, int perLeaf) {
  console.progress().setCaption("indexing");
  qvUtil::Progress phase;
  console.progress().subPhase(share, phase);
  qvGeom::BoundingBox box;
  meshBoundingBox(mesh, box);
  octree_ =
      std::make_unique<qvGeom::Octree>(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, perLeaf);
  phase.set(0.5);
  console.throwIfInterrupted();
  {
    // In which of several voxels a triangle on their border is listed depends on the number of threads, and
    // with it which of several nearest triangles a query names.
    const SingleThread alone;
    computeOctreeTris(mesh, *octree_, octreeTris_);
  }
  phase.set(1);
  console.throwIfInterrupted();
}

void weldPositions(CompactMesh& mesh, Console& console, qvGeom::Remap& remap) {
  qvUtil::Progress phase;  // listens for Ctrl-C; next to reading the welding takes no time
  console.progress().setCaption("welding");
  console.progress().subPhase(0, phase);
  mesh.deleteNormals();
  meshCompact(mesh, phase, remap);
  console.throwIfInterrupted();
}

void computeNormalsByPosition(CompactMesh& mesh, Console& console) {
  CompactMesh welded(mesh.getNumVertices(), mesh.getVertices(), nullptr, nullptr, nullptr);
  welded.copyTriangles(mesh.getNumTriangles(), mesh.getTrianglesRaw());
  qvGeom::Remap remap;
  weldPositions(welded, console, remap);
  meshComputeNormals(welded);
  mesh.allocNormalArray();
  for (int v = 0; v < mesh.getNumVertices(); ++v) mesh.getNormals()[v] = welded.getNormals()[remap(v)];
  mesh.setNormalsComputed(true);
}

int workingExponent(const CompactMesh& mesh) {
  qvGeom::BoundingBox box;
  meshBoundingBox(mesh, box);
  if (!box.isValid()) return 0;
  const double diagonal = distance(qvLinear::Point(box.minPt()), qvLinear::Point(box.maxPt()));
  return diagonal > 0 && std::isfinite(diagonal) ? kWorkingSizeExponent - std::ilogb(diagonal) : 0;
}

}  // namespace tool
