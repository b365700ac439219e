#include "geom/model/keel/threading.h"

#include <bit>
#include <chrono>
#include <climits>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace qvUtil {
namespace {

using std::this_thread::get_id;

// Notes the order of events; `early` runs inside `initialize`.
struct PartAlg : ThreadedAlg {
  explicit PartAlg(std::function<void(PartAlg& self, int thread)> w) : work(std::move(w)) {}
  void initialize(int p) override {
    log += "i" + std::to_string(p);
    if (early) early();
  }
  void execute(int thread, int) override { work(*this, thread); }
  void finalize() override { log += "f"; }
  const std::function<void(PartAlg& self, int thread)> work;
  std::function<void()> early;
  std::string log;
};

// Lists the items of its chunks, one list per thread.
struct ListAlg : ThreadedChunkAlg {
  explicit ListAlg(int n) : ThreadedChunkAlg(n), items(n) {}
  void initialize(int p) override { slots.resize(p); }
  void executeChunk(int c, int thread, int) override {
    if (cancelled(thread)) return;
    const int end = getBeginIndex(c + 1, getNumChunks(), items);
    for (int i = getBeginIndex(c, getNumChunks(), items); i < end; ++i) slots[thread].push_back(i);
    updateProgress(thread, c / static_cast<double>(getNumChunks()));
  }
  int items;
  std::vector<std::vector<int>> slots;
};

bool listsItemsInOrder(ThreadPool& pool, int n, Progress* progress = nullptr) {
  ListAlg alg(n);
  alg.setProgress(progress);
  pool.runChunks(alg);
  int next = 0;
  for (const auto& slot : alg.slots)
    for (const int item : slot) next = item == next ? next + 1 : -1;
  return next == n;
}

// Counts the visits of any thread but its owner's.
struct Witness : Progress {
  void note() { strangers += get_id() != owner; }
  void set(double fraction) override { note(), Progress::set(fraction); }
  bool cancelled() override { return note(), Progress::cancelled(); }
  const std::thread::id owner = get_id();
  std::atomic<int> strangers{0};
};

TEST(ThreadPool, CallsEveryIndexOnceAndChunksJoinInItemOrder) {
  for (const int p : {1, 2, 3, 8}) {
    SCOPED_TRACE(testing::Message() << p << " threads");
    ThreadPool pool(p);
    std::vector<int> calls(p);
    PartAlg alg([&, caller = get_id()](PartAlg&, int i) { calls[i] += (get_id() == caller) == (i == 0); });
    for (int round = 0; round < 20; ++round) pool.run(alg);
    EXPECT_EQ(calls, std::vector<int>(p, 20)) << "the caller is thread 0";
    EXPECT_EQ(alg.log.substr(0, 6), "i" + std::to_string(p) + "fi" + std::to_string(p) + "f");
    for (const int n : {0, 1, 5, 63, 64, 1000}) {
      SCOPED_TRACE(testing::Message() << n << " items");
      Witness progress;
      EXPECT_TRUE(listsItemsInOrder(pool, n, &progress));
      EXPECT_EQ(progress.strangers, 0) << "only the caller reports";
      EXPECT_GE(progress.fraction(), n < 63 ? 0 : 0.85) << "the caller's block stands for the whole";
      EXPECT_LT(progress.fraction(), 1);
    }
    EXPECT_EQ(alg.getBeginIndex(p, p, INT_MAX), INT_MAX);
    EXPECT_EQ(alg.getBeginIndex(1, p, p + 1), 2) << "the rest goes to the first parts";
  }
}

TEST(ThreadPool, ExceptionReachesTheCallerOnceAndThePoolGoesOn) {
  ThreadPool pool(4);
  for (const unsigned throwing : {0b1u, 0b10u, 0b1000u, 0b1100u, 0b1111u}) {
    int caught = -1;
    PartAlg alg([&](PartAlg&, int thread) { throwing >> thread & 1 ? throw thread : 0; });
    try {
      pool.run(alg);
    } catch (int thread) {
      caught = thread;
    }
    EXPECT_EQ(caught, std::countr_zero(throwing)) << "the lowest thread's comes out";
    EXPECT_EQ(alg.log, "i4") << "no finalize after a failure";
    EXPECT_TRUE(listsItemsInOrder(pool, 100));
  }
}

TEST(ThreadPool, RunInsideARunGoesInline) {
  ThreadPool pool(3), other(2);
  std::atomic<int> inner{0}, wrong{0};
  const auto nest = [&] {
    for (ThreadPool* p : {&pool, &other}) {
      Progress progress;
      PartAlg nested([&, caller = get_id()](PartAlg& self, int thread) {
        ++inner;
        if (thread == 1) progress.cancel();
        wrong += get_id() != caller || self.cancelled(thread) != (thread > 0);
      });
      nested.setProgress(&progress);
      p->run(nested);
    }
    pool.setNumThreads(7);  // ignored: it could only wait for itself
  };
  PartAlg outer([&](PartAlg&, int) { nest(); });
  outer.early = nest;
  pool.run(outer);
  EXPECT_EQ(inner, (1 + 3) * (3 + 2)) << "from `initialize` and from each thread";
  EXPECT_EQ(wrong, 0) << "every index is the caller's and asks for cancellation";
  EXPECT_EQ(pool.getNumThreads(), 3);
}

TEST(ThreadPool, ServesTwoHostThreadsWhileItIsResized) {
  ThreadPool pool(3);
  std::atomic<int> wrong{0};
  const auto host = [&](int n) {
    for (int round = 0; round < 200; ++round) wrong += !listsItemsInOrder(pool, n);
  };
  std::thread first(host, 40), second(host, 64);
  for (const int p : {2, 5, 1000, -5, 3}) {
    pool.setNumThreads(p);
    EXPECT_LE(pool.getNumThreads(), std::clamp(p, 1, 256));
  }
  first.join();
  second.join();
  EXPECT_EQ(wrong, 0);
}

TEST(ThreadPool, CancellationReachesEveryThreadAfterTheCallersPart) {
  ThreadPool pool(3);
  Witness progress;
  std::atomic<int> heard{0};
  PartAlg alg([&](PartAlg& self, int thread) {
    if (thread == 0) return;  // long done when the user cancels
    for (int i = 0; i < 6000 && !self.cancelled(thread); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      if (i == 2) progress.cancel();
    }
    heard += self.cancelled(thread);
  });
  alg.setProgress(&progress);
  pool.run(alg);
  EXPECT_EQ(heard, 2);
  EXPECT_EQ(progress.strangers, 0);
}

}  // namespace
}  // namespace qvUtil
