#include "wireframe.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "line_walk.h"

namespace tool {

using qvLinear::HPoint;
using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;

namespace {

// What lies in front of a line by less, measured across it and in units of the stage, is the surface that the
// line is on: above the rounding of projections and hits, below the thickness of anything that has one.
constexpr double kBias = 0.05;
// Measured along the line of sight the same bias grows with the slope of the surface, up to this factor.
constexpr double kSteepest = 20;

constexpr int kBlock = 1 << 10;    // edges that a thread takes at a time
constexpr float kOpacity = 0.95f;  // of single lines
constexpr double kFewSteps = 1.2;  // for each pixel that lines touch; a line by itself has one at most
constexpr float kLeastOpacity = 0.1f;

// The ends of all edges, [2 E][3]. Vertices at one position count as one: an edge along which a file doubled
// them is still one edge.
std::vector<float> edgeEnds(const qvGeom::CompactMesh& mesh, Console& console) {
  qvGeom::CompactMesh welded = mesh;
  qvGeom::Remap remap;
  weldPositions(welded, console, remap);
  std::vector<std::pair<int, int>> edges;
  edges.reserve(3 * static_cast<std::size_t>(welded.getNumTriangles()));
  for (int t = 0; t < welded.getNumTriangles(); ++t)
    for (int k = 0; k < 3; ++k)
      edges.push_back(std::minmax({welded.getTriangles()[t][k], welded.getTriangles()[t][(k + 1) % 3]}));
  std::sort(edges.begin(), edges.end());
  edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
  std::vector<float> ends;
  ends.reserve(6 * edges.size());
  for (const auto& [from, to] : edges)
    for (const int v : {from, to}) {
      float const* p = welded.getVerticesRaw() + 3 * std::ptrdiff_t{v};
      ends.insert(ends.end(), p, p + 3);
    }
  return ends;
}

// How much of each pixel lines cover: the most that any does, so that the order in which they are drawn, by
// several threads, plays no part.
class Coverage {
 public:
  Coverage(int width, int height)
      : width_(width),
        height_(height),
        parts_(new std::atomic<unsigned char>[static_cast<std::size_t>(width) * height]()) {}

  void mark(const LineDot& dot) {
    if (dot.x < 0 || dot.y < 0 || dot.x >= width_ || dot.y >= height_) return;
    const auto part = static_cast<unsigned char>(std::lround(255 * dot.part));
    std::atomic<unsigned char>& most = parts_[static_cast<std::size_t>(dot.y) * width_ + dot.x];
    unsigned char before = most.load(std::memory_order_relaxed);
    while (before < part && !most.compare_exchange_weak(before, part, std::memory_order_relaxed)) {
    }
  }
  unsigned char at(std::size_t pixel) const { return parts_[pixel].load(std::memory_order_relaxed); }
  std::size_t size() const { return static_cast<std::size_t>(width_) * height_; }

 private:
  int width_;
  int height_;
  std::unique_ptr<std::atomic<unsigned char>[]> parts_;
};

// Cuts the segment off at the sides of the view. @return whether anything is left, which then has w > 0
bool clipToView(HPoint& a, HPoint& b) {
  double begin = 0, end = 1;
  for (int axis = 0; axis < 3; ++axis)
    for (const double sign : {-1.0, 1.0}) {
      const double insideA = a[3] - sign * a[axis], insideB = b[3] - sign * b[axis];
      if (insideA < 0 && insideB < 0) return false;
      if (insideA < 0) begin = std::max(begin, insideA / (insideA - insideB));
      if (insideB < 0) end = std::min(end, insideA / (insideA - insideB));
    }
  if (begin > end) return false;
  const HPoint from = a, to = b;
  for (int k = 0; k < 4; ++k) {
    a[k] = from[k] + begin * (to[k] - from[k]);
    b[k] = from[k] + end * (to[k] - from[k]);
  }
  return a[3] > 0 && b[3] > 0;
}

// One thread's share of the drawing.
class EdgeDrawer {
 public:
  EdgeDrawer(const Scene& scene, const Camera& camera, Coverage& coverage)
      : scene_(scene),
        camera_(camera),
        coverage_(coverage),
        projection_(camera.projection()),
        eye_(camera.position()),
        tracer_(scene.surface().octree(), scene.surface().octreeTris(), &scene.mesh()),
        closest_(scene.mesh(), scene.surface().octree(), scene.surface().octreeTris()) {
    tracer_.setFindNearestHit(true);
    lines_.setLineFunc(&EdgeDrawer::drawSegment, this);
  }

  void draw(float const* ends, int count) { lines_.evaluateSegments(ends, count, projection_); }
  std::int64_t steps() const { return steps_; }

 private:
  static bool drawSegment(void* user, const HPoint& a, const HPoint& b) {
    static_cast<EdgeDrawer*>(user)->draw(a, b);
    return true;
  }

  void draw(HPoint a, HPoint b) {
    if (!clipToView(a, b)) return;
    const Place from = camera_.place(a), to = camera_.place(b);
    walkLine({from.x - 0.5, from.y - 0.5}, {to.x - 0.5, to.y - 0.5},
             [&](double t, const LineDot& first, const LineDot& second) {
               // In the picture the inverse of the depth runs evenly along a line.
               const double depth = 1 / ((1 - t) / a[3] + t / b[3]);
               if (!isSeen({from.x + t * (to.x - from.x), from.y + t * (to.y - from.y)}, depth)) return;
               ++steps_;
               coverage_.mark(first);
               coverage_.mark(second);
             });
  }

  bool isSeen(const Place& place, double depth) {
    const Vector sight = camera_.direction(place.x, place.y);
    if (!tracer_.intersect(eye_, sight)) return true;
    const double hit = tracer_.intersectionDist();
    const double gap = depth / -dot(sight, camera_.back()) - hit;
    if (gap <= kBias) return true;
    if (gap > kSteepest * kBias) return false;
    qvGeom::MeshCoord at;
    closest_.compute(Point(eye_) + hit * sight, &at);
    return at.valid() && gap * std::fabs(dot(scene_.flatNormal(at.triangle), sight)) <= kBias;
  }

  const Scene& scene_;
  const Camera& camera_;
  Coverage& coverage_;
  const qvLinear::ProjMatrixFlt projection_;
  const PointFlt eye_;
  qvGeom::RayTracer tracer_;
  qvGeom::MeshClosestPoint closest_;
  qvGeom::Clip::LineAlgorithm lines_;
  std::int64_t steps_ = 0;
};

// Threads take blocks of edges as they come.
class EdgesAlg : public qvUtil::ThreadedAlg {
 public:
  EdgesAlg(const Scene& scene, const Camera& camera, const std::vector<float>& ends, Coverage& coverage)
      : scene_(scene), camera_(camera), ends_(ends), coverage_(coverage) {}

  void execute(int thread, int) override {
    EdgeDrawer drawer(scene_, camera_, coverage_);
    const std::size_t count = ends_.size() / 3, perBlock = 2 * kBlock;
    for (std::size_t i = perBlock * next_++; i < count && !cancelled(thread); i = perBlock * next_++) {
      drawer.draw(&ends_[3 * i], static_cast<int>(std::min(perBlock, count - i)));
      updateProgress(thread, static_cast<double>(i) / static_cast<double>(count));
    }
    steps_ += drawer.steps();
  }
  std::int64_t steps() const { return steps_; }

 private:
  const Scene& scene_;
  const Camera& camera_;
  const std::vector<float>& ends_;
  Coverage& coverage_;
  std::atomic<std::size_t> next_{0};
  std::atomic<std::int64_t> steps_{0};
};

// Lines that would cover each pixel many times over are drawn so lightly that the surface still shows.
float opacityFor(std::int64_t steps, const Coverage& coverage) {
  std::int64_t touched = 0;
  for (std::size_t i = 0; i < coverage.size(); ++i) touched += coverage.at(i) > 0;
  const double crowding = static_cast<double>(steps) / (kFewSteps * static_cast<double>(touched));
  return crowding > 1 ? std::max(kOpacity / static_cast<float>(crowding), kLeastOpacity) : kOpacity;
}

// Lays ink over a pixel, with alpha or without.
void lay(const Light& ink, float part, bool hasAlpha, unsigned char* pixel) {
  const auto screen = [pixel](int k) { return static_cast<float>(pixel[k]) / 255; };
  const float under = (hasAlpha ? screen(3) : 1) * (1 - part);
  const Light light =
      (ink * part + fromScreen(screen(0), screen(1), screen(2)) * under) * (1 / (part + under));
  for (int k = 0; k < 3; ++k) pixel[k] = toScreenByte(light.c[k]);
  if (hasAlpha) pixel[3] = static_cast<unsigned char>(std::lround(255 * (part + under)));
}

}  // namespace

void drawWireframe(const Scene& scene, const Camera& camera, Picture& picture, Console& console) {
  console.progress().setCaption("drawing edges");
  qvUtil::Progress phase;
  console.progress().subPhase(1, phase);
  const std::vector<float> ends = edgeEnds(scene.mesh(), console);
  Coverage coverage(picture.width, picture.height);
  EdgesAlg alg(scene, camera, ends, coverage);
  alg.setProgress(&phase);
  qvUtil::ThreadPool::get().run(alg);
  console.throwIfInterrupted();
  const Light ink = fromScreen(0.08f, 0.1f, 0.16f);
  const float opacity = opacityFor(alg.steps(), coverage);
  for (std::size_t i = 0; i < coverage.size(); ++i)
    if (coverage.at(i) > 0)
      lay(ink, opacity * static_cast<float>(coverage.at(i)) / 255, picture.hasAlpha,
          &picture.bytes[i * picture.pixelSize()]);
}

}  // namespace tool
