#include "geom/topology/components.h"

#include <algorithm>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/stop_watch.h"

namespace qvGeom {

namespace {

class Flood {
 public:
  Flood(CompactMesh const& mesh, MeshAdjTris const& adjTris, Array<int>* vertexComponent)
      : triangles_(mesh.getTriangles()),
        numTriangles_(mesh.getNumTriangles()),
        adjTris_(adjTris),
        component_(vertexComponent ? vertexComponent->data() : nullptr),
        visited_(numTriangles_),
        exhausted_(mesh.getNumVertices()) {
    stack_.resizeForOverwrite(numTriangles_);
  }

  int run() {
    int components = 0;
    for (int t = 0; t < numTriangles_; ++t) {
      if (visited_.test(t)) continue;
      push(t);
      while (top_ > 0) spread(stack_[--top_], components);
      ++components;
    }
    return components;
  }

 private:
  // Marked when pushed, so that each triangle is pushed once and the stack never holds more than there are.
  void push(int t) {
    visited_.setBit(t);
    stack_[top_++] = t;
  }

  void spread(int t, int component) {
    for (const int v : triangles_[t].v) {
      // The triangles around a vertex are all marked after the first visit; the other corners there have
      // nothing left to push.
      if (exhausted_.test(v)) continue;
      exhausted_.setBit(v);
      if (component_) component_[v] = component;
      int const* tris = adjTris_.triIndices(v);
      for (int k = adjTris_.numTris(v); k > 0; --k, ++tris)
        if (!visited_.test(*tris)) push(*tris);
    }
  }

  MeshTriangle const* triangles_;
  int numTriangles_;
  MeshAdjTris const& adjTris_;
  int* component_;
  BitVector visited_;
  BitVector exhausted_;  // vertices
  Array<int> stack_;
  int top_ = 0;
};

}  // namespace

int meshComponents(CompactMesh const& mesh, MeshAdjTris const& adjTris, Array<int>* vertexComponent) {
  debugChannel().print("meshComponents(): %d triangles\n", mesh.getNumTriangles());
  qvOS::StopWatch watch;
  watch.start();
  if (vertexComponent) {
    vertexComponent->resizeForOverwrite(mesh.getNumVertices());
    std::fill(vertexComponent->begin(), vertexComponent->end(), -1);
  }
  const int components = Flood(mesh, adjTris, vertexComponent).run();
  debugChannel().print("%d components: %f s\n", components, watch.stop());
  return components;
}

int meshComponents(TopoMesh& mesh) {
  qv::BlockAllocator nodes(qv::treeNodeSize<TopoMeshFace>, 10);
  qv::pooled_set<TopoMeshFace> visited{qv::PoolAllocator<TopoMeshFace>(nodes)};
  qv::vector<TopoMeshFace> stack;
  int components = 0;
  for (TopoMeshFace seed = mesh.firstFace(); seed; seed = seed.nextInMesh()) {
    if (!visited.insert(seed).second) continue;
    ++components;
    stack.push_back(seed);
    while (!stack.empty()) {
      const TopoMeshFace face = stack.back();
      stack.pop_back();
      const TopoMeshEdge first = face.firstEdge();
      TopoMeshEdge e = first;
      do {
        if (e.twin() && visited.insert(e.twin().face()).second) stack.push_back(e.twin().face());
        e = e.next();
      } while (e && !(e == first));
    }
  }
  return components;
}

}  // namespace qvGeom
