// Spatial queries side by side with other libraries: one mesh, the same queries, one thread, and results that
// must agree. Decides nothing by itself; the ratios show where there is something to gain. A million
// triangles run once per repetition, ten thousand for as long as asked.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "geom/model/keel/threading.h"
#include "geom/spatial/closest_point.h"
#include "geom/spatial/mesh_intersect.h"
#include "geom/spatial/octree_partition.h"
#include "geom/spatial/quad_ray.h"
#include "geom/spatial/ray_tracer.h"

#include "bench/spatial_compare.h"

namespace qvGeom {

SpatialSide::~SpatialSide() = default;

namespace {

class OurSide : public SpatialSide {
 public:
  explicit OurSide(const SpatialScene& scene)
      : mesh_(scene.mesh),
        octree_(mesh_.getNumVertices(), mesh_.getVerticesRaw(), scene.box, true, Octree::kDefaultPerLeaf) {
    computeOctreeTris(mesh_, octree_, octreeTris_);
    closest_ = std::make_unique<MeshClosestPoint>(mesh_, octree_, octreeTris_);
    tracer_ = std::make_unique<RayTracer>(octree_, octreeTris_, &mesh_);
    tracer_->setFindNearestHit(true);
    quadTracer_ = std::make_unique<QuadRayTracer>(octree_, octreeTris_, &mesh_);
  }

  Tally closest(const Points& points) override {
    Tally tally;
    for (const qvLinear::PointFlt& p : points) {
      MeshCoord coord;
      tally.distance += closest_->compute(qvLinear::Point(p), &coord);
      tally.count += coord.valid();
    }
    return tally;
  }
  Tally nearestHits(const Shots& shots) override {
    Tally tally;
    for (const Shot& shot : shots)
      if (tracer_->intersect(shot.origin, qvLinear::Vector(shot.dir))) {
        ++tally.count;
        tally.distance += tracer_->intersectionDist();
      }
    return tally;
  }
  Tally nearestHitsByFour(const Shots& shots) override {
    Tally tally;
    for (std::size_t i = 0; i < shots.size(); i += 4) {
      QuadRay packet(shots[i].origin, shots[i].dir, shots[i + 1].dir, shots[i + 2].dir, shots[i + 3].dir,
                     true);
      quadTracer_->intersect(packet);
      for (int lane = 0; lane < 4; ++lane)
        if (packet.triHit(lane)) {
          ++tally.count;
          tally.distance += packet.triIntersectionRayParam(lane);
        }
    }
    return tally;
  }
  Tally selfIntersection() override {
    qvUtil::Progress progress;
    std::deque<MeshIntersectPair> pairs;
    MeshIntersect(mesh_, octree_, octreeTris_).selfIntersect(progress, pairs);
    return {pairs.size() / 2, 0};
  }
  Tally crossTurnedCopy() override {
    qvUtil::Progress progress;
    std::deque<MeshIntersectPair> pairs1, pairs2;
    MeshIntersect(mesh_, octree_, octreeTris_)
        .intersect(mesh_, octree_, octreeTris_, turnOfCopy(), progress, pairs1, pairs2);
    return {pairs1.size(), 0};
  }

 private:
  const CompactMesh& mesh_;
  Octree octree_;
  OctreeTris octreeTris_;
  std::unique_ptr<MeshClosestPoint> closest_;
  std::unique_ptr<RayTracer> tracer_;
  std::unique_ptr<QuadRayTracer> quadTracer_;
};

struct Side {
  const char* name;
  MakeSide make;
  bool canCrossMeshes;
  bool canTraceByFour;
};
constexpr Side kSides[] = {
    {"ours", makeOurs, true, true},
#ifdef QVGEOM_BENCH_CGAL
    {"cgal", makeCgal, true, false},
#endif
#ifdef QVGEOM_BENCH_EMBREE
    {"embree", makeEmbree, false, true},
    {"embreeSse2", makeEmbreeSse2, false, true},
#endif
};

// Made once for each side and size.
SpatialSide& builtSide(const Side& side, std::int64_t triangles) {
  static std::map<std::pair<std::string, std::int64_t>, std::unique_ptr<SpatialSide>> built;
  std::unique_ptr<SpatialSide>& made = built[{side.name, triangles}];
  if (!made) made = side.make(spatialScene(triangles));
  return *made;
}

/// Whether a tally agrees with the first one for this question and size.
bool agrees(const std::string& question, std::int64_t triangles, const Tally& tally) {
  static std::map<std::pair<std::string, std::int64_t>, Tally> first;
  const Tally& expected = first.try_emplace({question, triangles}, tally).first->second;
  const auto near = [](double a, double b, double tolerance) { return std::fabs(a - b) <= tolerance * b; };
  return near(static_cast<double>(tally.count), static_cast<double>(expected.count), 1e-3) &&
         near(tally.distance, expected.distance, 1e-4);
}

struct Query {
  std::int64_t items;
  std::function<Tally(SpatialSide&)> run;
};
struct Workload {
  const char* name;
  const char* question;  // workloads that ask the same must get the same answer
  Query (*prepare)(const SpatialScene&);
};

void compareBuild(benchmark::State& state, const Side& side) {
  qvUtil::ThreadPool::get().setNumThreads(1);
  const SpatialScene& scene = spatialScene(state.range(0));
  for (auto _ : state) {
    std::unique_ptr<SpatialSide> made = side.make(scene);
    state.PauseTiming();
    made.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t{scene.mesh.getNumTriangles()});
}

// Structures that are finished by the first queries show their whole price here alone.
void compareFromScratch(benchmark::State& state, const Side& side) {
  qvUtil::ThreadPool::get().setNumThreads(1);
  const SpatialScene& scene = spatialScene(state.range(0));
  const Points points = pointsNear(scene, 100'000);
  const Shots shots = shotsAround(scene, 200'000);
  for (auto _ : state) {
    std::unique_ptr<SpatialSide> made = side.make(scene);
    if (made->closest(points).count != points.size() || made->nearestHits(shots).count == 0)
      state.SkipWithError("nothing was found");
    state.PauseTiming();
    made.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(points.size() + shots.size()));
}

void compareQueries(benchmark::State& state, const Side& side, const Workload& workload) {
  qvUtil::ThreadPool::get().setNumThreads(1);
  const Query query = workload.prepare(spatialScene(state.range(0)));
  SpatialSide& built = builtSide(side, state.range(0));
  Tally tally;
  for (auto _ : state) tally = query.run(built);
  if (!agrees(workload.question, state.range(0), tally)) state.SkipWithError("the libraries disagree");
  state.SetLabel("found " + std::to_string(tally.count));
  state.SetItemsProcessed(state.iterations() * query.items);
}

template <typename Queries, typename Run>
Query over(Queries queries, Run run) {
  const std::int64_t items = static_cast<std::int64_t>(queries.size());
  return {items, [queries = std::move(queries), run](SpatialSide& side) { return (side.*run)(queries); }};
}

Query closestNear(const SpatialScene& scene) {
  return over(pointsNear(scene, 100'000), &SpatialSide::closest);
}
Query closestAround(const SpatialScene& scene) {
  return over(pointsAround(scene, 20'000), &SpatialSide::closest);
}
Query randomRays(const SpatialScene& scene) {
  return over(shotsAround(scene, 200'000), &SpatialSide::nearestHits);
}
Query camera(const SpatialScene&) { return over(cameraShots(), &SpatialSide::nearestHits); }
Query cameraByFour(const SpatialScene&) { return over(cameraShots(), &SpatialSide::nearestHitsByFour); }
Query selfIntersection(const SpatialScene& scene) {
  return {scene.mesh.getNumTriangles(), [](SpatialSide& side) { return side.selfIntersection(); }};
}
Query crossTurnedCopy(const SpatialScene& scene) {
  return {scene.mesh.getNumTriangles(), [](SpatialSide& side) { return side.crossTurnedCopy(); }};
}

constexpr Workload kQueries[] = {{"compareClosestNear", "near", closestNear},
                                 {"compareClosestAround", "around", closestAround},
                                 {"compareRandomRays", "rays", randomRays},
                                 {"compareCamera", "camera", camera}};
constexpr Workload kByFour{"compareCameraByFour", "camera", cameraByFour};
constexpr Workload kCrossings[] = {{"compareSelfIntersection", "self", selfIntersection},
                                   {"compareCrossTurnedCopy", "copy", crossTurnedCopy}};

template <typename Body>
void addSizes(const std::string& name, const Body& body) {
  for (const std::int64_t triangles : {10'000, 1'000'000}) {
    benchmark::internal::Benchmark* bench = benchmark::RegisterBenchmark(name.c_str(), body);
    bench->ArgName("triangles")->Arg(triangles)->Unit(benchmark::kMillisecond);
    if (triangles == 1'000'000) bench->Iterations(1);
  }
}

void add(const Side& side, const Workload& workload) {
  addSizes(std::string(workload.name) + '/' + side.name,
           [&](benchmark::State& state) { compareQueries(state, side, workload); });
}

// Workload by workload, so that what is to be compared stands together in the output.
const bool added = [] {
  for (const Side& side : kSides)
    addSizes(std::string("compareBuild/") + side.name,
             [&](benchmark::State& state) { compareBuild(state, side); });
  for (const Side& side : kSides)
    addSizes(std::string("compareFromScratch/") + side.name,
             [&](benchmark::State& state) { compareFromScratch(state, side); });
  for (const Workload& workload : kQueries)
    for (const Side& side : kSides) add(side, workload);
  for (const Side& side : kSides)
    if (side.canTraceByFour) add(side, kByFour);
  for (const Workload& workload : kCrossings)
    for (const Side& side : kSides)
      if (side.canCrossMeshes) add(side, workload);
  return true;
}();

}  // namespace

std::unique_ptr<SpatialSide> makeOurs(const SpatialScene& scene) { return std::make_unique<OurSide>(scene); }

}  // namespace qvGeom
