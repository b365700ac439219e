#include "geom/model/keel/threading.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace qvUtil {

ThreadedAlgBase::~ThreadedAlgBase() = default;
ThreadedAlg::~ThreadedAlg() = default;
ThreadedChunkAlg::~ThreadedChunkAlg() = default;

void ThreadedAlg::initialize(int) {}
void ThreadedAlg::finalize() {}
void ThreadedChunkAlg::initialize(int) {}
void ThreadedChunkAlg::finalize() {}

ThreadedChunkAlg::ThreadedChunkAlg(int items) {
  // Known from the start, so that subclasses can size their result slots before the run.
  numChunks_ = std::clamp(items, 0, kMaxChunks);
}

bool ThreadedAlgBase::cancelled(int thread) {
  if (isCaller(thread) && progress_ && progress_->cancelled())
    cancelled_.store(true, std::memory_order_relaxed);
  return cancelled_.load(std::memory_order_relaxed);
}

void ThreadedAlgBase::updateProgress(int thread, double fraction) {
  if (isCaller(thread) && progress_) progress_->set(fraction * progressScale_);
}

namespace {

constexpr int kMaxThreads = 256;

// How often a caller whose own part is done asks its Progress on behalf of the workers.
constexpr std::chrono::milliseconds kPollInterval{10};

// A task is one call per thread index. A plain function pointer and argument keep a run free of allocations.
struct Task {
  void (*call)(void* argument, int thread) = nullptr;
  void* argument = nullptr;
  void (*poll)(void* argument, int thread) = nullptr;  // null when there is nobody to ask
};

// Set while this thread executes part of a run of any pool.
thread_local bool insideRun = false;

class InsideRun {
 public:
  InsideRun() : outer_(std::exchange(insideRun, true)) {}
  ~InsideRun() { insideRun = outer_; }
  InsideRun(const InsideRun&) = delete;
  InsideRun& operator=(const InsideRun&) = delete;

 private:
  bool outer_;
};

}  // namespace

struct ThreadPool::Impl {
  ~Impl() { stopWorkers(); }

  void startWorkers(int numThreads);
  void stopWorkers();
  void work(int thread, std::uint64_t generation);
  void dispatch(const Task& task);
  void awaitWorkers(const Task& task, std::exception_ptr& error);
  static void guarded(void (*call)(void*, int), void* argument, int thread, std::exception_ptr& error);

  std::mutex runMutex;  // held by the one run that uses the workers
  std::atomic<int> threads{1};

  std::mutex mutex;  // guards all that follows
  std::condition_variable wake;
  std::condition_variable done;
  std::uint64_t generation = 0;
  int pending = 0;
  bool stopping = false;
  Task task;
  std::vector<std::exception_ptr> errors;  // one slot per thread
  std::vector<std::thread> workers;
};

void ThreadPool::Impl::guarded(void (*call)(void*, int), void* argument, int thread,
                               std::exception_ptr& error) {
  const InsideRun inside;
  try {
    call(argument, thread);
  } catch (...) {
    error = std::current_exception();
  }
}

void ThreadPool::Impl::startWorkers(int numThreads) {
  errors.assign(static_cast<std::size_t>(numThreads), nullptr);
  workers.reserve(static_cast<std::size_t>(numThreads) - 1);
  try {
    // Workers wait for the first run after this one, whatever the counter says now.
    for (int i = 1; i < numThreads; ++i) workers.emplace_back(&Impl::work, this, i, generation);
  } catch (...) {
    // A system out of threads is no reason to fail: go on with those that did start.
  }
  threads = static_cast<int>(workers.size()) + 1;
}

void ThreadPool::Impl::stopWorkers() {
  {
    const std::lock_guard lock(mutex);
    stopping = true;
  }
  wake.notify_all();
  for (std::thread& worker : workers) worker.join();
  workers.clear();
  stopping = false;
  // Until new workers stand, runs go inline: starting them may fail halfway for lack of memory.
  threads = 1;
}

void ThreadPool::Impl::work(int thread, std::uint64_t seenGeneration) {
  std::unique_lock lock(mutex);
  for (;;) {
    wake.wait(lock, [&] { return stopping || generation != seenGeneration; });
    if (stopping) return;
    seenGeneration = generation;
    const Task current = task;
    lock.unlock();
    std::exception_ptr error;
    guarded(current.call, current.argument, thread, error);
    lock.lock();
    errors[static_cast<std::size_t>(thread)] = std::move(error);
    if (--pending == 0) done.notify_one();
  }
}

void ThreadPool::Impl::dispatch(const Task& newTask) {
  {
    const std::lock_guard lock(mutex);
    task = newTask;
    pending = static_cast<int>(workers.size());
    ++generation;
  }
  wake.notify_all();
  std::exception_ptr own;
  guarded(newTask.call, newTask.argument, 0, own);
  awaitWorkers(newTask, own);

  // No lock from here on: the workers are done with their slots.
  std::exception_ptr first = std::move(own);
  for (std::exception_ptr& error : errors) {
    if (!first) first = error;
    error = nullptr;
  }
  if (first) std::rethrow_exception(first);
}

void ThreadPool::Impl::awaitWorkers(const Task& own, std::exception_ptr& error) {
  const auto idle = [this] { return pending == 0; };
  std::unique_lock lock(mutex);
  // The caller may be done long before the others; a user who cancels then must still be heard.
  while (own.poll && !error && !done.wait_for(lock, kPollInterval, idle)) {
    lock.unlock();
    guarded(own.poll, own.argument, 0, error);
    lock.lock();
  }
  done.wait(lock, idle);
}

ThreadPool::ThreadPool(int numThreads) : impl_(std::make_unique<Impl>()) {
  impl_->startWorkers(std::clamp(numThreads, 1, kMaxThreads));
}

ThreadPool::~ThreadPool() = default;

ThreadPool& ThreadPool::get() {
  static ThreadPool pool(static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
  return pool;
}

ThreadPool& ThreadPool::getSingleThreadedPool() {
  static ThreadPool pool(1);
  return pool;
}

int ThreadPool::getNumThreads() const { return impl_->threads; }

void ThreadPool::setNumThreads(int numThreads) {
  const int wanted = std::clamp(numThreads, 1, kMaxThreads);
  if (insideRun) return;
  const std::lock_guard lock(impl_->runMutex);
  if (wanted == getNumThreads()) return;
  impl_->stopWorkers();
  impl_->startWorkers(wanted);
}

namespace {

// Everything one run needs, alive on the caller's stack until the last thread is done.
template <typename Alg>
struct Run {
  Alg& alg;
  int numThreads;
  std::atomic<bool> failed{false};
};

void executePart(Run<ThreadedAlg>& run, int thread) { run.alg.execute(thread, run.numThreads); }

void executePart(Run<ThreadedChunkAlg>& run, int thread) {
  const int chunks = run.alg.getNumChunks();
  const int end = run.alg.getBeginIndex(thread + 1, run.numThreads, chunks);
  for (int c = run.alg.getBeginIndex(thread, run.numThreads, chunks); c < end; ++c) {
    if (run.failed.load(std::memory_order_relaxed)) return;
    run.alg.executeChunk(c, thread, 0);
  }
}

template <typename Alg>
void callPart(void* argument, int thread) {
  Run<Alg>& run = *static_cast<Run<Alg>*>(argument);
  try {
    executePart(run, thread);
  } catch (...) {
    run.failed = true;
    throw;
  }
}

template <typename Alg>
void pollCancelled(void* argument, int thread) {
  static_cast<Run<Alg>*>(argument)->alg.cancelled(thread);
}

template <typename Alg>
void runInline(Run<Alg>& run) {
  const InsideRun inside;
  for (int thread = 0; thread < run.numThreads; ++thread) executePart(run, thread);
}

}  // namespace

template <typename Alg>
void ThreadPool::runWhole(Alg& alg) {
  // The lock also keeps the number of threads fixed between `initialize` and the last part.
  std::unique_lock<std::mutex> lock;
  if (!insideRun) lock = std::unique_lock(impl_->runMutex, std::try_to_lock);
  Run<Alg> run{alg, getNumThreads()};
  ThreadedAlgBase& base = alg;
  base.cancelled_ = false;
  base.inline_ = !lock || run.numThreads == 1;
  // Thread 0 has the first of p equal blocks of chunks; the others keep step with it.
  base.progressScale_ = std::is_same_v<Alg, ThreadedChunkAlg> && !base.inline_ ? run.numThreads : 1;
  {
    // A run that `initialize` starts must not try the mutex that this thread holds.
    const InsideRun inside;
    alg.initialize(run.numThreads);
  }
  if (base.inline_) {
    runInline(run);
  } else {
    impl_->dispatch({&callPart<Alg>, &run, base.progress_ ? &pollCancelled<Alg> : nullptr});
  }
  if (lock) lock.unlock();
  alg.finalize();
}

void ThreadPool::runChunks(ThreadedChunkAlg& alg) { runWhole(alg); }

void ThreadPool::run(ThreadedAlg& alg) { runWhole(alg); }

}  // namespace qvUtil
