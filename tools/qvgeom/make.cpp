#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "mesh_verb.h"
#include "scan.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;

namespace {

struct Options {
  MeshFiles files;
  std::vector<float> size;
  float radius = 1;
  float inner = 0.5f;
  double angle = 360;
  int segments = 64;
  int quarter = 16;
  int levels = 4;
  int triangles = 100000;
  std::uint32_t seed = 0;

  // A range about the origin. Sides that were not given have length 1.
  std::vector<float> side(std::size_t i) const {
    const float half = i < size.size() ? size[i] / 2 : 0.5f;
    return {-half, half};
  }
};

void makeCuboid(const Options& o, CompactMesh& mesh) {
  float box[3][2];
  for (std::size_t axis = 0; axis < 3; ++axis) {
    box[axis][0] = o.side(axis)[0];
    box[axis][1] = o.side(axis)[1];
  }
  qvGeom::constructCuboid(box, mesh);
}

void makeOctahedron(const Options& o, CompactMesh& mesh) {
  const auto sphere =
      qvGeom::constructSubdividedOctahedron({{}, {1, 0, 0}, {0, 1, 0}}, o.levels, double{o.radius});
  if (!sphere) return;
  mesh.resizeVertexArray(sphere->numVertices());
  mesh.resizeTriangleArray(sphere->numFaces());
  std::map<qvGeom::TopoMeshVertex, int> numbers;
  int n = 0;
  for (auto v = sphere->firstVertex(); v; v = v.nextInMesh()) {
    numbers.emplace_hint(numbers.end(), v, n);
    mesh.getVertices()[n++].set(v.point().data());
  }
  qvGeom::MeshTriangle* triangle = mesh.getTriangles();
  for (auto f = sphere->firstFace(); f; f = f.nextInMesh(), ++triangle) {
    qvGeom::TopoMeshEdge e = f.firstEdge();
    for (int i = 0; i < 3; ++i, e = e.next()) (*triangle)[i] = numbers.at(e.start());
  }
}

// In words: the ready-made check names the largest double in full.
CLI::Validator positive() {
  return CLI::Validator(
      [](std::string& text) {
        float value = 0;
        const bool good = CLI::detail::lexical_cast(text, value) && value > 0 && std::isfinite(value);
        return good ? std::string() : "'" + text + "' is not a positive number";
      },
      "POSITIVE");
}

// Collects one subcommand for each shape; each has its own options.
class Shapes {
 public:
  using Build = std::function<void(const Options&, CompactMesh&)>;

  explicit Shapes(CLI::App& app) : app_(app) {}

  const std::shared_ptr<Options>& options() const { return options_; }

  CLI::App& add(const char* name, const char* description, Build build) {
    CLI::App* shape = app_.add_subcommand(name, description);
    shapes_.push_back({shape, std::move(build)});
    return *shape;
  }
  void withSize(CLI::App& shape, const char* names, int sides) {
    shape.add_option("--size", options_->size, "length of each side (default: 1)")
        ->type_name(names)
        ->expected(sides)
        ->check(positive());
  }
  void withRadius(CLI::App& shape) {
    shape.add_option("--radius", options_->radius, "radius")->capture_default_str()->check(positive());
  }
  template <typename Number>
  void withCount(CLI::App& shape, const char* name, Number Options::*count, const char* what, Number least,
                 Number most) {
    shape.add_option(name, (*options_).*count, what)->capture_default_str()->check(CLI::Range(least, most));
  }

  void build(CompactMesh& mesh) const {
    for (const auto& [app, build] : shapes_)
      if (app->parsed()) build(*options_, mesh);
  }

 private:
  struct Shape {
    CLI::App* app;
    Build build;
  };
  CLI::App& app_;
  std::shared_ptr<Options> options_ = std::make_shared<Options>();
  std::vector<Shape> shapes_;
};

void addFlatShapes(Shapes& shapes) {
  shapes.withSize(shapes.add("rectangle", "two triangles in the plane z = 0",
                             [](const Options& o, CompactMesh& mesh) {
                               qvGeom::constructRectangle(o.side(0).data(), o.side(1).data(), 0, 2, mesh,
                                                          true);
                             }),
                  "X Y", 2);
  shapes.withSize(shapes.add("corner", "a wall and a floor that meet in an edge",
                             [](const Options& o, CompactMesh& mesh) {
                               qvGeom::constructRectangularCorner(o.side(0).data(), o.side(1).data(),
                                                                  o.side(2).data(), mesh, true);
                             }),
                  "X Y Z", 3);
  CLI::App& disk = shapes.add(
      "disk", "a fan of triangles in the plane z = 0",
      [](const Options& o, CompactMesh& mesh) { qvGeom::constructDisk({}, o.radius, 2, o.segments, mesh); });
  shapes.withRadius(disk);
  shapes.withCount(disk, "--segments", &Options::segments, "triangles", 3, 100000000);
  CLI::App& annulus =
      shapes.add("annulus", "a sector of a ring in the plane z = 0", [](const Options& o, CompactMesh& mesh) {
        qvGeom::constructAnnularArc(o.inner, o.radius, o.angle * std::numbers::pi / 180, o.segments + 1,
                                    mesh);
      });
  shapes.withRadius(annulus);
  shapes.withCount(annulus, "--segments", &Options::segments, "pairs of triangles", 1, 100000000);
  annulus.add_option("--inner", shapes.options()->inner, "inner radius")->capture_default_str();
  annulus.add_option("--angle", shapes.options()->angle, "degrees from +x; faces -z, a negative angle +z")
      ->capture_default_str();
}

void addSolids(Shapes& shapes) {
  shapes.withSize(shapes.add("cuboid", "a box with its own vertices on each face", makeCuboid), "X Y Z", 3);
  shapes.withSize(
      shapes.add("cube", "a cuboid with equal sides",
                 [](const Options& o, CompactMesh& mesh) { qvGeom::constructCube(o.side(0).data(), mesh); }),
      "LENGTH", 1);
  CLI::App& sphere = shapes.add(
      "sphere", "a sphere of meridians and rings",
      [](const Options& o, CompactMesh& mesh) { qvGeom::constructSphere({}, o.radius, o.quarter, mesh); });
  shapes.withRadius(sphere);
  shapes.withCount(sphere, "--segments", &Options::quarter, "segments of a quarter of a circle", 1, 4000);
  CLI::App& octahedron =
      shapes.add("octahedron", "a sphere made by subdividing an octahedron", makeOctahedron);
  shapes.withRadius(octahedron);
  shapes.withCount(octahedron, "--levels", &Options::levels, "subdivisions; 8 4^levels triangles", 1, 10);
  CLI::App& scan = shapes.add("scan", "a damaged scan of a knot: noise, holes, seams, bad triangles",
                              [](const Options& o, CompactMesh& mesh) {
                                CompactMesh made = makeScan(o.triangles, o.seed);
                                mesh.swap(made);
                              });
  shapes.withCount(scan, "--triangles", &Options::triangles, "about how many", 500, 50000000);
  scan.add_option("--seed", shapes.options()->seed, "another seed gives other damage")->capture_default_str();
}

ExitCode runMake(const Shapes& shapes, Console& console) {
  const MeshFiles& files = shapes.options()->files;
  const Format to = files.outputFormat();
  CompactMesh mesh;
  shapes.build(mesh);
  console.throwIfInterrupted();
  if (mesh.getNumVertices() == 0) throw Failure(kUsage, "the numbers are too large, or not finite");
  writeMesh(mesh, files.output, to, 1, console);
  return kDone;
}

}  // namespace

Verb makeMake(CLI::App& program) {
  CLI::App* app = program.add_subcommand("make", "Make a simple shape, or a damaged scan to repair");
  app->require_subcommand(1);
  app->footer(
      "'qvgeom make SHAPE --help' shows the options of a shape.\n\n"
      "Examples:\n  qvgeom make sphere --radius 2 --segments 32 -o sphere.obj\n"
      "  qvgeom make scan --triangles 200000 --seed 7 -o scan.obj");
  auto shapes = std::make_shared<Shapes>(*app);
  shapes->options()->files.addOutput(*app);
  addFlatShapes(*shapes);
  addSolids(*shapes);
  return {app, [shapes](Console& console) { return runMake(*shapes, console); }};
}

}  // namespace tool
