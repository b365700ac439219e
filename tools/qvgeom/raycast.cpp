#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "queries.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;
using qvLinear::PointFlt;
using qvLinear::Vector;

namespace {

struct Options {
  QueryFiles files;
  bool any = false;
};

// The mesh was scaled by 2^exponent. Rays follow it there, and their directions are brought to about its
// size: t is then a part of the mesh's diagonal, and the bounds of the ray tests (the least t, the least
// determinant) mean the same for every mesh and every length of the direction. All factors are powers of two,
// so that t comes back without rounding.
struct WorkingRay {
  PointFlt origin;
  Vector dir;
  int exponentOfT = 0;

  WorkingRay(double const* row, int exponent) {
    for (int k = 0; k < 3; ++k) origin[k] = std::ldexp(static_cast<float>(row[k]), exponent);
    const double longest = std::max({std::fabs(row[3]), std::fabs(row[4]), std::fabs(row[5])});
    if (longest == 0) return;  // hits nothing
    const int stretch = kWorkingSizeExponent - std::ilogb(longest);
    for (int k = 0; k < 3; ++k) dir[k] = std::ldexp(row[3 + k], stretch);
    exponentOfT = stretch - exponent;
  }
};

struct Hit {
  double t = std::numeric_limits<double>::infinity();
  int triangle = -1;
  double u = 0;
  double v = 0;
};

class RaycastAnswerer : public Answerer {
 public:
  RaycastAnswerer(const SpatialMesh& surface, int exponent, bool any)
      : mesh_(surface.mesh),
        octreeTris_(surface.octreeTris()),
        exponent_(exponent),
        any_(any),
        tracer_(surface.octree(), surface.octreeTris(), &surface.mesh),
        walk_(surface.octree()) {
    tracer_.setFindNearestHit(!any);
  }

  void answer(double const* row, bool json, std::string& text) override {
    const WorkingRay ray(row, exponent_);
    const bool isHit = tracer_.intersect(ray.origin, ray.dir);
    if (any_) {
      if (json) text += '"';
      text += isHit ? "hit" : "miss";
      if (json) text += '"';
    } else if (!isHit) {
      text += json ? "null" : "miss";
    } else {
      print(findHit(ray, tracer_.intersectionDist()), ray.exponentOfT, json, text);
    }
  }

 private:
  // The tracer tells how far the hit is, and not which triangle it is on: the lowest of those hit there.
  Hit findHit(const WorkingRay& working, double t) {
    const qvGeom::Ray ray(working.origin, working.dir);
    const float limit = static_cast<float>(t) * 1.001f;
    Hit best;
    for (walk_.reset(ray); walk_.valid(); walk_.next()) {
      const qvGeom::OctreeIterator leaf = walk_.get();
      if (!ray.intersects(leaf, 0, limit)) continue;
      int const* list = octreeTris_.firstTri(leaf.voxel());
      for (int i = 0; i < octreeTris_.numTris(leaf.voxel()); ++i) improve(working, list[i], best);
    }
    // By rounding, the walk may pass by a voxel that the tracer, which takes boxes a little larger, has met.
    if (best.t != t)
      for (int tri = 0; tri < mesh_.getNumTriangles(); ++tri) improve(working, tri, best);
    return best;
  }

  void improve(const WorkingRay& ray, int tri, Hit& best) const {
    qvGeom::MeshVertex const* vertices = mesh_.getVertices();
    const qvGeom::MeshTriangle& corners = mesh_.getTriangles()[tri];
    double t, u, v;
    if (!qvGeom::intersectRayTriangle(ray.dir.data(), ray.origin.data(), &vertices[corners[0]].x,
                                      &vertices[corners[1]].x, &vertices[corners[2]].x, t, u, v))
      return;
    if (!(t > double{qvLinear::epsilonTolFlt})) return;
    if (t < best.t || (t == best.t && tri < best.triangle)) best = {t, tri, u, v};
  }

  static void print(const Hit& hit, int exponentOfT, bool json, std::string& text) {
    if (json) text += "{\"t\":";
    appendNumber(text, std::ldexp(hit.t, exponentOfT));
    text += json ? ",\"triangle\":" : " ";
    text += std::to_string(hit.triangle);
    text += json ? ",\"u\":" : " ";
    appendNumber(text, hit.u);
    text += json ? ",\"v\":" : " ";
    appendNumber(text, hit.v);
    if (json) text += '}';
  }

  const CompactMesh& mesh_;
  const qvGeom::OctreeTris& octreeTris_;
  int exponent_;
  bool any_;
  qvGeom::RayTracer tracer_;
  qvGeom::OctreeRayIntersectIt walk_;
};

ExitCode runRaycast(const Options& options, Console& console) {
  NumberRows rays(6);
  SpatialMesh surface;
  options.files.read(console, surface.mesh, rays);
  const int exponent = workingExponent(surface.mesh);
  float* coordinates = surface.mesh.getVerticesRaw();
  std::for_each(coordinates, coordinates + 3 * std::ptrdiff_t{surface.mesh.getNumVertices()},
                [exponent](float& x) { x = std::ldexp(x, exponent); });
  surface.index(0.2, console);
  answerRows(
      rays, options.files.json,
      [&] { return std::make_unique<RaycastAnswerer>(surface, exponent, options.any); }, console);
  return kDone;
}

}  // namespace

Verb makeRaycast(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("raycast", "Find the nearest triangle that each of some rays hits");
  options->files.addTo(*app, "RAYS", "a ray ox oy oz dx dy dz");
  app->add_flag("--any", options->any, "only tell whether there is a hit: print 'hit' or 'miss'");
  app->footer(
      "Prints a line for each ray: t, number of the triangle from 0, u and v; or 'miss'. The hit is at o + t "
      "d, and\n"
      "u and v are the weights of the triangle's second and third corner. Both sides of a triangle are hit, "
      "but\n"
      "nothing within about a millionth of the mesh's diagonal from the origin. A ray without direction "
      "misses.\n"
      "Origins are rounded to single precision.\n\n"
      "Examples:\n  qvgeom raycast bunny.obj rays.txt\n"
      "  echo 0 0 10 0 0 -1 | qvgeom raycast --json bunny.obj -");
  return {app, [options](Console& console) { return runRaycast(*options, console); }};
}

}  // namespace tool
