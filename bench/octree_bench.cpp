#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "geom/model/keel/random.h"
#include "geom/model/trellis/octree.h"

namespace qvGeom {
namespace {

struct Cloud {
  std::vector<float> xyz;
  BoundingBox box;
  int count() const { return static_cast<int>(xyz.size() / 3); }
};

Cloud boxed(std::vector<float> xyz) {
  Cloud cloud{std::move(xyz), {}};
  for (std::size_t i = 0; i < cloud.xyz.size(); i += 3) cloud.box.extend(&cloud.xyz[i]);
  return cloud;
}

// Points of a wavy sheet, row by row: neighbours in space are near in memory, as in most meshes.
Cloud sheet(int n) {
  const int side = static_cast<int>(std::ceil(std::sqrt(n)));
  std::vector<float> xyz;
  for (int i = 0; i < n; ++i) {
    const float x = static_cast<float>(i % side) / static_cast<float>(side);
    const float y = static_cast<float>(i / side) / static_cast<float>(side);
    xyz.insert(xyz.end(), {x, y, 0.2f * std::sin(9 * x) * std::cos(7 * y)});
  }
  return boxed(std::move(xyz));
}

// Points anywhere in the unit cube, in no order: every access to a point is a jump.
Cloud scattered(int n) {
  qvUtil::srand48(1);
  std::vector<float> xyz;
  for (int i = 0; i < 3 * n; ++i) xyz.push_back(static_cast<float>(qvUtil::drand48()));
  return boxed(std::move(xyz));
}

int countPoints(const OctreeIterator& node, int& leaves) {
  if (node.isLeaf()) {
    ++leaves;
    return node.numPoints();
  }
  int points = 0;
  for (int c = 0; c < 8; ++c) {
    OctreeIterator child = node;
    if (child.descend(c)) points += countPoints(child, leaves);
  }
  return points;
}

bool holdsAll(const Octree& octree, int n) {
  int leaves = 0;
  return countPoints(octree.getRoot(), leaves) == n && leaves == octree.getNumVoxels();
}

// Decides how a node's points are partitioned: the rate may fall with the depth of the tree, not faster.
void octreeBuild(benchmark::State& state, Cloud (*make)(int)) {
  const Cloud cloud = make(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    const Octree octree(cloud.count(), cloud.xyz.data(), cloud.box, true, Octree::kDefaultPerLeaf);
    state.PauseTiming();
    if (!holdsAll(octree, cloud.count())) state.SkipWithError("points were lost");
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * cloud.count());
}
BENCHMARK_CAPTURE(octreeBuild, sheet, sheet)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(octreeBuild, scattered, scattered)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond);

// Decides the layout of nodes and iterators; items are leaves.
void octreeWalk(benchmark::State& state) {
  const Cloud cloud = sheet(static_cast<int>(state.range(0)));
  const Octree octree(cloud.count(), cloud.xyz.data(), cloud.box, true, Octree::kDefaultPerLeaf);
  for (auto _ : state)
    if (!holdsAll(octree, cloud.count())) state.SkipWithError("leaves were missed");
  state.SetItemsProcessed(state.iterations() * octree.getNumVoxels());
}
BENCHMARK(octreeWalk)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

// Every ray orders the children once before it descends: this has to stay far below the cost of a ray.
void octreeNodeOrdering(benchmark::State& state) {
  std::vector<qvLinear::Vector> directions;
  qvUtil::srand48(2);
  for (int i = 0; i < 1024; ++i)
    directions.emplace_back(qvUtil::drand48() - 0.5, qvUtil::drand48() - 0.5, qvUtil::drand48() - 0.5);
  int order[8];
  for (auto _ : state)
    for (const qvLinear::Vector& dir : directions) {
      Octree::getNodeOrdering(dir, order);
      if (order[0] != 7 - order[7]) state.SkipWithError("first and last are not opposite");
    }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(directions.size()));
}
BENCHMARK(octreeNodeOrdering);

}  // namespace
}  // namespace qvGeom
