#include <memory>

#include "queries.h"
#include "verbs.h"

namespace tool {

namespace {

class ClosestAnswerer : public Answerer {
 public:
  explicit ClosestAnswerer(const SpatialMesh& surface)
      : mesh_(surface.mesh), closest_(surface.mesh, surface.octree(), surface.octreeTris()) {}

  void answer(double const* row, bool json, std::string& text) override {
    qvGeom::MeshCoord coord;
    const double distance = closest_.compute(qvLinear::Point(row[0], row[1], row[2]), &coord);
    if (!coord.valid()) {
      text += json ? "null" : "none";
      return;
    }
    const qvLinear::Point point = coord.evaluate(mesh_.getVertices(), mesh_.getTriangles());
    const char* separator = json ? "," : " ";
    if (json) text += "{\"distance\":";
    appendNumber(text, distance);
    text += json ? ",\"triangle\":" : " ";
    text += std::to_string(coord.triangle);
    text += json ? ",\"weights\":[" : " ";
    appendNumbers(text, coord.weight, 3, separator);
    text += json ? "],\"point\":[" : " ";
    appendNumbers(text, point.data(), 3, separator);
    if (json) text += "]}";
  }

 private:
  const qvGeom::CompactMesh& mesh_;
  qvGeom::MeshClosestPoint closest_;
};

ExitCode runClosest(const QueryFiles& files, Console& console) {
  NumberRows points(3);
  SpatialMesh surface;
  files.read(console, surface.mesh, points);
  surface.index(0.2, console);
  answerRows(
      points, files.json, [&] { return std::make_unique<ClosestAnswerer>(surface); }, console);
  return kDone;
}

}  // namespace

Verb makeClosest(CLI::App& program) {
  auto files = std::make_shared<QueryFiles>();
  CLI::App* app =
      program.add_subcommand("closest", "Find the nearest point of a mesh for each of some points");
  files->addTo(*app, "POINTS", "a point x y z");
  app->footer(
      "Prints a line for each point: distance, number of the triangle from 0, the weights of its three "
      "corners,\n"
      "and the point x y z; 'none' when the mesh has no triangle with a nearest point.\n\n"
      "Examples:\n  qvgeom closest bunny.obj points.txt\n"
      "  echo 1 2 3 | qvgeom closest --json bunny.obj -");
  return {app, [files](Console& console) { return runClosest(*files, console); }};
}

}  // namespace tool
