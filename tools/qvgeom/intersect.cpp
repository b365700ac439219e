#include <cmath>
#include <cstddef>
#include <deque>
#include <memory>
#include <vector>

#include "mesh_io.h"
#include "number_rows.h"
#include "spatial_mesh.h"
#include "verbs.h"

namespace tool {

using qvGeom::MeshCoord;
using qvGeom::MeshIntersectPair;

namespace {

constexpr std::size_t kFlushAt = 1 << 20;

struct Options {
  std::string first;
  std::string second;
  std::string format;
  std::vector<double> matrix;
  bool json = false;
};

// Two triangles, and the segment that they share as seen from the first.
struct Crossing {
  int i;
  int j;
  double ends[6];
};

using Pairs = std::deque<MeshIntersectPair>;

Crossing crossing(const qvGeom::CompactMesh& mesh, const MeshIntersectPair& on,
                  const MeshIntersectPair& other) {
  Crossing result{on.first.triangle, other.first.triangle, {}};
  MeshCoord const* coords[] = {&on.first, &on.second};
  for (int e = 0; e < 2; ++e) {
    const qvLinear::Point p = coords[e]->evaluate(mesh.getVertices(), mesh.getTriangles());
    for (int k = 0; k < 3; ++k) result.ends[3 * e + k] = p[k];
  }
  return result;
}

qvLinear::AffineMatrix placement(const Options& options) {
  qvLinear::AffineMatrix matrix;
  if (options.matrix.empty()) return matrix;
  if (options.second.empty()) throw Failure(kUsage, "--matrix needs a second mesh");
  for (int k = 0; k < 12; ++k) {
    const double value = options.matrix[static_cast<std::size_t>(k)];
    if (!std::isfinite(value)) throw Failure(kUsage, "--matrix: the numbers must be finite");
    matrix[k / 3][k % 3] = value;
  }
  bool invertible = false;
  matrix.inverse(&invertible);
  if (!invertible) throw Failure(kUsage, "--matrix has no inverse");
  return matrix;
}

std::vector<Crossing> selfCrossings(SpatialMesh& surface, Console& console) {
  // Neighbours that do not share their vertices would count as crossing along their common edge.
  qvGeom::Remap remap;
  weldPositions(surface.mesh, console, remap);
  surface.index(0.2, console);
  qvUtil::Progress phase;
  console.progress().setCaption("intersecting");
  console.progress().subPhase(1, phase);
  Pairs pairs;
  qvGeom::MeshIntersect(surface.mesh, surface.octree(), surface.octreeTris()).selfIntersect(phase, pairs);
  console.throwIfInterrupted();
  std::vector<Crossing> result;
  for (std::size_t k = 0; k + 1 < pairs.size(); k += 2)
    result.push_back(crossing(surface.mesh, pairs[k], pairs[k + 1]));
  return result;
}

std::vector<Crossing> crossings(SpatialMesh& first, SpatialMesh& second, const qvLinear::AffineMatrix& matrix,
                                Console& console) {
  first.index(0.1, console);
  second.index(0.1, console);
  qvUtil::Progress phase;
  console.progress().setCaption("intersecting");
  console.progress().subPhase(1, phase);
  Pairs onFirst;
  Pairs onSecond;
  qvGeom::MeshIntersect(first.mesh, first.octree(), first.octreeTris())
      .intersect(second.mesh, second.octree(), second.octreeTris(), matrix, phase, onFirst, onSecond);
  console.throwIfInterrupted();
  std::vector<Crossing> result;
  for (std::size_t k = 0; k < onFirst.size(); ++k)
    result.push_back(crossing(first.mesh, onFirst[k], onSecond[k]));
  return result;
}

// Hands its text on in pieces.
class Output {
 public:
  std::string text;

  void flushIfLong() {
    if (text.size() >= kFlushAt) flush();
  }
  void flush() {
    writeStandardOutput(text);
    text.clear();
  }
};

void printLines(const std::vector<Crossing>& found) {
  Output out;
  for (const Crossing& c : found) {
    out.text += std::to_string(c.i) + " " + std::to_string(c.j) + " ";
    appendNumbers(out.text, c.ends, 6, " ");
    out.text += '\n';
    out.flushIfLong();
  }
  out.flush();
}

void printJson(const std::vector<Crossing>& found) {
  Output out;
  const auto list = [&](const auto& printEntry) {
    for (std::size_t k = 0; k < found.size(); ++k) {
      out.text += k == 0 ? "\n[" : ",\n[";
      printEntry(found[k]);
      out.text += ']';
      out.flushIfLong();
    }
    out.text += ']';
  };
  out.text = "{\"schema\":1,\"pairs\":" + std::to_string(found.size()) + ",\"triangles\":[";
  list([&](const Crossing& c) { out.text += std::to_string(c.i) + "," + std::to_string(c.j); });
  out.text += ",\"segments\":[";
  list([&](const Crossing& c) { appendNumbers(out.text, c.ends, 6, ","); });
  out.text += "}\n";
  out.flush();
}

ExitCode runIntersect(const Options& options, Console& console) {
  const bool isSelf = options.second.empty();
  if (options.first == "-" && options.second == "-")
    throw Failure(kUsage, "only one file can be standard input");
  const qvLinear::AffineMatrix matrix = placement(options);
  const Format asked = parseFormat(options.format);
  const Format from = resolveFormat(options.first, asked, true);
  if (!isSelf) resolveFormat(options.second, asked, true);
  SpatialMesh first;
  SpatialMesh second;
  readMesh(options.first, from, isSelf ? 0.5 : 0.3, console, first.mesh);
  if (!isSelf) readMesh(options.second, asked, 0.3, console, second.mesh);
  const std::vector<Crossing> found =
      isSelf ? selfCrossings(first, console) : crossings(first, second, matrix, console);
  options.json ? printJson(found) : printLines(found);
  return isSelf && !found.empty() ? kDefectsRemain : kDone;
}

}  // namespace

Verb makeIntersect(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app =
      program.add_subcommand("intersect", "Find where a mesh crosses itself, or where two meshes cross");
  app->add_option("A", options->first, "mesh file (.obj, .qvm), or - for standard input")->required();
  app->add_option("B", options->second, "the other mesh; without it, A is tested against itself");
  app->add_option("--matrix", options->matrix,
                  "where A stands in the frame of B: the images of the three axes, then the translation")
      ->type_name("12 NUMBERS")
      ->expected(12);
  app->add_option("--format", options->format, "format of the input: obj or qvm; by default the names tell");
  app->add_flag("--json", options->json, "print one JSON object instead of lines");
  app->footer(
      "Prints a line for each pair of triangles that cross: their numbers from 0, and the ends x y z x y z "
      "of the\n"
      "common segment, in the frame of A. Of one mesh, triangles that share a corner are neighbours and not "
      "tested;\n"
      "when there are crossings the exit code is 1. Of two meshes, the first number is that of the triangle "
      "of A.\n\n"
      "Examples:\n  qvgeom intersect bunny.obj > crossings.txt\n"
      "  qvgeom intersect --json bolt.obj plate.obj --matrix 1 0 0  0 1 0  0 0 1  0 0 -2.5");
  return {app, [options](Console& console) { return runIntersect(*options, console); }};
}

}  // namespace tool
