// Decides the scanner and the number writer. Bytes per second are of the file's text; files lie in memory, so
// that no disk is measured.

#include <string>

#include "geom/io/counted_format.h"
#include "geom/io/obj_format.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

template <typename Format>
std::string textOf(const CompactMesh& mesh, Format format) {
  std::string text;
  format(
      mesh,
      [&](std::string_view piece) {
        text += piece;
        return true;
      },
      nullptr);
  return text;
}

using FormatFunction = bool (*)(CompactMesh const&, TextSink const&, qvUtil::Progress*);
using ParseFunction = bool (*)(CompactMesh&, std::string_view, qvUtil::Progress*);

CompactMesh withNormalsAndUVs(CompactMesh mesh) {
  mesh.allocNormalArray();
  mesh.allocUVArray();
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    const MeshVertex p = mesh.getVertices()[v];
    mesh.getNormals()[v] = {p.y * 0.3f, p.z * 0.3f, p.x * 0.3f};
    mesh.getUVs()[v] = {p.x * 0.3f, p.y * 0.3f};
  }
  return mesh;
}

void write(benchmark::State& state, FormatFunction format, bool attributes) {
  CompactMesh mesh = torusOf(state.range(0));
  if (attributes) mesh = withNormalsAndUVs(mesh);
  std::int64_t bytes = 0;
  for (auto _ : state) {
    bytes = 0;
    format(
        mesh,
        [&](std::string_view piece) {
          bytes += static_cast<std::int64_t>(piece.size());
          return true;
        },
        nullptr);
  }
  state.SetBytesProcessed(state.iterations() * bytes);
  countTriangles(state, mesh);
}

void read(benchmark::State& state, ParseFunction parse, FormatFunction format, bool attributes) {
  CompactMesh mesh = torusOf(state.range(0));
  if (attributes) mesh = withNormalsAndUVs(mesh);
  const std::string text = textOf(mesh, format);
  CompactMesh back;
  for (auto _ : state) parse(back, text, nullptr);
  if (back.getNumTriangles() != mesh.getNumTriangles()) state.SkipWithError("triangles lost");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
  countTriangles(state, mesh);
}

constexpr FormatFunction kFormatCounted = &meshFormat;
constexpr ParseFunction kParseCounted = &meshParse;

BENCHMARK_CAPTURE(write, obj, &meshFormatObj, false)->Apply(allSizes);
BENCHMARK_CAPTURE(write, objWithNormalsAndUVs, &meshFormatObj, true)->Apply(allSizes);
BENCHMARK_CAPTURE(write, counted, kFormatCounted, false)->Apply(allSizes);
BENCHMARK_CAPTURE(read, obj, &meshParseObj, &meshFormatObj, false)->Apply(allSizes);
BENCHMARK_CAPTURE(read, objWithNormalsAndUVs, &meshParseObj, &meshFormatObj, true)->Apply(allSizes);
BENCHMARK_CAPTURE(read, counted, kParseCounted, kFormatCounted, false)->Apply(allSizes);

}  // namespace
}  // namespace qvGeom
