#include "geom/planar/screen_picking.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/threading.h"
#include "geom/planar/clip_projection.h"
#include "geom/spatial/ray.h"
#include "geom/topology/element_runs.h"

namespace qvGeom {

using qvLinear::Line;
using qvLinear::PointFlt;
using qvLinear::ProjMatrixFlt;

namespace {

// On which sides of the window a vertex lies. In a window of negative size it may be left and right at once.
enum Flag : std::uint8_t { Left = 1, Right = 2, Below = 4, Above = 8 };
constexpr int kHorizontal = Left | Right;
constexpr int kVertical = Below | Above;

// The window's sides, in double: there a whole number neither overflows nor is rounded.
struct Window {
  double left, right, bottom, top;

  Window(int x, int y, int halfSize)
      : left(static_cast<double>(x) - halfSize),
        right(static_cast<double>(x) + halfSize),
        bottom(static_cast<double>(y) - halfSize),
        top(static_cast<double>(y) + halfSize) {}
};

struct FlagVertices {
  Clip::Projection projection;
  Window window;
  float const* points;
  std::uint8_t* flags;

  void operator()(int begin, int end) const {
    for (int v = begin; v < end; ++v) {
      float const* p = points + 3 * std::ptrdiff_t{v};
      const float w = projection.row(3, p);
      const int across = sideOf(projection.row(0, p) / w, window.left, window.right);
      const int along = sideOf(projection.row(1, p) / w, window.bottom, window.top);
      flags[v] = static_cast<std::uint8_t>(across * Left | along * Below);
    }
  }
  // 1 below the range, 2 above it. What is not finite is nowhere: a triangle there is not to be missed.
  static int sideOf(float value, double low, double high) {
    constexpr float kMax = std::numeric_limits<float>::max();
    const double x = static_cast<double>(value);
    return static_cast<int>((x < low) & (value >= -kMax)) | static_cast<int>((x > high) & (value <= kMax))
                                                                << 1;
  }
};

struct Hit {
  double t = std::numeric_limits<double>::max();
  MeshCoord coord;
};

// Workers keep their first best hit; as they take triangles in order, the lowest worker among equals has the
// lowest triangle.
class FindHit final : public qvUtil::ThreadedAlg {
 public:
  FindHit(const CompactMesh& mesh, std::uint8_t const* flags, const Line& line)
      : mesh_(mesh), flags_(flags), line_(line), origin_(line.origin) {}

  void initialize(int numThreads) override { slots_.resize(static_cast<std::size_t>(numThreads)); }
  void execute(int thread, int numThreads) override {
    const int n = mesh_.getNumTriangles();
    Hit best;
    search(getBeginIndex(thread, numThreads, n), getBeginIndex(thread + 1, numThreads, n), best);
    slots_[static_cast<std::size_t>(thread)] = best;
  }
  MeshCoord result() const {
    Hit best;
    for (const Hit& hit : slots_)
      if (hit.t < best.t) best = hit;
    return best.coord;
  }

 private:
  void search(int begin, int end, Hit& best) const {
    MeshTriangle const* triangles = mesh_.getTriangles();
    MeshVertex const* vertices = mesh_.getVertices();
    for (int i = begin; i < end; ++i) {
      const MeshTriangle& tri = triangles[i];
      if (isBesideWindow(flags_[tri[0]], flags_[tri[1]], flags_[tri[2]])) continue;
      double t, u, v;
      if (!intersectRayTriangle(line_.direction.data(), origin_.data(), &vertices[tri[0]].x,
                                &vertices[tri[1]].x, &vertices[tri[2]].x, t, u, v))
        continue;
      if (!(t < best.t)) continue;
      best.t = t;
      best.coord.weight[0] = 1 - u - v;
      best.coord.weight[1] = u;
      best.coord.weight[2] = v;
      best.coord.triangle = i;
    }
  }
  // Whether all three have the same flags across, or along, and have some.
  static bool isBesideWindow(int a, int b, int c) {
    const int differing = (a ^ b) | (a ^ c);
    return ((a & kHorizontal) != 0 && (differing & kHorizontal) == 0) ||
           ((a & kVertical) != 0 && (differing & kVertical) == 0);
  }

  const CompactMesh& mesh_;
  std::uint8_t const* flags_;
  const Line& line_;
  PointFlt origin_;
  qv::vector<Hit> slots_;
};

}  // namespace

MeshCoord meshRayIntersectScreen(const CompactMesh& mesh, const ProjMatrixFlt& m, int x, int y, int halfSize,
                                 const Line& line) {
  const int n = mesh.getNumVertices();
  qv::vector<std::uint8_t> flags(static_cast<std::size_t>(n));
  forElementRuns(
      n, FlagVertices{Clip::Projection(m), Window(x, y, halfSize), mesh.getVerticesRaw(), flags.data()});
  FindHit search(mesh, flags.data(), line);
  qvUtil::ThreadPool& pool = mesh.getNumTriangles() < kFewElements
                                 ? qvUtil::ThreadPool::getSingleThreadedPool()
                                 : qvUtil::ThreadPool::get();
  pool.run(search);
  return search.result();
}

MeshCoord meshRayIntersectScreen(const CompactMesh& mesh, const ProjMatrixFlt& m, const Line& line) {
  return meshRayIntersectScreen(mesh, m, 0, 0, 1, line);
}

}  // namespace qvGeom
