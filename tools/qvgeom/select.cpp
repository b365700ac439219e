#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "mesh_verb.h"
#include "number_rows.h"
#include "verbs.h"

namespace tool {

using qvGeom::BitVector;
using qvGeom::CompactMesh;
using qvGeom::MeshSelect;

namespace {

struct Options {
  MeshFiles files;
  std::string lasso;
  std::vector<double> matrix;
  std::vector<int> components;
  std::string triangles;
  int grow = 0;
  bool remove = false;
  bool keep = false;
};

void validate(const Options& options) {
  if (options.lasso.empty() && options.components.empty() && options.triangles.empty())
    throw Failure(kUsage, "say what to select: --lasso, --component or --triangles");
  if (options.remove == options.keep) throw Failure(kUsage, "give either --delete or --keep");
  if (!options.matrix.empty() && options.lasso.empty()) throw Failure(kUsage, "--matrix16 needs --lasso");
  for (const double value : options.matrix)
    if (!std::isfinite(value)) throw Failure(kUsage, "--matrix16: the numbers must be finite");
  if ((options.files.input == "-") + (options.lasso == "-") + (options.triangles == "-") > 1)
    throw Failure(kUsage, "only one file can be standard input");
}

// Adds up what the options name, and hands it to the selections of the mesh.
class Selection {
 public:
  Selection(CompactMesh& mesh, const Options& options, Console& console)
      : mesh_(mesh), options_(options), console_(console), selected_(mesh.getNumTriangles()) {
    meshAdjTris(mesh, adjTris_);
  }

  void remove() {
    if (!options_.lasso.empty()) addLasso();
    addComponents();
    if (!options_.triangles.empty()) addTriangles();
    mesh_.getSelectedTriangles().resize(mesh_.getNumTriangles());
    mesh_.getSelectedTriangles() |= selected_;
    MeshSelect select(mesh_, adjTris_);
    for (int ring = 0; ring < options_.grow && grows(select); ++ring) console_.throwIfInterrupted();
    const auto selected = mesh_.getSelectedTriangles().numSetBits;
    console_.note(std::to_string(selected) + " of " + std::to_string(mesh_.getNumTriangles()) +
                  " triangles selected");
    if (options_.keep) select.invertTriangleSelection();
    if (mesh_.getSelectedTriangles().numSetBits == 0) return;
    select.selectVerticesFromTriangles();
    qvGeom::MeshDeleteSelected deleteSelected(mesh_);
    deleteSelected();
    refreshNormals(mesh_);
  }

 private:
  static bool grows(MeshSelect& select) {
    const auto before = select.getSelectedTriangles().numSetBits;
    select.selectTrianglesRecursive(true);
    return select.getSelectedTriangles().numSetBits > before;
  }
  void addLasso();
  void addComponents();
  void addTriangles();

  CompactMesh& mesh_;
  const Options& options_;
  Console& console_;
  qvGeom::MeshAdjTris adjTris_;
  BitVector selected_;
};

void Selection::addLasso() {
  NumberRows rows(2);
  rows.read(options_.lasso, console_);
  if (rows.size() < 3)
    throw Failure(kUnreadable, displayName(options_.lasso, true) + ": a lasso has three points at least");
  qv::vector<qvLinear::Point> lasso;
  for (std::size_t i = 0; i < rows.size(); ++i) lasso.emplace_back(rows[i][0], rows[i][1], 0);
  qvLinear::ProjMatrix projection;
  std::copy(options_.matrix.begin(), options_.matrix.end(), projection.m);
  BitVector triangles;
  BitVector vertices;
  MeshSelect select(mesh_, adjTris_, triangles, vertices);
  select.selectVertices(projection, lasso);
  select.selectTrianglesFromVertices(3);
  selected_ |= triangles;
}

void Selection::addComponents() {
  if (options_.components.empty()) return;
  qvGeom::Array<int> componentOf;
  const int count = meshComponents(mesh_, adjTris_, &componentOf);
  for (const int component : options_.components)
    if (component >= count)
      throw Failure(kUsage, "--component " + std::to_string(component) + ": the mesh has " +
                                std::to_string(count) + ", numbered from 0");
  std::vector<char> isNamed(static_cast<std::size_t>(count));
  for (const int component : options_.components) isNamed[static_cast<std::size_t>(component)] = 1;
  for (int t = 0; t < mesh_.getNumTriangles(); ++t)
    if (isNamed[static_cast<std::size_t>(componentOf[mesh_.getTriangles()[t][0]])]) selected_.setBit(t);
}

void Selection::addTriangles() {
  for (const int t : readElementNumbers(options_.triangles, "triangle", mesh_.getNumTriangles(), console_))
    selected_.setBit(t);
}

ExitCode runSelect(const Options& options, Console& console) {
  validate(options);
  return rewriteMesh(options.files, console, [&](CompactMesh& mesh) {
    console.progress().setCaption("selecting");
    Selection(mesh, options, console).remove();
  });
}

}  // namespace

Verb makeSelect(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("select", "Delete a part of a mesh, or all but that");
  options->files.addInput(*app);
  options->files.addOutput(*app);
  app->add_option("--lasso", options->lasso,
                  "triangles with all corners in a polygon of the xy plane: a text file with x y a line")
      ->type_name("FILE");
  app->add_option("--matrix16", options->matrix,
                  "projects the mesh before the lasso is applied: the columns of a 4x4 matrix")
      ->type_name("16 NUMBERS")
      ->expected(16);
  app->add_option("--component", options->components,
                  "a piece of the mesh; pieces are numbered from 0 by their lowest triangle. May be repeated")
      ->type_name("N")
      ->check(CLI::NonNegativeNumber)
      ->allow_extra_args(false);
  app->add_option("--triangles", options->triangles, "text file with the number of a triangle a line")
      ->type_name("FILE");
  app->add_option("--grow", options->grow, "add the triangles around the selected ones, so many times")
      ->type_name("RINGS")
      ->check(CLI::NonNegativeNumber);
  app->add_flag("--delete", options->remove, "delete what is selected");
  app->add_flag("--keep", options->keep, "delete what is not selected");
  app->footer(
      "What several options select adds up. Triangles that share a vertex are of one piece. Vertices that "
      "no\n"
      "triangle used before stay, unless all triangles are deleted.\n\n"
      "Examples:\n  qvgeom select scan.obj --component 0 --keep -o largest.obj\n"
      "  qvgeom select scan.obj --lasso outline.txt --grow 2 --delete -o rest.obj");
  return {app, [options](Console& console) { return runSelect(*options, console); }};
}

}  // namespace tool
