// Whatever the bytes, both readers of the counted format refuse them whole or make a sound mesh of them, and
// what they read survives being written.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "geom/io/counted_format.h"

#include "tests/fuzz/require.h"

using qvGeom::CompactMesh;
using qvGeom::TopoMesh;

namespace {

template <typename Mesh>
std::string textOf(const Mesh& mesh) {
  std::string text;
  qvGeom::meshFormat(mesh, [&](std::string_view piece) {
    text += piece;
    return true;
  });
  return text;
}

void tryCompact(std::string_view text) {
  CompactMesh mesh;
  mesh.resizeVertexArray(1);
  if (!qvGeom::meshParse(mesh, text)) {
    require(mesh.getNumVertices() == 1 && mesh.getNumTriangles() == 0);
    return;
  }
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    for (const int v : mesh.getTriangles()[t].v) require(v >= 0 && v < mesh.getNumVertices());
  CompactMesh back;
  require(qvGeom::meshParse(back, textOf(mesh)));
  require(textOf(back) == textOf(mesh));
}

void tryTopo(std::string_view text) {
  TopoMesh mesh;
  if (!qvGeom::meshParse(mesh, text)) {
    require(mesh.numVertices() == 0 && mesh.numFaces() == 0);
    return;
  }
  require(mesh.validate());
  TopoMesh back;
  require(qvGeom::meshParse(back, textOf(mesh)));
  require(textOf(back) == textOf(mesh));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  tryCompact(text);
  tryTopo(text);
  return 0;
}
