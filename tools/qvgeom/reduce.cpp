#include <algorithm>
#include <memory>
#include <optional>

#include "mesh_shape.h"
#include "mesh_verb.h"
#include "quality.h"
#include "spatial_mesh.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;
using qvLinear::Point;

namespace {

struct Options {
  MeshFiles files;
  std::optional<double> fraction;
  std::optional<double> tolerance;
  bool json = false;
};

struct Reduction {
  int vertices[2] = {};  // before and after
  int triangles[2] = {};
  double largestError = 0;
};

// The distance of the point that lies farthest from the mesh.
double largestDistance(const CompactMesh& mesh, const qv::vector<Point>& points, double share,
                       Console& console) {
  constexpr std::size_t kAskEvery = 1024;  // points; some milliseconds
  double largest = 0;
  if (points.empty()) return largest;
  SpatialMesh surface;
  surface.mesh = mesh;
  surface.index(share / 2, console);
  qvGeom::MeshClosestPoint closest(surface.mesh, surface.octree(), surface.octreeTris());
  inPhase(console, share / 2, "measuring", [&](qvUtil::Progress& phase) {
    for (std::size_t i = 0; i < points.size(); ++i) {
      if (i % kAskEvery == 0) {
        if (phase.cancelled()) return;
        phase.set(static_cast<double>(i) / static_cast<double>(points.size()));
      }
      qvGeom::MeshCoord coord;
      const double distance = closest.compute(points[i], &coord);
      if (coord.valid()) largest = std::max(largest, distance);
    }
  });
  return largest;
}

Reduction reduce(CompactMesh& mesh, const Options& options, double share, Console& console) {
  // What is left of a neighbourhood comes back without them.
  if (mesh.getUVs()) console.warn("the texture coordinates are left out");
  mesh.deleteUVs();
  Reduction result;
  result.vertices[0] = mesh.getNumVertices();
  result.triangles[0] = mesh.getNumTriangles();
  qv::vector<Point> removed;
  inPhase(console, options.fraction ? 0.6 * share : share, "reducing", [&](qvUtil::Progress& phase) {
    if (options.fraction) {
      meshReduceToFraction(mesh, *options.fraction, phase, removed);
    } else {
      result.largestError = meshReduceWithTolerance(mesh, *options.tolerance, phase, removed);
    }
  });
  if (options.fraction) result.largestError = largestDistance(mesh, removed, 0.4 * share, console);
  if (!removed.empty()) refreshNormals(mesh);
  result.vertices[1] = mesh.getNumVertices();
  result.triangles[1] = mesh.getNumTriangles();
  return result;
}

nlohmann::ordered_json asJson(const Options& options, const Reduction& result) {
  nlohmann::ordered_json json{
      {"schema", 1}, {"input", options.files.input}, {"output", options.files.output}};
  if (options.fraction) json["fraction"] = *options.fraction;
  if (options.tolerance) json["tolerance"] = *options.tolerance;
  json["verticesBefore"] = result.vertices[0];
  json["verticesAfter"] = result.vertices[1];
  json["trianglesBefore"] = result.triangles[0];
  json["trianglesAfter"] = result.triangles[1];
  json["largestError"] = result.largestError;
  return json;
}

ExitCode runReduce(const Options& options, Console& console) {
  if (options.json) options.files.refuseStandardOutput();
  qvOS::StopWatch watch;
  watch.start();
  Reduction result;
  const ExitCode written = rewriteMesh(
      options.files, console, [&](CompactMesh& mesh) { result = reduce(mesh, options, 0.8, console); }, 0.8);
  nlohmann::ordered_json json = asJson(options, result);
  console.note("vertices " + std::to_string(result.vertices[0]) + " -> " +
               std::to_string(result.vertices[1]) + ", triangles " + std::to_string(result.triangles[0]) +
               " -> " + std::to_string(result.triangles[1]) + ", largest error " +
               json["largestError"].dump());
  if (options.json) {
    json["seconds"] = watch.stop();
    writeStandardOutput(dump(json));
  }
  return written;
}

}  // namespace

Verb makeReduce(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("reduce", "Remove vertices, the flattest first");
  options->files.addInput(*app);
  options->files.addOutput(*app);
  CLI::Option_group* limit = app->add_option_group("limit", "how far, by one of");
  limit->add_option("--fraction", options->fraction, "share of the vertices to keep")
      ->check(CLI::Range(0.0, 1.0));
  limit
      ->add_option("--tolerance", options->tolerance, "distance that removed vertices may have from the mesh")
      ->check(CLI::NonNegativeNumber);
  limit->require_option(1);
  app->add_flag("--json", options->json, "print counts and the largest error on standard output");
  app->footer(
      "Vertices that stay are not moved; those on the boundary all stay. The error is the distance of a "
      "removed\n"
      "vertex from the mesh that is left.\n\n"
      "Examples:\n  qvgeom reduce scan.obj --fraction 0.1 -o small.obj\n"
      "  qvgeom reduce part.obj --tolerance 0.05 --json -o light.qvm > report.json");
  return {app, [options](Console& console) { return runReduce(*options, console); }};
}

}  // namespace tool
