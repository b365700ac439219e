// Whatever the bytes, the OBJ reader makes a sound mesh of them, and writing it loses nothing but digits.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "geom/io/obj_format.h"

#include "tests/fuzz/require.h"

using qvGeom::CompactMesh;

namespace {

std::string textOf(const CompactMesh& mesh) {
  std::string text;
  qvGeom::meshFormatObj(mesh, [&](std::string_view piece) {
    text += piece;
    return true;
  });
  return text;
}

void requireSound(const CompactMesh& mesh) {
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    for (const int v : mesh.getTriangles()[t].v) require(v >= 0 && v < mesh.getNumVertices());
  for (int i = 0; i < mesh.getNumAttributes(); ++i) {
    const qvGeom::MeshAttributes& channel = *mesh.getAttributes(i);
    require(channel.getNumElements() == mesh.getNumVertices());
    for (int k = 0; k < channel.getNumElements() * channel.getNumComponents(); ++k)
      require(std::isfinite(channel.asFloat()[k]));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CompactMesh mesh;
  require(qvGeom::meshParseObj(mesh, {reinterpret_cast<const char*>(data), size}));
  requireSound(mesh);

  CompactMesh once, twice;
  require(qvGeom::meshParseObj(once, textOf(mesh)));
  require(once.getNumVertices() == mesh.getNumVertices() && once.getNumTriangles() == mesh.getNumTriangles());
  // Six digits are kept from the first writing on; averages of normals may still move in the last of them.
  once.deleteNormals();
  once.deleteUVs();
  require(qvGeom::meshParseObj(twice, textOf(once)));
  require(textOf(twice) == textOf(once));
  return 0;
}
