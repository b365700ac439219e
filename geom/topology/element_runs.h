#pragma once

#include "geom/model/keel/threading.h"

namespace qvGeom {

// For operations that treat every element of an array by itself: any split gives the same result.

template <typename Work>
class ElementRuns final : public qvUtil::ThreadedAlg {
 public:
  ElementRuns(int n, const Work& work) : n_(n), work_(work) {}

  void execute(int thread, int numThreads) override {
    work_(getBeginIndex(thread, numThreads, n_), getBeginIndex(thread + 1, numThreads, n_));
  }

 private:
  int n_;
  const Work& work_;
};

/// Fewer elements than this are done before the workers would have woken up.
inline constexpr int kFewElements = 10000;

/// Calls `work(begin, end)` for ranges that cover [0, n), n >= 0, each on one thread of the shared pool.
template <typename Work>
void forElementRuns(int n, const Work& work) {
  ElementRuns<Work> alg(n, work);
  qvUtil::ThreadPool& pool =
      n < kFewElements ? qvUtil::ThreadPool::getSingleThreadedPool() : qvUtil::ThreadPool::get();
  pool.run(alg);
}

}  // namespace qvGeom
