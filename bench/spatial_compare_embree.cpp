// Embree: built for quality "medium", not robust, on one thread. Its point query walks the tree and leaves
// the triangles to the caller.

#include <algorithm>
#include <cmath>
#include <embree3/rtcore.h>
#include <limits>

#include "bench/spatial_compare.h"

namespace qvGeom {
namespace {

struct Vec {
  float x, y, z;
};
Vec operator-(const Vec& a, const Vec& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Vec along(const Vec& a, float s, const Vec& b, float t, const Vec& c) {
  return {a.x + s * b.x + t * c.x, a.y + s * b.y + t * c.y, a.z + s * b.z + t * c.z};
}
float dot(const Vec& a, const Vec& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

// Squared distance from p to the closed triangle, by the regions of its corners and edges.
float distance2(const Vec& p, const Vec& a, const Vec& b, const Vec& c) {
  const Vec ab = b - a, ac = c - a, ap = p - a, bp = p - b, cp = p - c;
  const float d1 = dot(ab, ap), d2 = dot(ac, ap);
  if (d1 <= 0 && d2 <= 0) return dot(ap, ap);
  const float d3 = dot(ab, bp), d4 = dot(ac, bp);
  if (d3 >= 0 && d4 <= d3) return dot(bp, bp);
  const float d5 = dot(ab, cp), d6 = dot(ac, cp);
  if (d6 >= 0 && d5 <= d6) return dot(cp, cp);
  const auto from = [&](float s, float t) {
    const Vec d = p - along(a, s, ab, t, ac);
    return dot(d, d);
  };
  const float vc = d1 * d4 - d3 * d2;
  if (vc <= 0 && d1 >= 0 && d3 <= 0) return from(d1 / (d1 - d3), 0);
  const float vb = d5 * d2 - d1 * d6;
  if (vb <= 0 && d2 >= 0 && d6 <= 0) return from(0, d2 / (d2 - d6));
  const float va = d3 * d6 - d5 * d4;
  if (va <= 0 && d4 - d3 >= 0 && d5 - d6 >= 0) {
    const float t = (d4 - d3) / (d4 - d3 + (d5 - d6));
    return from(1 - t, t);
  }
  const float sum = va + vb + vc;
  return from(vb / sum, vc / sum);
}

struct Search {
  const CompactMesh& mesh;
  int nearest;
};

bool visitTriangle(RTCPointQueryFunctionArguments* args) {
  Search& search = *static_cast<Search*>(args->userPtr);
  MeshVertex const* vertices = search.mesh.getVertices();
  int const* v = search.mesh.getTriangles()[args->primID].v;
  const auto corner = [&](int i) { return Vec{vertices[v[i]].x, vertices[v[i]].y, vertices[v[i]].z}; };
  const float d2 =
      distance2({args->query->x, args->query->y, args->query->z}, corner(0), corner(1), corner(2));
  if (d2 >= args->query->radius * args->query->radius) return false;
  args->query->radius = std::sqrt(d2);
  search.nearest = static_cast<int>(args->primID);
  return true;  // the search goes on with the smaller radius
}

constexpr float kFar = std::numeric_limits<float>::infinity();

class EmbreeSide : public SpatialSide {
 public:
  EmbreeSide(const SpatialScene& scene, const char* config)
      : mesh_(scene.mesh), device_(rtcNewDevice(config)), scene_(rtcNewScene(device_)) {
    rtcSetSceneBuildQuality(scene_, RTC_BUILD_QUALITY_MEDIUM);
    rtcSetSceneFlags(scene_, RTC_SCENE_FLAG_NONE);
    const RTCGeometry geometry = rtcNewGeometry(device_, RTC_GEOMETRY_TYPE_TRIANGLE);
    // A copy, because shared vertices would have to be readable four bytes past the last one.
    float* vertices = static_cast<float*>(
        rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float),
                                static_cast<std::size_t>(mesh_.getNumVertices())));
    std::copy_n(mesh_.getVerticesRaw(), 3 * mesh_.getNumVertices(), vertices);
    rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, mesh_.getTrianglesRaw(),
                               0, sizeof(MeshTriangle), static_cast<std::size_t>(mesh_.getNumTriangles()));
    rtcSetGeometryPointQueryFunction(geometry, visitTriangle);
    rtcCommitGeometry(geometry);
    rtcAttachGeometry(scene_, geometry);
    rtcReleaseGeometry(geometry);
    rtcCommitScene(scene_);
  }
  ~EmbreeSide() override {
    rtcReleaseScene(scene_);
    rtcReleaseDevice(device_);
  }

  Tally closest(const Points& points) override {
    Tally tally;
    for (const qvLinear::PointFlt& p : points) {
      RTCPointQuery query{};
      query.x = p[0];
      query.y = p[1];
      query.z = p[2];
      query.radius = kFar;
      RTCPointQueryContext context;
      rtcInitPointQueryContext(&context);
      Search search{mesh_, -1};
      rtcPointQuery(scene_, &query, &context, nullptr, &search);
      if (search.nearest < 0) continue;
      ++tally.count;
      tally.distance += query.radius;
    }
    return tally;
  }
  Tally nearestHits(const Shots& shots) override {
    Tally tally;
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    for (const Shot& shot : shots) {
      RTCRayHit ray{};
      ray.ray.org_x = shot.origin[0];
      ray.ray.org_y = shot.origin[1];
      ray.ray.org_z = shot.origin[2];
      ray.ray.dir_x = shot.dir[0];
      ray.ray.dir_y = shot.dir[1];
      ray.ray.dir_z = shot.dir[2];
      ray.ray.tfar = kFar;
      ray.ray.mask = ~0u;
      ray.hit.geomID = RTC_INVALID_GEOMETRY_ID;
      rtcIntersect1(scene_, &context, &ray);
      if (ray.hit.geomID == RTC_INVALID_GEOMETRY_ID) continue;
      ++tally.count;
      tally.distance += ray.ray.tfar;
    }
    return tally;
  }
  Tally nearestHitsByFour(const Shots& shots) override {
    Tally tally;
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    context.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
    alignas(16) const int valid[4] = {-1, -1, -1, -1};
    for (std::size_t i = 0; i < shots.size(); i += 4) {
      RTCRayHit4 rays{};
      for (std::size_t k = 0; k < 4; ++k) {
        const Shot& shot = shots[i + k];
        rays.ray.org_x[k] = shot.origin[0];
        rays.ray.org_y[k] = shot.origin[1];
        rays.ray.org_z[k] = shot.origin[2];
        rays.ray.dir_x[k] = shot.dir[0];
        rays.ray.dir_y[k] = shot.dir[1];
        rays.ray.dir_z[k] = shot.dir[2];
        rays.ray.tfar[k] = kFar;
        rays.ray.mask[k] = ~0u;
        rays.hit.geomID[k] = RTC_INVALID_GEOMETRY_ID;
      }
      rtcIntersect4(valid, scene_, &context, &rays);
      for (std::size_t k = 0; k < 4; ++k)
        if (rays.hit.geomID[k] != RTC_INVALID_GEOMETRY_ID) {
          ++tally.count;
          tally.distance += rays.ray.tfar[k];
        }
    }
    return tally;
  }

 private:
  const CompactMesh& mesh_;
  RTCDevice device_;
  RTCScene scene_;
};

}  // namespace

std::unique_ptr<SpatialSide> makeEmbree(const SpatialScene& scene) {
  return std::make_unique<EmbreeSide>(scene, "threads=1");
}
std::unique_ptr<SpatialSide> makeEmbreeSse2(const SpatialScene& scene) {
  return std::make_unique<EmbreeSide>(scene, "threads=1,isa=sse2");
}

}  // namespace qvGeom
