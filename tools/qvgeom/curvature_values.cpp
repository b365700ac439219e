#include "curvature_values.h"

namespace tool {

qv::vector<float> vertexCurvatures(qvGeom::CompactMesh& mesh, qvGeom::MeshCurvature kind, Console& console) {
  console.progress().setCaption("measuring");
  if (!mesh.getNormals()) meshComputeNormals(mesh);
  qvGeom::MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  qvGeom::MeshAdjVertices adjVertices;
  meshAdjVertices(mesh, adjTris, adjVertices);
  console.throwIfInterrupted();
  qv::vector<float> values(static_cast<std::size_t>(mesh.getNumVertices()));
  meshCurvature(mesh, adjTris, adjVertices, {}, kind, values.data());
  console.throwIfInterrupted();
  return values;
}

}  // namespace tool
