// Reads an OBJ file, builds the records that most algorithms ask for, and prints what they tell.

#include <cstdio>

#include "geom/qvGeom.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: measure_mesh FILE.obj\n");
    return 2;
  }
  // Without a sink the library says nothing.
  qvGeom::debugChannel().setSink([](const char* text) { std::fputs(text, stderr); });

  qvGeom::CompactMesh mesh;
  if (!qvGeom::meshReadObj(mesh, argv[1])) {
    std::fprintf(stderr, "cannot read %s\n", argv[1]);
    return 3;
  }

  // Built once and passed on: no algorithm keeps them.
  qvGeom::MeshAdjTris adjTris;
  qvGeom::meshAdjTris(mesh, adjTris);
  qvGeom::MeshAdjVertices adjVertices;
  qvGeom::meshAdjVertices(mesh, adjTris, adjVertices);
  qvGeom::MeshBoundaries boundaries;
  qvGeom::meshComputeBoundary(mesh, adjTris, adjVertices, boundaries);

  const float area = qvGeom::meshArea({{}, &mesh}, qvGeom::MeshChannel::vertices);
  std::printf("%d triangles, %d components, %d boundary loops, area %g\n", mesh.getNumTriangles(),
              qvGeom::meshComponents(mesh, adjTris, nullptr), boundaries.size(), static_cast<double>(area));
}
