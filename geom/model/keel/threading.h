#pragma once

#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/keel/progress.h"

namespace qvUtil {

/// What threaded algorithms share: the progress of the caller and the rule that cuts work into ranges.
/// An algorithm object is built on the caller's stack for one run. During the run its inputs are read only
/// and every thread writes its own result slot; the caller merges the slots afterwards, in order.
class QVGEOM_API ThreadedAlgBase {
 public:
  ThreadedAlgBase() = default;
  ThreadedAlgBase(const ThreadedAlgBase&) = delete;
  ThreadedAlgBase& operator=(const ThreadedAlgBase&) = delete;
  virtual ~ThreadedAlgBase();

  /// @param progress null, or an object that outlives the run
  void setProgress(Progress* progress) { progress_ = progress; }
  /// Number of chunks of a chunk algorithm.
  int getNumChunks() const { return numChunks_; }
  /// First item of part i when `items` items are split into `parts` contiguous ranges whose sizes differ by
  /// at most one, the longer ones first. Part i is [getBeginIndex(i), getBeginIndex(i + 1)).
  int getBeginIndex(int i, int parts, int items) const {
    return i * (items / parts) + std::min(i, items % parts);
  }
  /// Whether the work should stop. Only the caller's own thread asks the Progress, which is free to run the
  /// host's code; the workers read what it published. Thread 0 is the caller, and so is every index of a run
  /// that goes inline.
  bool cancelled(int thread);
  /// Reports the fraction of the whole work that lies behind thread `thread`; heard from the caller only.
  void updateProgress(int thread, double fraction);

 private:
  friend class ThreadPool;
  friend class ThreadedChunkAlg;
  bool isCaller(int thread) const { return thread == 0 || inline_; }

  Progress* progress_ = nullptr;
  std::atomic<bool> cancelled_{false};
  bool inline_ = false;  // all indices run on the calling thread
  int numChunks_ = 0;
  double progressScale_ = 1;
};

/// One piece of work per thread.
class QVGEOM_API ThreadedAlg : public ThreadedAlgBase {
 public:
  ~ThreadedAlg() override;
  /// Called once on the caller's thread before the work: allocates one result slot per thread.
  virtual void initialize(int numThreads);
  /// The work of one thread; called for every index in [0, numThreads), even where there is nothing to do.
  virtual void execute(int thread, int numThreads) = 0;
  /// Called once on the caller's thread after all threads have returned.
  virtual void finalize();
};

/// Work cut into numbered chunks. Thread t of p takes the chunks of part t in ascending order, so results
/// that are joined in slot order come out in item order for every number of threads.
class QVGEOM_API ThreadedChunkAlg : public ThreadedAlgBase {
 public:
  static constexpr int kMaxChunks = 64;

  /// @param items number of items that the chunks divide; with fewer than 64 there is one chunk per item
  explicit ThreadedChunkAlg(int items = std::numeric_limits<int>::max());
  ~ThreadedChunkAlg() override;
  /// Called once before the work: allocates one working context per thread.
  virtual void initialize(int numThreads);
  /// Processes one chunk with the context of the given thread. The last argument is always 0.
  virtual void executeChunk(int chunk, int thread, int) = 0;
  virtual void finalize();
};

/// Runs threaded algorithms on workers that live as long as the pool. The calling thread is thread 0.
///
/// A run started from inside a run, or while another thread is using the pool, executes all of its indices on
/// the calling thread: the result is the same, and nothing can wait for itself. An exception thrown by the
/// work (only memory can run out) ends the run, skips `finalize` and comes out of the call; when several
/// threads throw, the one of the lowest thread index does.
class QVGEOM_API ThreadPool {
 public:
  /// The shared pool, with one thread per hardware thread until the host says otherwise.
  static ThreadPool& get();
  /// A pool that runs everything on the calling thread.
  static ThreadPool& getSingleThreadedPool();

  explicit ThreadPool(int numThreads);
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;
  virtual ~ThreadPool();

  virtual void runChunks(ThreadedChunkAlg& alg);
  virtual void run(ThreadedAlg& alg);

  int getNumThreads() const;
  /// Sets the number of threads, clamped to [1, 256]. Waits for a run that is under way; not from inside one.
  void setNumThreads(int numThreads);

 private:
  struct Impl;
  template <typename Alg>
  void runWhole(Alg& alg);
  std::unique_ptr<Impl> impl_;
};

}  // namespace qvUtil
