#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "mesh_io.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;

namespace {

struct Options {
  std::string file;
  std::string format;
  bool json = false;
};

struct Report {
  std::string file;
  int vertices = 0;
  int triangles = 0;
  int unusedVertices = 0;
  int distinctPositions = 0;
  int degenerateTriangles = 0;
  int components = 0;
  int boundaryLoops = 0;
  int boundaryVertices = 0;
  double area = 0;
  double longestEdge = 0;
  qvGeom::BoundingBox box;
  bool hasNormals = false;
  bool hasUVs = false;
  double seconds = 0;
};

int countDegenerate(const CompactMesh& mesh) {
  qvGeom::MeshTriangle const* t = mesh.getTriangles();
  return static_cast<int>(std::count_if(t, t + mesh.getNumTriangles(), [](const qvGeom::MeshTriangle& tri) {
    return tri[0] == tri[1] || tri[1] == tri[2] || tri[2] == tri[0];
  }));
}

// Vertices at different places; one with a NaN is at no place that another could share. Those stay out of the
// weld, which finds all equal pairs only without them.
int countDistinct(const CompactMesh& mesh, qvUtil::Progress& phase) {
  CompactMesh points;
  points.resizeVertexArray(mesh.getNumVertices());
  qvGeom::MeshVertex const* vertices = mesh.getVertices();
  const auto end =
      std::copy_if(vertices, vertices + mesh.getNumVertices(), points.getVertices(),
                   [](const auto& v) { return !std::isnan(v.x) && !std::isnan(v.y) && !std::isnan(v.z); });
  const int placed = static_cast<int>(end - points.getVertices());
  points.resizeVertexArray(placed);
  meshCompact(points, phase);
  return points.getNumVertices() + mesh.getNumVertices() - placed;
}

Report measure(CompactMesh& mesh, Console& console) {
  Report r;
  qvUtil::Progress& progress = console.progress();
  progress.setCaption("measuring");
  r.vertices = mesh.getNumVertices();
  r.triangles = mesh.getNumTriangles();
  r.degenerateTriangles = countDegenerate(mesh);
  qvGeom::MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  for (int v = 0; v < r.vertices; ++v) r.unusedVertices += adjTris.numTris(v) == 0 ? 1 : 0;
  progress.set(0.75);
  qvUtil::Progress phase;
  progress.subPhase(0.05, phase);
  r.distinctPositions = countDistinct(mesh, phase);
  console.throwIfInterrupted();
  qvGeom::MeshAdjVertices adjVertices;
  meshAdjVertices(mesh, adjTris, adjVertices);
  progress.set(0.85);
  console.throwIfInterrupted();
  qvGeom::MeshBoundaries boundaries;
  meshComputeBoundary(mesh, adjTris, adjVertices, boundaries);
  r.boundaryLoops = boundaries.size();
  for (int i = 0; i < boundaries.size(); ++i) r.boundaryVertices += boundaries.getLength(i);
  progress.set(0.9);
  console.throwIfInterrupted();
  r.components = meshComponents(mesh, adjTris, nullptr);
  r.area = meshArea(qvGeom::MeshPlacement{{}, &mesh}, qvGeom::MeshChannel::vertices);
  r.longestEdge = qvGeom::meshLongestEdge(mesh);
  meshBoundingBox(mesh, r.box);
  r.hasNormals = mesh.getAttributes(CompactMesh::NormalsName) != nullptr;
  r.hasUVs = mesh.getAttributes(CompactMesh::UVsName) != nullptr;
  return r;
}

// Numbers of single precision, with the digits that they have.
nlohmann::ordered_json number(float value) {
  if (!std::isfinite(value)) return nullptr;
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", static_cast<double>(value));
  return nlohmann::ordered_json::parse(text);
}

std::string asJson(const Report& r) {
  nlohmann::ordered_json json;
  json["schema"] = 1;
  json["file"] = r.file;
  json["vertices"] = r.vertices;
  json["triangles"] = r.triangles;
  json["unusedVertices"] = r.unusedVertices;
  json["distinctPositions"] = r.distinctPositions;
  json["degenerateTriangles"] = r.degenerateTriangles;
  json["components"] = r.components;
  json["boundaryLoops"] = r.boundaryLoops;
  json["boundaryVertices"] = r.boundaryVertices;
  json["area"] = number(static_cast<float>(r.area));
  json["longestEdge"] = number(static_cast<float>(r.longestEdge));
  json["boundingBox"] = nullptr;
  if (r.box.isValid()) {
    json["boundingBox"] = nlohmann::ordered_json::object();
    for (const float x : r.box.min) json["boundingBox"]["min"].push_back(number(x));
    for (const float x : r.box.max) json["boundingBox"]["max"].push_back(number(x));
  }
  json["hasNormals"] = r.hasNormals;
  json["hasUVs"] = r.hasUVs;
  json["seconds"] = r.seconds;
  // A file name need not be UTF-8.
  return json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

std::string asTable(const Report& r) {
  std::string text;
  const auto row = [&](const char* name, const std::string& value) {
    char label[32];
    std::snprintf(label, sizeof label, "%-22s", name);
    text += label + value + "\n";
  };
  const auto real = [](double value) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%.6g", value);
    return std::string(digits);
  };
  const auto point = [&](const float* p) { return real(p[0]) + " " + real(p[1]) + " " + real(p[2]); };
  row("file", r.file);
  row("vertices", std::to_string(r.vertices));
  row("triangles", std::to_string(r.triangles));
  row("unused vertices", std::to_string(r.unusedVertices));
  row("distinct positions", std::to_string(r.distinctPositions));
  row("degenerate triangles", std::to_string(r.degenerateTriangles));
  row("components", std::to_string(r.components));
  row("boundary loops", std::to_string(r.boundaryLoops));
  row("boundary vertices", std::to_string(r.boundaryVertices));
  row("area", real(r.area));
  row("longest edge", real(r.longestEdge));
  row("bounding box", r.box.isValid() ? point(r.box.min) + " to " + point(r.box.max) : "empty");
  row("normals", r.hasNormals ? "yes" : "no");
  row("texture coordinates", r.hasUVs ? "yes" : "no");
  row("seconds", real(r.seconds));
  return text;
}

ExitCode runInfo(const Options& options, Console& console) {
  const Format format = resolveFormat(options.file, parseFormat(options.format), true);
  qvOS::StopWatch watch;
  watch.start();
  CompactMesh mesh;
  readMesh(options.file, format, 0.7, console, mesh);
  Report report = measure(mesh, console);
  report.file = options.file;
  report.seconds = watch.stop();
  console.throwIfInterrupted();
  writeStandardOutput(options.json ? asJson(report) : asTable(report));
  return kDone;
}

}  // namespace

Verb makeInfo(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app =
      program.add_subcommand("info", "Measure a mesh: counts, components, boundaries, area, size");
  app->add_option("FILE", options->file, "mesh file (.obj, .qvm), or - for standard input")->required();
  app->add_option("--format", options->format, "format of the input: obj or qvm; by default its name tells");
  app->add_flag("--json", options->json, "print one JSON object instead of a table");
  app->footer("Examples:\n  qvgeom info bunny.obj\n  cat bunny.obj | qvgeom info --json --format obj -");
  return {app, [options](Console& console) { return runInfo(*options, console); }};
}

}  // namespace tool
