#include "tracing.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "stage.h"

namespace tool {

using qvGeom::MeshCoord;
using qvGeom::QuadRay;
using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;
using qvLinear::VectorFlt;

namespace {

// Lengths are in units of the stage, whose radius is 1000.
constexpr double kLift = 0.15;           // of secondary rays off their surface, above the rounding of a hit
constexpr double kReach = kStageRadius;  // what is farther keeps no light away

constexpr float kSunCap = 0.012f;  // height of the cap of directions that the key light covers: soft shadows
constexpr int kTile = 4;           // exponent; pixels that differ lie in tiles of 16 x 16
constexpr double kLeastFacing = 0.02;  // cosine; of shaded normals towards the camera

// In the camera's frame: right, up, back.
constexpr double kKey[] = {-0.55, 0.70, 0.45};
constexpr double kFill[] = {0.85, 0.15, 0.5};
constexpr Light kKeyLight = {{1.00f, 0.93f, 0.84f}};
constexpr Light kFillLight = {{0.10f, 0.13f, 0.19f}};
constexpr Light kSky = {{0.27f, 0.31f, 0.38f}};
constexpr Light kGround = {{0.17f, 0.145f, 0.13f}};

// Points of the unit square, from a sequence whose runs cover it evenly: what is drawn at random elsewhere.
class Sequence {
 public:
  /// @param run points that are used together; those of a packet are neighbours in u, for rays that go the
  ///            same way are traced faster
  Sequence(int count, int run) {
    constexpr int kBits = 15;
    qvGeom::HammersleyPermutation2 bits;
    bits.calculate(kBits);
    qvGeom::ScrambledHammersleySequence thirds;
    thirds.calculate(3, count);
    for (int i = 0; i < count; ++i)
      points_.push_back({static_cast<float>(bits[i]) / (1 << kBits), thirds[i]});
    for (auto first = points_.begin(); first != points_.end(); first += run)
      std::sort(first, first + run,
                [](const At& a, const At& b) { return a.u < b.u || (a.u == b.u && a.v < b.v); });
  }
  /// Shifted round the square, so that neighbouring pixels do not err alike.
  void get(int i, float shiftU, float shiftV, float& u, float& v) const {
    u = wrap(points_[static_cast<std::size_t>(i)].u + shiftU);
    v = wrap(points_[static_cast<std::size_t>(i)].v + shiftV);
  }

 private:
  struct At {
    float u, v;
  };
  static float wrap(float x) { return x >= 1 ? x - 1 : x; }

  std::vector<At> points_;
};

struct Frame {
  VectorFlt x, y, z;

  explicit Frame(const Vector& axis) : x(axis.orthogonalVector()), z(axis) { y = cross(z, x); }
  VectorFlt place(const VectorFlt& v) const { return v[0] * x + v[1] * y + v[2] * z; }
};

float positive(double x) { return static_cast<float>(std::max(x, 0.0)); }

// What all threads read.
struct Setup {
  const Scene& scene;
  const Camera& camera;
  const Look& look;
  qvGeom::HammersleyPermutation2 tile;
  qvGeom::HammersleyPermutation2 rows;
  Sequence occlusion;
  Sequence shadow;
  Vector key, fill;
  // Of the light: where colours are to be read, less of it comes from one side.
  float keyShare = 1;
  float skyShare = 1;
  Light plain = fromScreen(0.84f, 0.76f, 0.68f);

  Setup(const Scene& s, const Camera& c, const Look& l)
      : scene(s), camera(c), look(l), occlusion(l.samples * l.aoRays, l.aoRays), shadow(4 * l.samples, 4) {
    tile.calculate(kTile);
    rows.calculate(std::bit_width(static_cast<unsigned>(l.samples)) - 1);
    key = inWorld(kKey);
    fill = inWorld(kFill);
    if (l.colour != Look::Colour::byScalar) return;
    keyShare = 0.72f;
    skyShare = 2.1f;
  }

  Vector inWorld(double const* d) const {
    Vector v = d[0] * camera.right() + d[1] * camera.up() + d[2] * camera.back();
    v.normalize();
    return v;
  }
};

// One thread's share: the tracer and its memory.
class PixelTracer {
 public:
  explicit PixelTracer(const Setup& setup)
      : s_(setup),
        tracer_(setup.scene.surface().octree(), setup.scene.surface().octreeTris(), &setup.scene.mesh()),
        closest_(setup.scene.mesh(), setup.scene.surface().octree(), setup.scene.surface().octreeTris()),
        exact_(setup.scene.surface().octree(), setup.scene.surface().octreeTris(), &setup.scene.mesh()),
        eye_(setup.camera.position()) {
    exact_.setFindNearestHit(true);
  }

  // @param hits receives how many of the samples hit; their light is summed up
  Light pixel(int x, int y, int& hits) {
    // Mixed so that neither rows nor columns show.
    const int mixed = s_.tile[(x + 3 * y) & 15];
    shiftU_ = static_cast<float>(s_.tile.map2d(s_.tile[x & 15], mixed)) / 256;
    shiftV_ = static_cast<float>(s_.tile.map2d(mixed, x)) / 256;
    Light sum;
    hits = 0;
    for (int first = 0; first < s_.look.samples; first += 4) {
      VectorFlt d[4];
      for (int lane = 0; lane < 4; ++lane) d[lane] = VectorFlt(directionOf(x, y, first + lane));
      QuadRay packet(eye_, d[0], d[1], d[2], d[3], true);
      tracer_.intersect(packet);
      float t[4];
      findHits(packet, d, t);
      for (int lane = 0; lane < 4; ++lane) {
        if (t[lane] == kMiss) continue;
        ++hits;
        const Vector dir(d[lane]);
        sum += shade(Point(eye_) + double{t[lane]} * dir, dir, first + lane);
      }
    }
    return sum;
  }

 private:
  static constexpr float kMiss = std::numeric_limits<float>::max();

  // A ray of a packet may slip between two triangles, which would show as a speck. Where the rays of a pixel
  // disagree, those that went on behind the others are traced once more, by rules that let nothing slip.
  void findHits(const QuadRay& packet, const VectorFlt (&d)[4], float (&t)[4]) {
    for (int lane = 0; lane < 4; ++lane) t[lane] = packet.triIntersectionRayParam(lane);
    const float nearest = *std::min_element(t, t + 4);
    if (nearest == kMiss) return;
    for (int lane = 0; lane < 4; ++lane)
      if (t[lane] > 1.002f * nearest && exact_.intersect(eye_, Vector(d[lane])))
        t[lane] = static_cast<float>(exact_.intersectionDist());
  }

  // The samples of a pixel lie one in each row and one in each column of a square.
  Vector directionOf(int x, int y, int sample) const {
    const int n = s_.look.samples;
    return s_.camera.direction(x + (sample + 0.5) / n, y + (s_.rows[sample] + 0.5) / n);
  }

  Light shade(const Point& p, const Vector& dir, int sample) {
    MeshCoord at;
    closest_.compute(p, &at);
    if (!at.valid()) return {};
    Vector flat = s_.scene.flatNormal(at.triangle);
    Scene::Rounded round = s_.scene.rounded(at);
    // Both sides are shown alike: a scan may have triangles that are turned round.
    if (dot(flat, dir) > 0) {
      flat.reverse();
      round.normal.reverse();
      round.lift = round.sink;
    }
    // Near an outline the rounded surface may face away where the flat one does not.
    Vector n = round.normal;
    const double facing = -dot(n, dir);
    if (facing < kLeastFacing) {
      n -= (kLeastFacing - facing) * dir;
      n.normalize();
    }
    const Point start = p + round.lift + kLift * flat;
    const float open = openness(start, n, flat, sample);
    const float lit = dot(n, s_.key) > 0 ? sunlight(start, sample) : 0;
    return lightOn(n, dir, albedo(at, round.normal), open, lit);
  }

  Light albedo(const MeshCoord& at, const Vector& n) const {
    switch (s_.look.colour) {
      case Look::Colour::byNormal: {
        const auto part = [](double x) { return static_cast<float>(0.55 + 0.38 * x); };
        return fromScreen(part(n[0]), part(n[1]), part(n[2]));
      }
      case Look::Colour::byScalar:
        return s_.look.scale.colour(s_.scene.scalar(at));
      case Look::Colour::plain:
        break;
    }
    return s_.plain;
  }

  Light lightOn(const Vector& n, const Vector& dir, const Light& albedo, float open, float lit) const {
    const float key = lit * positive(dot(n, s_.key));
    const float fill = open * positive(0.3 + 0.7 * dot(n, s_.fill));
    const float upward = static_cast<float>(0.5 + 0.5 * dot(n, s_.camera.up()));
    const Light sky = (kSky * upward + kGround * (1 - upward)) * (open * s_.skyShare);
    Vector half = s_.key - dir;
    half.normalize();
    const float gloss = 0.10f * key * std::pow(positive(dot(n, half)), 40.0f);
    Light sum = albedo * (kKeyLight * (key * s_.keyShare) + kFillLight * fill + sky) + kKeyLight * gloss;
    // Light that is too bright for the screen fades out gently, and sample by sample, so that edges stay
    // smooth.
    for (float& x : sum.c) x = x < 0.7f ? x : 0.7f + 0.3f * std::tanh((x - 0.7f) / 0.3f);
    return sum;
  }

  // Part of the sky that a point sees, weighted by how steeply it looks there; near things hide it, far ones
  // less.
  float openness(const Point& p, const Vector& n, const Vector& flat, int sample) {
    if (s_.look.aoRays == 0) return 1;
    const Frame frame(n);
    const VectorFlt above(flat);
    float seen = 0;
    int cast = 0;
    for (int first = 0; first < s_.look.aoRays; first += 4) {
      VectorFlt d[4];
      for (int lane = 0; lane < 4; ++lane) {
        float u, v;
        s_.occlusion.get(sample * s_.look.aoRays + first + lane, shiftU_, shiftV_, u, v);
        qvGeom::mapSphericalCapToUniformCartesian(u, 1 - std::sqrt(1 - v), 1, d[lane]);
        d[lane] = frame.place(d[lane]);
      }
      QuadRay packet(PointFlt(p), d[0], d[1], d[2], d[3], true);
      tracer_.intersect(packet);
      for (int lane = 0; lane < 4; ++lane) {
        if (dot(d[lane], above) <= 0) continue;  // into the surface, which the rounded normal hides
        ++cast;
        const float part =
            packet.triHit(lane) ? packet.triIntersectionRayParam(lane) / static_cast<float>(kReach) : 1.0f;
        seen += std::min(part * part, 1.0f);
      }
    }
    return cast > 0 ? seen / static_cast<float>(cast) : 1;
  }

  float sunlight(const Point& p, int sample) {
    const Frame frame(s_.key);
    VectorFlt d[4];
    for (int lane = 0; lane < 4; ++lane) {
      float u, v;
      s_.shadow.get(4 * sample + lane, shiftU_, shiftV_, u, v);
      qvGeom::mapSphericalCapToUniformCartesian(u, v, kSunCap, d[lane]);
      d[lane] = frame.place(d[lane]);
    }
    QuadRay packet(PointFlt(p), d[0], d[1], d[2], d[3], false);
    tracer_.intersect(packet);
    float seen = 0;
    for (int lane = 0; lane < 4; ++lane) seen += packet.triHit(lane) ? 0 : 0.25f;
    return seen;
  }

  const Setup& s_;
  qvGeom::QuadRayTracer tracer_;
  qvGeom::MeshClosestPoint closest_;
  qvGeom::RayTracer exact_;
  PointFlt eye_;
  float shiftU_ = 0, shiftV_ = 0;
};

// Threads take rows as they come: those in the middle of a picture cost more than the others.
class RowsAlg : public qvUtil::ThreadedAlg {
 public:
  RowsAlg(const Setup& setup, Picture& picture) : setup_(setup), picture_(picture) {}

  void execute(int thread, int) override {
    PixelTracer tracer(setup_);
    for (int y = next_++; y < picture_.height && !cancelled(thread); y = next_++) {
      traceRow(tracer, y);
      updateProgress(thread, static_cast<double>(y) / picture_.height);
    }
  }

 private:
  void traceRow(PixelTracer& tracer, int y) {
    unsigned char* out = picture_.row(y);
    const float samples = static_cast<float>(setup_.look.samples);
    for (int x = 0; x < picture_.width; ++x, out += picture_.pixelSize()) {
      int hits = 0;
      Light light = tracer.pixel(x, y, hits);
      const float covered = static_cast<float>(hits) / samples;
      if (picture_.hasAlpha) {
        if (hits > 0) light = light * (1 / static_cast<float>(hits));
        out[3] = static_cast<unsigned char>(std::lround(255 * covered));
      } else {
        light = light * (1 / samples) + setup_.look.background * (1 - covered);
      }
      for (int k = 0; k < 3; ++k) out[k] = toScreenByte(light.c[k]);
    }
  }

  const Setup& setup_;
  Picture& picture_;
  std::atomic<int> next_{0};
};

}  // namespace

void trace(const Scene& scene, const Camera& camera, const Look& look, Picture& picture, Console& console) {
  console.progress().setCaption("rendering");
  qvUtil::Progress phase;
  console.progress().subPhase(1, phase);
  const Setup setup(scene, camera, look);
  RowsAlg alg(setup, picture);
  alg.setProgress(&phase);
  qvUtil::ThreadPool::get().run(alg);
  console.throwIfInterrupted();
}

}  // namespace tool
