#include "geom/qvGeom.h"

#if QVGEOM_VERSION < 100
#error "the version is readable in the preprocessor"
#endif

#include <cstdio>

// One call into each floor, a class with virtual functions that crosses the border, and an exception type.
int main() {
  qvGeom::CompactMesh mesh;
  if (!qvGeom::meshParseObj(mesh, "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n")) return 1;
  qvGeom::MeshAdjTris adjTris;
  qvGeom::meshAdjTris(mesh, adjTris);
  struct Listener : qvRTB::SignalBase {
    int notices = 0;
  } listener;
  mesh.changeSignal().connect(listener, [&](qvGeom::EntityModification& m) {
    listener.notices += dynamic_cast<qvGeom::MeshModification*>(&m) != nullptr;
  });
  qvGeom::MeshModification modification(&mesh, qvGeom::MeshModification::GeometryModified, nullptr);
  mesh.modified(modification);
  const float area = qvGeom::meshArea({{}, &mesh}, qvGeom::MeshChannel::vertices);
  std::printf("qvGeom %s\n", QVGEOM_VERSION_STRING);
  return area == 0.5f && listener.notices == 1 && adjTris.numTris(2) == 1 ? 0 : 1;
}
