#include <cmath>
#include <memory>

#include "queries.h"
#include "verbs.h"

namespace tool {

namespace {

constexpr double kToleranceOfDiagonal = 1e-6;

struct Options {
  QueryFiles files;
  double tolerance = -1;  // negative: by the size of the mesh
  bool recomputeNormals = false;
};

class InsideAnswerer : public Answerer {
 public:
  InsideAnswerer(const SpatialMesh& surface, double tolerance)
      : inside_(surface.mesh, surface.octree(), surface.octreeTris(), tolerance) {}

  void answer(double const* row, bool json, std::string& text) override {
    const char* const words[] = {"inside", "outside", "surface"};
    const int word = inside_.evaluate(qvLinear::Point(row[0], row[1], row[2]));
    if (json) text += '"';
    text += words[word];
    if (json) text += '"';
  }

 private:
  qvGeom::MeshPtInside inside_;
};

double toleranceFor(const qvGeom::CompactMesh& mesh) {
  qvGeom::BoundingBox box;
  meshBoundingBox(mesh, box);
  if (!box.isValid()) return 0;
  return kToleranceOfDiagonal * distance(qvLinear::Point(box.minPt()), qvLinear::Point(box.maxPt()));
}

ExitCode runInside(const Options& options, Console& console) {
  NumberRows points(3);
  SpatialMesh surface;
  options.files.read(console, surface.mesh, points);
  if (options.recomputeNormals || !surface.mesh.getNormals()) computeNormalsByPosition(surface.mesh, console);
  surface.index(0.2, console);
  const double tolerance = options.tolerance < 0 ? toleranceFor(surface.mesh) : options.tolerance;
  answerRows(
      points, options.files.json, [&] { return std::make_unique<InsideAnswerer>(surface, tolerance); },
      console);
  return kDone;
}

}  // namespace

Verb makeInside(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app =
      program.add_subcommand("inside", "Tell for each of some points whether a closed mesh contains it");
  options->files.addTo(*app, "POINTS", "a point x y z");
  app->add_option("--tolerance", options->tolerance,
                  "points nearer to the surface than this lie on it; at 0 none does (default: a millionth of "
                  "the mesh's diagonal)")
      ->type_name("DISTANCE")
      ->check([](const std::string& text) {
        double value = 0;
        const bool good = CLI::detail::lexical_cast(text, value) && value >= 0 && std::isfinite(value);
        return good ? std::string() : "'" + text + "' is not a distance";
      });
  app->add_flag("--recompute-normals", options->recomputeNormals,
                "leave aside the normals that the file has");
  app->footer(
      "Prints 'inside', 'outside' or 'surface' for each point. The vertex normals tell: those of the file, "
      "which\n"
      "must point outwards, or else the mean of the triangles around each vertex. Points beyond the box of "
      "the\n"
      "mesh are outside, also within the tolerance.\n\n"
      "Examples:\n  qvgeom inside part.obj points.txt\n"
      "  echo 0 0 0.5 | qvgeom inside --tolerance 0.01 part.obj -");
  return {app, [options](Console& console) { return runInside(*options, console); }};
}

}  // namespace tool
