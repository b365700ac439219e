#include "geom/topology/components.h"

#include <algorithm>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/joined_sets.h"
#include "geom/model/keel/stop_watch.h"

namespace qvGeom {

int meshComponents(CompactMesh const& mesh, MeshAdjTris const&, Array<int>* vertexComponent) {
  debugChannel().print("meshComponents(): %d triangles\n", mesh.getNumTriangles());
  qvOS::StopWatch watch;
  watch.start();
  const int n = mesh.getNumVertices();
  MeshTriangle const* triangles = mesh.getTriangles();
  // Triangles that share a vertex are connected, so this is the flood over triangles without its jumps
  // through memory: one pass in storage order joins, another one numbers.
  qvUtil::JoinedSets joined(n);
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    joined.join(triangles[t][0], triangles[t][1]);
    joined.join(triangles[t][0], triangles[t][2]);
  }
  Array<int> component;
  component.resizeForOverwrite(n);
  std::fill(component.begin(), component.end(), -1);
  int components = 0;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    int& ofRoot = component[joined.root(triangles[t][0])];
    if (ofRoot < 0) ofRoot = components++;
    const int number = ofRoot;
    for (const int v : triangles[t].v) component[v] = number;
  }
  if (vertexComponent) vertexComponent->swap(component);
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
