#pragma once

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>

#include "geom/model/keel/threading.h"

#include "tests/support/shapes.h"

namespace qvGeom {

/// A torus of about the given number of triangles, numbered locally.
inline CompactMesh torusOf(std::int64_t triangles) {
  const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(triangles) / 2)));
  return shapes::torus(side, side);
}

/// Ten thousand, a hundred thousand and a million triangles, on one thread.
inline void allSizes(benchmark::internal::Benchmark* bench) {
  qvUtil::ThreadPool::get().setNumThreads(1);
  bench->ArgName("triangles")->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
}

inline void countTriangles(benchmark::State& state, const CompactMesh& mesh) {
  state.SetItemsProcessed(state.iterations() * std::int64_t{mesh.getNumTriangles()});
}

}  // namespace qvGeom
