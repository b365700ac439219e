// The same OBJ text read by another library, so that both figures come from one machine and one run.

#include <string>
#include <tiny_obj_loader.h>

#include "geom/io/obj_format.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

void readObjByTinyobjloader(benchmark::State& state) {
  const CompactMesh mesh = torusOf(state.range(0));
  std::string text;
  meshFormatObj(mesh, [&](std::string_view piece) {
    text += piece;
    return true;
  });
  tinyobj::ObjReader reader;
  for (auto _ : state)
    if (!reader.ParseFromString(text, "")) state.SkipWithError("not read");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
  countTriangles(state, mesh);
}
BENCHMARK(readObjByTinyobjloader)->Apply(allSizes);

}  // namespace
}  // namespace qvGeom
