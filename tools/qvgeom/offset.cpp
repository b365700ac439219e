#include <cmath>
#include <cstdint>
#include <memory>

#include "mesh_verb.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;

namespace {

struct Options {
  MeshFiles files;
  double distance = 0;
  bool layerOnly = false;
};

// A mesh with all that an offset asks for.
struct Subject {
  explicit Subject(const CompactMesh& mesh) {
    meshAdjTris(mesh, adjTris);
    qvGeom::MeshAdjVertices adjVertices;
    meshAdjVertices(mesh, adjTris, adjVertices);
    meshComputeBoundary(mesh, adjTris, adjVertices, boundaries);
    qvGeom::BoundingBox box;
    meshBoundingBox(mesh, box);
    octree = std::make_unique<qvGeom::Octree>(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true,
                                              qvGeom::Octree::kDefaultPerLeaf);
  }
  qvGeom::MeshAdjTris adjTris;
  qvGeom::MeshBoundaries boundaries;
  std::unique_ptr<qvGeom::Octree> octree;
};

void offset(CompactMesh& mesh, const Options& options, Console& console) {
  console.progress().setCaption("offsetting");
  const Subject subject(mesh);
  console.throwIfInterrupted();
  qvGeom::MeshOffset offset(mesh, *subject.octree, subject.boundaries, subject.adjTris, options.distance);
  const std::unique_ptr<CompactMesh> result(offset.calculate(!options.layerOnly));
  if (!result) throw Failure(kUsage, "--distance: vertices would leave the range of single precision");
  if (mesh.getNumTriangles() > 0) {
    const std::int64_t all =
        options.layerOnly ? mesh.getNumVertices() : 2 * std::int64_t{mesh.getNumVertices()};
    const std::int64_t removed = all - result->getNumVertices();
    if (removed > 0)
      console.note(std::to_string(removed) + " of " + std::to_string(mesh.getNumVertices()) +
                   " moved vertices removed");
  }
  if (!mesh.getNormals()) result->deleteNormals();
  mesh.swap(*result);
}

ExitCode runOffset(const Options& options, Console& console) {
  if (!std::isfinite(options.distance)) throw Failure(kUsage, "--distance must be finite");
  return rewriteMesh(options.files, console, [&](CompactMesh& mesh) { offset(mesh, options, console); });
}

}  // namespace

Verb makeOffset(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("offset", "Give a surface a thickness");
  options->files.addInput(*app);
  options->files.addOutput(*app);
  app->add_option("--distance", options->distance,
                  "of the back side from the surface, against its normals; below zero before it")
      ->type_name("D")
      ->required();
  app->add_flag("--layer-only", options->layerOnly, "only the back side, which faces away from the surface");
  app->footer(
      "The result is the surface, a moved copy and walls between their boundaries. Moved vertices that come\n"
      "nearer to the surface than the distance, or fold over, are left out. Texture coordinates are lost.\n\n"
      "Examples:\n  qvgeom offset mask.obj --distance 2 -o printable.obj\n"
      "  qvgeom offset part.obj --distance 0.5 --layer-only -o inner.obj");
  return {app, [options](Console& console) { return runOffset(*options, console); }};
}

}  // namespace tool
