#include <memory>

#include "mesh_verb.h"
#include "number_rows.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;

namespace {

constexpr int kMostPasses = 1000000;
constexpr double kShare = 0.6;  // of the progress

struct Options {
  MeshFiles files;
  int laplacian = 0;
  double sigma = 0;
  int times = 1;
  std::string vertices;
};

void validate(const Options& options) {
  if ((options.laplacian > 0) == (options.sigma > 0))
    throw Failure(kUsage, "give either --laplacian or --bilateral");
  if (options.files.input == "-" && options.vertices == "-")
    throw Failure(kUsage, "only one file can be standard input");
}

void selectVertices(CompactMesh& mesh, const std::string& path, Console& console) {
  qvGeom::BitVector& selected = mesh.getSelectedVertices();
  selected.resize(mesh.getNumVertices());
  if (path.empty()) return selected.setAllBits();
  for (const int v : readElementNumbers(path, "vertex", mesh.getNumVertices(), console)) selected.setBit(v);
}

void smooth(CompactMesh& mesh, const Options& options, Console& console) {
  selectVertices(mesh, options.vertices, console);
  qvGeom::MeshAdjTris adjTris;
  qvGeom::MeshAdjVertices adjVertices;
  meshAdjTris(mesh, adjTris);
  meshAdjVertices(mesh, adjTris, adjVertices);
  const bool hasNormals = mesh.getNormals() != nullptr;
  const int passes = options.laplacian > 0 ? options.laplacian : options.times;
  for (int pass = 0; pass < passes; ++pass)
    inPhase(console, kShare / passes, "smoothing", [&](qvUtil::Progress& progress) {
      if (options.laplacian > 0) return meshSmoothLaplacian(mesh, adjVertices, progress);
      meshComputeNormals(mesh);  // of the surface as the last pass left it
      meshSmoothBilateral(mesh, adjVertices, options.sigma, progress);
    });
  if (hasNormals)
    meshComputeNormals(mesh);
  else
    mesh.deleteNormals();
  mesh.clearSelection();
}

ExitCode runSmooth(const Options& options, Console& console) {
  validate(options);
  return rewriteMesh(
      options.files, console, [&](CompactMesh& mesh) { smooth(mesh, options, console); }, kShare);
}

}  // namespace

Verb makeSmooth(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("smooth", "Move vertices so that noise goes");
  options->files.addInput(*app);
  options->files.addOutput(*app);
  CLI::Option* laplacian = app->add_option("--laplacian", options->laplacian,
                                           "so many times, move every vertex to the mean of its neighbours")
                               ->type_name("N")
                               ->check(CLI::Range(1, kMostPasses));
  CLI::Option* bilateral =
      app->add_option("--bilateral", options->sigma,
                      "move vertices along their normals, by what lies within a radius; keeps sharp features")
          ->type_name("SIGMA")
          ->check(CLI::PositiveNumber)
          ->excludes(laplacian);
  app->add_option("--times", options->times, "how often the latter is done (default: once)")
      ->type_name("N")
      ->check(CLI::Range(1, kMostPasses))
      ->needs(bilateral);
  app->add_option("--vertices", options->vertices,
                  "only these move: a text file with the number of a vertex a line")
      ->type_name("FILE");
  app->footer(
      "Vertices at the same position move apart where they are not one: 'weld' comes first. Normals that "
      "the\n"
      "input has are computed anew.\n\n"
      "Examples:\n  qvgeom smooth scan.obj --laplacian 3 -o smooth.obj\n"
      "  qvgeom smooth scan.obj --bilateral 0.5 --times 4 -o smooth.obj");
  return {app, [options](Console& console) { return runSmooth(*options, console); }};
}

}  // namespace tool
