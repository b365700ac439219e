#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "curvature_values.h"
#include "mesh_verb.h"
#include "number_rows.h"
#include "verbs.h"

namespace tool {

namespace {

struct Options {
  MeshFiles files;
  std::string kind = "mean";
};

constexpr std::array<std::string_view, 4> kKinds{"mean", "gaussian", "min", "max"};

qvGeom::MeshCurvature curvatureOf(const std::string& kind) {
  const auto found = std::find(kKinds.begin(), kKinds.end(), kind);
  if (found == kKinds.end())
    throw Failure(kUsage, "unknown kind '" + kind + "': mean, gaussian, min and max are known");
  return static_cast<qvGeom::MeshCurvature>(found - kKinds.begin());
}

ExitCode runCurvature(const Options& options, Console& console) {
  const qvGeom::MeshCurvature kind = curvatureOf(options.kind);
  qvGeom::CompactMesh mesh;
  readMesh(options.files.input, parseFormat(options.files.format), 0.5, console, mesh);
  const qv::vector<float> values = vertexCurvatures(mesh, kind, console);
  std::string text;
  for (const float value : values) {
    appendNumber(text, value);
    text += '\n';
  }
  writeStandardOutput(text);
  return kDone;
}

}  // namespace

Verb makeCurvature(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("curvature", "Tell how the surface bends at each vertex");
  options->files.addInput(*app);
  app->add_option("--kind", options->kind,
                  "mean (default), gaussian, or min or max: the principal curvature of smaller or larger "
                  "absolute value");
  app->footer(
      "Prints one number for each vertex. It is positive where the surface bends away from its normals, "
      "which\n"
      "are computed where the file has none. Vertices on a boundary get the average of their neighbours.\n\n"
      "Examples:\n  qvgeom curvature bunny.obj --kind max\n"
      "  qvgeom curvature bunny.obj | qvgeom render bunny.obj --scalars - --range -50 50 -o bends.png");
  return {app, [options](Console& console) { return runCurvature(*options, console); }};
}

}  // namespace tool
