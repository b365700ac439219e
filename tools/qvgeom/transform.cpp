#include <cmath>
#include <memory>
#include <numbers>
#include <utility>
#include <vector>

#include "mesh_verb.h"
#include "verbs.h"

namespace tool {

using qvLinear::AffineMatrix;
using qvLinear::Vector;

namespace {

struct Options {
  MeshFiles files;
  std::vector<double> scale;
  std::vector<double> rotate;
  std::vector<double> translate;
};

AffineMatrix scaling(const std::vector<double>& s) {
  if (s.empty()) return {};
  if (s.size() == 2) throw Failure(kUsage, "--scale takes one factor, or three");
  return s.size() == 1 ? AffineMatrix::scale(s[0], s[0], s[0]) : AffineMatrix::scale(s[0], s[1], s[2]);
}

AffineMatrix rotation(const std::vector<double>& r) {
  if (r.empty()) return {};
  Vector axis(r[0], r[1], r[2]);
  if (!axis.normalize()) throw Failure(kUsage, "--rotate: the axis has no direction");
  AffineMatrix turn;
  for (int row = 0; row < 3; ++row) {
    const Vector image =
        qvLinear::rotate(qvLinear::axisVector<double, 3>(row), axis, r[3] * std::numbers::pi / 180);
    // The cosine of a right angle is not quite 0, which would show as a tiny number all over the file.
    for (int c = 0; c < 3; ++c) turn[row][c] = std::fabs(image[c]) < 1e-15 ? 0 : image[c];
  }
  return turn;
}

AffineMatrix translation(const std::vector<double>& t) {
  return t.empty() ? AffineMatrix() : AffineMatrix::translation(Vector(t[0], t[1], t[2]));
}

qvLinear::AffineMatrixFlt placement(const Options& options) {
  const AffineMatrix whole =
      scaling(options.scale) * rotation(options.rotate) * translation(options.translate);
  const qvLinear::AffineMatrixFlt matrix(whole);
  for (int row = 0; row < 4; ++row)
    for (int c = 0; c < 3; ++c)
      if (!std::isfinite(matrix[row][c])) throw Failure(kUsage, "the numbers are too large, or not finite");
  return matrix;
}

ExitCode runTransform(const Options& options, Console& console) {
  const qvLinear::AffineMatrixFlt matrix = placement(options);
  return rewriteMesh(options.files, console, [&](qvGeom::CompactMesh& mesh) {
    meshTransform(mesh, matrix);
    if (AffineMatrix(matrix).determinant() >= 0) return;
    // A mirror image is wound the other way; turned round, its outside stays outside.
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
      std::swap(mesh.getTriangles()[t][1], mesh.getTriangles()[t][2]);
  });
}

}  // namespace

Verb makeTransform(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("transform", "Scale, rotate and move a mesh, in this order");
  options->files.addInput(*app);
  options->files.addOutput(*app);
  app->add_option("--scale", options->scale, "one factor, or one for each axis, about the origin")
      ->type_name("S | X Y Z")
      ->expected(1, 3);
  app->add_option("--rotate", options->rotate,
                  "degrees about an axis through the origin, counter-clockwise seen against the axis")
      ->type_name("AX AY AZ DEGREES")
      ->expected(4);
  app->add_option("--translate", options->translate, "distance along each axis")
      ->type_name("X Y Z")
      ->expected(3);
  app->footer(
      "The order of the options plays no part. A scale that mirrors keeps the outside outside.\n\n"
      "Examples:\n  qvgeom transform bunny.obj -o large.obj --scale 25.4\n"
      "  qvgeom transform part.obj -o placed.obj --rotate 0 0 1 90 --translate 10 0 -2.5");
  return {app, [options](Console& console) { return runTransform(*options, console); }};
}

}  // namespace tool
