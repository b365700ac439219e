// Octree, partition and the queries over them, on a closed rough surface that is numbered row by row. What
// each case decides stands above it; docs/performance.md tells how to read the figures.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <thread>
#include <vector>

#include "geom/model/keel/progress.h"
#include "geom/model/keel/threading.h"
#include "geom/spatial/closest_point.h"
#include "geom/spatial/mesh_intersect.h"
#include "geom/spatial/octree_partition.h"
#include "geom/spatial/quad_ray.h"
#include "geom/spatial/ray_tracer.h"

#include "bench/spatial_scene.h"

namespace qvGeom {
namespace {

void sizes(benchmark::internal::Benchmark* bench, const std::vector<std::int64_t>& threads) {
  bench->ArgNames({"triangles", "threads"})
      ->ArgsProduct({{10'000, 100'000, 1'000'000}, threads})
      ->MeasureProcessCPUTime()
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
}
void oneThread(benchmark::internal::Benchmark* bench) { sizes(bench, {1}); }
void upToTwoThreads(benchmark::internal::Benchmark* bench) { sizes(bench, {1, 2}); }

/// Gives the shared pool as many threads as the case asks for, as long as it lives.
class PoolThreads {
 public:
  explicit PoolThreads(const benchmark::State& state) {
    qvUtil::ThreadPool::get().setNumThreads(static_cast<int>(state.range(1)));
  }
  ~PoolThreads() { qvUtil::ThreadPool::get().setNumThreads(1); }
};

void countTriangles(benchmark::State& state, const SpatialScene& scene) {
  state.SetItemsProcessed(state.iterations() * std::int64_t{scene.mesh.getNumTriangles()});
}

Octree octreeOf(const SpatialScene& scene) {
  return {scene.mesh.getNumVertices(), scene.mesh.getVerticesRaw(), scene.box, true, Octree::kDefaultPerLeaf};
}

// What smaller leaves would cost; the queries below show what they would gain.
void spatialOctree(benchmark::State& state) {
  const SpatialScene& scene = spatialScene(state.range(0));
  for (auto _ : state) {
    const Octree octree = octreeOf(scene);
    if (octree.getNumVoxels() != scene.octree.getNumVoxels()) state.SkipWithError("another octree");
  }
  countTriangles(state, scene);
}
BENCHMARK(spatialOctree)->Apply(oneThread);

// Decides that most triangles are filed without a walk from the root, and how well the ranges of threads
// merge.
void spatialPartition(benchmark::State& state) {
  const SpatialScene& scene = spatialScene(state.range(0));
  const PoolThreads threads(state);
  OctreeTris octreeTris;
  for (auto _ : state) computeOctreeTris(scene.mesh, scene.octree, octreeTris);
  if (octreeTris.getData().members.size() < scene.mesh.getNumTriangles())
    state.SkipWithError("triangles were lost");
  countTriangles(state, scene);
}
BENCHMARK(spatialPartition)->Apply(upToTwoThreads);

// What a host waits for before its first query, and what it keeps in memory beside the mesh.
void spatialOctreeAndPartition(benchmark::State& state) {
  const SpatialScene& scene = spatialScene(state.range(0));
  const PoolThreads threads(state);
  std::size_t bytes = 0;
  for (auto _ : state) {
    const Octree octree = octreeOf(scene);
    OctreeTris octreeTris;
    computeOctreeTris(scene.mesh, octree, octreeTris);
    const ArrayOfSets& sets = octreeTris.getData();
    bytes = octree.getSizeInBytes() + sizeof(int) * static_cast<std::size_t>(sets.setStarts.size()) +
            sizeof(int) * static_cast<std::size_t>(sets.members.size());
  }
  state.counters["bytesPerTriangle"] = static_cast<double>(bytes) / scene.mesh.getNumTriangles();
  countTriangles(state, scene);
}
BENCHMARK(spatialOctreeAndPartition)->Apply(upToTwoThreads);

// Every asker answers queries for one thread and counts those that found something.

class ClosestAsker {
 public:
  using Query = qvLinear::PointFlt;
  explicit ClosestAsker(const SpatialScene& scene) : closest_(scene.mesh, scene.octree, scene.octreeTris) {}
  std::int64_t answer(std::span<const Query> points) {
    std::int64_t found = 0;
    for (const Query& p : points) {
      MeshCoord coord;
      benchmark::DoNotOptimize(closest_.compute(qvLinear::Point(p), &coord));
      found += coord.valid();
    }
    return found;
  }

 private:
  MeshClosestPoint closest_;
};

template <bool nearest>
class RayAsker {
 public:
  using Query = Shot;
  explicit RayAsker(const SpatialScene& scene) : tracer_(scene.octree, scene.octreeTris, &scene.mesh) {
    tracer_.setFindNearestHit(nearest);
  }
  std::int64_t answer(std::span<const Shot> shots) {
    std::int64_t hits = 0;
    for (const Shot& shot : shots) hits += tracer_.intersect(shot.origin, qvLinear::Vector(shot.dir));
    return hits;
  }

 private:
  RayTracer tracer_;
};

template <bool nearest>
class PacketAsker {
 public:
  using Query = Shot;
  explicit PacketAsker(const SpatialScene& scene) : tracer_(scene.octree, scene.octreeTris, &scene.mesh) {}
  std::int64_t answer(std::span<const Shot> shots) {
    std::int64_t hits = 0;
    for (std::size_t i = 0; i + 4 <= shots.size(); i += 4) {
      QuadRay packet(shots[i].origin, shots[i].dir, shots[i + 1].dir, shots[i + 2].dir, shots[i + 3].dir,
                     nearest);
      tracer_.intersect(packet);
      for (int lane = 0; lane < 4; ++lane) hits += packet.triHit(lane);
    }
    return hits;
  }

 private:
  QuadRayTracer tracer_;
};

/// Puts the queries to as many askers as there are threads, each of which takes its part of them, a multiple
/// of four. Returns what they found in sum.
template <typename Asker>
std::int64_t askAll(std::vector<std::unique_ptr<Asker>>& askers,
                    std::span<const typename Asker::Query> queries) {
  if (askers.size() == 1) return askers[0]->answer(queries);
  std::vector<std::int64_t> found(askers.size());
  std::vector<std::thread> threads;
  const std::size_t part = (queries.size() / askers.size() + 3) / 4 * 4;
  for (std::size_t i = 0; i < askers.size(); ++i)
    threads.emplace_back([&, i] {
      const std::size_t begin = std::min(i * part, queries.size());
      found[i] = askers[i]->answer(queries.subspan(begin, std::min(part, queries.size() - begin)));
    });
  std::int64_t sum = 0;
  for (std::size_t i = 0; i < askers.size(); ++i) {
    threads[i].join();
    sum += found[i];
  }
  return sum;
}

template <typename Asker>
void ask(benchmark::State& state, const std::vector<typename Asker::Query>& queries, bool findsAlways) {
  const SpatialScene& scene = spatialScene(state.range(0));
  std::vector<std::unique_ptr<Asker>> askers;
  for (std::int64_t i = 0; i < state.range(1); ++i) askers.push_back(std::make_unique<Asker>(scene));
  const std::int64_t count = static_cast<std::int64_t>(queries.size());
  std::int64_t found = 0;
  for (auto _ : state) found = askAll(askers, std::span(queries));
  if (findsAlways ? found != count : found < count / 100 || found == count)
    state.SkipWithError("another number was found");
  state.counters["found"] = static_cast<double>(found) / static_cast<double>(count);
  state.SetItemsProcessed(state.iterations() * count);
}

// Decides the walk near the surface: half of it is cache misses, because the points come in no order.
void spatialClosestNear(benchmark::State& state) {
  ask<ClosestAsker>(state, pointsNear(spatialScene(state.range(0)), 100'000), true);
}
BENCHMARK(spatialClosestNear)->Apply(upToTwoThreads);

// Decides how far the search bounds what it has to look at: from the middle nearly everything is equally
// near.
void spatialClosestAround(benchmark::State& state) {
  ask<ClosestAsker>(state, pointsAround(spatialScene(state.range(0)), 10'000), true);
}
BENCHMARK(spatialClosestAround)->Apply(oneThread);

// Decides the order of children. Any hit has to be cheaper than the nearest.
template <bool nearest>
void spatialRays(benchmark::State& state) {
  ask<RayAsker<nearest>>(state, shotsAround(spatialScene(state.range(0)), 100'000), false);
}
BENCHMARK(spatialRays<true>)->Name("spatialRaysNearest")->Apply(upToTwoThreads);
BENCHMARK(spatialRays<false>)->Name("spatialRaysAny")->Apply(oneThread);

// Decide whether packets pay: the same rays, one by one and by four. Items are rays.
void spatialCamera(benchmark::State& state) { ask<RayAsker<true>>(state, cameraShots(), false); }
BENCHMARK(spatialCamera)->Apply(oneThread);
void spatialCameraByFour(benchmark::State& state) { ask<PacketAsker<true>>(state, cameraShots(), false); }
BENCHMARK(spatialCameraByFour)->Apply(upToTwoThreads);

// Packets of rays that spread, as for shading by occlusion: here lanes agree least.
void spatialOutwardByFour(benchmark::State& state) {
  ask<PacketAsker<false>>(state, shotsOutward(spatialScene(state.range(0)), 25'000), false);
}
BENCHMARK(spatialOutwardByFour)->Apply(oneThread);

// Decides how pairs of one voxel are sorted out: nothing crosses, so that all of the time goes into
// candidates.
void spatialSelfIntersection(benchmark::State& state) {
  const SpatialScene& scene = spatialScene(state.range(0));
  const PoolThreads threads(state);
  MeshIntersect intersection(scene.mesh, scene.octree, scene.octreeTris);
  std::deque<MeshIntersectPair> pairs;
  for (auto _ : state) {
    qvUtil::Progress progress;
    intersection.selfIntersect(progress, pairs);
  }
  if (!pairs.empty()) state.SkipWithError("a star-shaped surface does not cross itself");
  countTriangles(state, scene);
}
BENCHMARK(spatialSelfIntersection)->Apply(upToTwoThreads);

// Decides the walk over two octrees, one of them turned. The crossing curves are long.
void spatialCrossTurnedCopy(benchmark::State& state) {
  const SpatialScene& scene = spatialScene(state.range(0));
  const PoolThreads threads(state);
  MeshIntersect intersection(scene.mesh, scene.octree, scene.octreeTris);
  std::deque<MeshIntersectPair> pairs1, pairs2;
  for (auto _ : state) {
    qvUtil::Progress progress;
    intersection.intersect(scene.mesh, scene.octree, scene.octreeTris, turnOfCopy(), progress, pairs1,
                           pairs2);
  }
  if (pairs1.empty() || pairs1.size() != pairs2.size()) state.SkipWithError("the copies cross");
  state.counters["pairs"] = static_cast<double>(pairs1.size());
  countTriangles(state, scene);
}
BENCHMARK(spatialCrossTurnedCopy)->Apply(upToTwoThreads);

}  // namespace
}  // namespace qvGeom
