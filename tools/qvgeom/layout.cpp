#include "layout.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numbers>

#include "mesh_shape.h"
#include "mesh_verb.h"

namespace tool {

using qvGeom::CompactMesh;
using qvGeom::MeshTriangle;
using qvLinear::Vector;

namespace {

struct Point2 {
  double u, v;
};

// A triangle on the surface and in the layout.
struct Pair {
  Vector side[2];   // from corner 0 to the others
  Point2 image[2];  // of these

  Pair(const CompactMesh& mesh, const MeshTriangle& t) {
    const auto point = [&](int k) { return mesh.getVertices()[t[k]].asPoint(); };
    for (int k = 0; k < 2; ++k) {
      side[k] = point(k + 1) - point(0);
      const qvGeom::MeshUV &to = mesh.getUVs()[t[k + 1]], &from = mesh.getUVs()[t[0]];
      image[k] = {double{to.u} - double{from.u}, double{to.v} - double{from.v}};
    }
  }
  double area() const { return length(cross(side[0], side[1])) / 2; }
  double imageArea() const { return (image[0].u * image[1].v - image[0].v * image[1].u) / 2; }
  bool isMeasurable() const {
    return area() > 0 && length(side[0]) > 0 && std::isfinite(area()) && std::isfinite(imageArea());
  }
};

// Squared stretches of a triangle: the greatest, the least, and the mean over all directions.
struct Stretch {
  double greatest, least, mean;
};

// With an orthonormal frame whose first axis runs along the first side, the sides are (a, 0) and (b, h).
Stretch stretchOf(const Pair& t) {
  const double a = length(t.side[0]), b = dot(t.side[0], t.side[1]) / a, h = 2 * t.area() / a;
  const double xu = t.image[0].u / a, xv = t.image[0].v / a;
  const double yu = (t.image[1].u - b * xu) / h, yv = (t.image[1].v - b * xv) / h;
  const double xx = xu * xu + xv * xv, yy = yu * yu + yv * yv, xy = xu * yu + xv * yv;
  const double mean = (xx + yy) / 2, spread = std::hypot((xx - yy) / 2, xy);
  return {mean + spread, std::max(mean - spread, 0.0), mean};
}

double angleBetween(double sine, double cosine) {
  return std::atan2(std::fabs(sine), cosine) * 180 / std::numbers::pi;
}

// The three corners' differences, degrees.
void angleErrors(const Pair& t, double* errors) {
  const Vector corners[3] = {{}, t.side[0], t.side[1]};
  const Point2 images[3] = {{0, 0}, t.image[0], t.image[1]};
  for (int k = 0; k < 3; ++k) {
    const int next = (k + 1) % 3, last = (k + 2) % 3;
    const Vector a = corners[next] - corners[k], b = corners[last] - corners[k];
    const Point2 c = {images[next].u - images[k].u, images[next].v - images[k].v};
    const Point2 d = {images[last].u - images[k].u, images[last].v - images[k].v};
    errors[k] = std::fabs(angleBetween(length(cross(a, b)), dot(a, b)) -
                          angleBetween(c.u * d.v - c.v * d.u, c.u * d.u + c.v * d.v));
  }
}

}  // namespace

bool isInLayout(const CompactMesh& mesh, int triangle) {
  const MeshTriangle& t = mesh.getTriangles()[triangle];
  return std::all_of(t.v, t.v + 3, [&](int v) {
    return std::isfinite(mesh.getUVs()[v].u) && std::isfinite(mesh.getUVs()[v].v);
  });
}

LayoutBox layoutBox(const CompactMesh& mesh) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  LayoutBox box{{kInfinity, kInfinity}, {-kInfinity, -kInfinity}};
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    if (!isInLayout(mesh, t)) continue;
    for (const int v : mesh.getTriangles()[t].v) {
      const double at[2] = {mesh.getUVs()[v].u, mesh.getUVs()[v].v};
      for (int k = 0; k < 2; ++k) {
        box.least[k] = std::min(box.least[k], at[k]);
        box.greatest[k] = std::max(box.greatest[k], at[k]);
      }
    }
  }
  return box;
}

LayoutQuality measureLayout(const CompactMesh& mesh, Console& console) {
  LayoutQuality q;
  const LayoutBox box = layoutBox(mesh);
  for (int k = 0; k < 2; ++k) q.span[k] = std::max(box.greatest[k] - box.least[k], 0.0);
  for (const signed char side : layoutSides(mesh)) {
    q.flipped += side < 0;
    q.collapsed += side == 0;
  }
  double area = 0, imageArea = 0, sum = 0, greatest = 0, angles = 0;
  double least = std::numeric_limits<double>::infinity();
  std::int64_t corners = 0;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    if (t % kInterruptRhythm == 0) console.throwIfInterrupted();
    const Pair pair(mesh, mesh.getTriangles()[t]);
    if (!pair.isMeasurable()) continue;
    area += pair.area();
    imageArea += std::fabs(pair.imageArea());
    const Stretch stretch = stretchOf(pair);
    sum += stretch.mean * pair.area();
    greatest = std::max(greatest, stretch.greatest);
    least = std::min(least, stretch.least);
    double errors[3];
    angleErrors(pair, errors);
    for (const double error : errors) {
      angles += error;
      q.angleMax = std::max(q.angleMax, error);
    }
    corners += 3;
  }
  if (corners == 0 || !(imageArea > 0)) return q;
  const double scale = area / imageArea;  // of squared lengths
  q.stretchMean = std::sqrt(sum / area * scale);
  q.stretchMax = std::sqrt(greatest * scale);
  q.stretchMin = std::sqrt(least * scale);
  q.angleMean = angles / static_cast<double>(corners);
  return q;
}

std::vector<double> layoutStretches(const CompactMesh& mesh) {
  std::vector<double> stretches;  // squared, until the scale is known
  double area = 0, imageArea = 0;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const Pair pair(mesh, mesh.getTriangles()[t]);
    const bool isMeasurable = pair.isMeasurable();
    stretches.push_back(isMeasurable ? stretchOf(pair).mean : std::numeric_limits<double>::quiet_NaN());
    if (!isMeasurable) continue;
    area += pair.area();
    imageArea += std::fabs(pair.imageArea());
  }
  const double scale = imageArea > 0 ? area / imageArea : 0;  // of squared lengths
  for (double& stretch : stretches) stretch = std::sqrt(stretch * scale);
  return stretches;
}

std::vector<signed char> layoutSides(const CompactMesh& mesh) {
  std::vector<signed char> sides;
  int balance = 0;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const double area = Pair(mesh, mesh.getTriangles()[t]).imageArea();
    sides.push_back(static_cast<signed char>((area > 0) - (area < 0)));
    balance += sides.back();
  }
  if (balance < 0)
    for (signed char& side : sides) side = static_cast<signed char>(-side);
  return sides;
}

nlohmann::ordered_json LayoutQuality::asJson() const {
  return {{"stretch", {{"mean", stretchMean}, {"max", stretchMax}, {"min", stretchMin}}},
          {"angleErrorDegrees", {{"mean", angleMean}, {"max", angleMax}}},
          {"flippedTriangles", flipped},
          {"collapsedTriangles", collapsed},
          {"uvSpan", {span[0], span[1]}}};
}

std::string LayoutQuality::asText() const {
  char text[256];
  std::snprintf(
      text, sizeof text,
      "stretch %.4g (%.4g to %.4g), angles off by %.3g degrees (at most %.3g), %s, span %.4g x %.4g",
      stretchMean, stretchMin, stretchMax, angleMean, angleMax, counted(flipped, "flipped triangle").c_str(),
      span[0], span[1]);
  return text;
}

namespace {

// The mesh as it is flattened: welded, unless that closes or opens boundaries and welding is not insisted on.
MeshShape shapeToFlatten(const CompactMesh& mesh, bool welds, Console& console) {
  CompactMesh welded = mesh;
  welded.deleteUVs();
  welded.deleteNormals();
  inPhase(console, 0, "welding", [&](qvUtil::Progress& phase) { meshCompact(welded, phase); });
  const MeshShape shape = shapeOf(welded, console);
  if (welds) return shape;
  const MeshShape original = shapeOf(mesh, console);
  return original.boundaryLoops == shape.boundaryLoops ? shape : original;
}

// The library tells what it met in the mesh, but of a mesh that is no disc it does not tell why.
std::string whyRefused(const MeshShape& shape, bool needsCut, bool mayCut) {
  if (shape.unusedVertices > 0)
    return "no triangle uses " + counted(shape.unusedVertices, "vertex") + "; 'qvgeom clean' drops them";
  if (shape.pieces == 0) return "it has no triangles";
  if (shape.pieces > 1) return "it is in " + std::to_string(shape.pieces) + " pieces, and only one can be";
  if (needsCut && !mayCut) return "it is closed or has handles, and would have to be cut";
  return "'qvgeom check' tells its defects";
}

// A factorisation takes some kilobytes a vertex.
constexpr int kMostFactored = 500000;

}  // namespace

Flattened flattenMesh(CompactMesh& mesh, bool mayCut, bool welds, double share, Console& console) {
  const MeshShape shape = shapeToFlatten(mesh, welds, console);
  console.throwIfInterrupted();
  const bool needsCut = shape.boundaryLoops == 0 || shape.genus() > 0;
  qvGeom::reparameterizeMesh flattening(mesh);
  flattening.enableMeshCutSurface(mayCut);
  flattening.enableMeshCompact(welds);
  flattening.enableFactorization(mesh.getNumVertices() <= kMostFactored);
  Flattened result;
  result.genus = shape.genus();
  inPhase(console, share, "flattening",
          [&](qvUtil::Progress& phase) { result.done = flattening.flatten(phase); });
  if (result.done) {
    result.wasCut = needsCut;
  } else {
    result.refusal = whyRefused(shape, needsCut, mayCut);
  }
  return result;
}

}  // namespace tool
