#include "geom/model/keel/threading.h"

#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace qvUtil {
namespace {

using std::this_thread::get_id;
using Work = std::function<void(ThreadedAlgBase& self, int index, int thread)>;

// Counts the calls of each index and notes the order of events.
struct PartAlg : ThreadedAlg {
  explicit PartAlg(Work w) : work(std::move(w)) {}
  void initialize(int p) override {
    log += "i" + std::to_string(p);
    calls.assign(static_cast<std::size_t>(p), 0);
  }
  void execute(int thread, int) override {
    ++calls[static_cast<std::size_t>(thread)];
    work(*this, thread, thread);
  }
  void finalize() override { log += "f"; }
  Work work;
  std::string log;
  std::vector<int> calls;
};

// Lists the items of its chunks, one list per thread.
struct ListAlg : ThreadedChunkAlg {
  explicit ListAlg(int n) : ThreadedChunkAlg(n), items(n) {}
  void initialize(int p) override { slots.resize(static_cast<std::size_t>(p)); }
  void executeChunk(int c, int thread, int) override {
    if (cancelled(thread)) return;
    const int end = getBeginIndex(c + 1, getNumChunks(), items);
    for (int i = getBeginIndex(c, getNumChunks(), items); i < end; ++i)
      slots[static_cast<std::size_t>(thread)].push_back(i);
    updateProgress(thread, c / static_cast<double>(getNumChunks()));
  }
  int items;
  std::vector<std::vector<int>> slots;
};

bool listsItemsInOrder(ThreadPool& pool, int n, Progress* progress = nullptr) {
  ListAlg alg(n);
  alg.setProgress(progress);
  pool.runChunks(alg);
  std::vector<int> joined, expected(static_cast<std::size_t>(n));
  for (const auto& slot : alg.slots) joined.insert(joined.end(), slot.begin(), slot.end());
  std::iota(expected.begin(), expected.end(), 0);
  return joined == expected;
}

// Notes what is reported and whether any thread but the owner's comes here.
struct Witness : Progress {
  void set(double fraction) override {
    strangers += get_id() == owner ? 0 : 1;
    reported.push_back(fraction);
  }
  bool cancelled() override {
    strangers += get_id() == owner ? 0 : 1;
    return Progress::cancelled();
  }
  const std::thread::id owner = get_id();
  std::atomic<int> strangers{0};
  std::vector<double> reported{0};
};

void doNothing(ThreadedAlgBase&, int, int) {}

TEST(ThreadPool, PartitionGivesTheRestToTheFirstParts) {
  const PartAlg alg(doNothing);
  const auto begins = [&](int n, int p) {
    std::vector<int> b;
    for (int i = 0; i <= p; ++i) b.push_back(alg.getBeginIndex(i, p, n));
    return b;
  };
  EXPECT_EQ(begins(10, 4), (std::vector<int>{0, 3, 6, 8, 10}));
  EXPECT_EQ(begins(3, 8), (std::vector<int>{0, 1, 2, 3, 3, 3, 3, 3, 3}));
  EXPECT_EQ(begins(std::numeric_limits<int>::max(), 256).back(), std::numeric_limits<int>::max());
}

TEST(ThreadPool, CallsEveryIndexOnce) {
  for (const int p : {1, 2, 3, 8}) {
    SCOPED_TRACE(p);
    ThreadPool pool(p);
    std::vector<std::thread::id> ids(static_cast<std::size_t>(p));
    PartAlg alg([&](ThreadedAlgBase&, int i, int) { ids[static_cast<std::size_t>(i)] = get_id(); });
    for (int round = 0; round < 20; ++round) {
      alg.log.clear();
      pool.run(alg);
      EXPECT_EQ(alg.calls, std::vector<int>(static_cast<std::size_t>(p), 1));
      EXPECT_EQ(alg.log, "i" + std::to_string(p) + "f");
    }
    EXPECT_EQ(ids[0], get_id()) << "the caller is thread 0";
    EXPECT_EQ(std::count(ids.begin(), ids.end(), get_id()), 1);
  }
}

TEST(ThreadPool, ExceptionReachesTheCallerOnceAndThePoolGoesOn) {
  ThreadPool pool(4);
  for (const std::vector<int>& throwing : {std::vector<int>{0}, {1}, {3}, {2, 3}, {0, 1, 2, 3}}) {
    SCOPED_TRACE(throwing.front());
    PartAlg alg([&](ThreadedAlgBase&, int, int thread) {
      if (std::count(throwing.begin(), throwing.end(), thread))
        throw std::runtime_error(std::to_string(thread));
    });
    try {
      pool.run(alg);
      ADD_FAILURE() << "nothing came out";
    } catch (const std::runtime_error& e) {
      EXPECT_EQ(e.what(), std::to_string(throwing.front())) << "the lowest thread's comes out";
    }
    EXPECT_EQ(alg.log, "i4") << "no finalize after a failure";
    EXPECT_TRUE(listsItemsInOrder(pool, 100));
  }
}

TEST(ThreadPool, RunInsideARunGoesInline) {
  ThreadPool pool(3), other(2);
  std::atomic<int> inner{0}, strangers{0};
  const auto nest = [&](ThreadedAlgBase&, int, int) {
    PartAlg nested([&, caller = get_id()](ThreadedAlgBase&, int, int) {
      ++inner;
      strangers += get_id() == caller ? 0 : 1;
    });
    pool.run(nested);
    other.run(nested);
    pool.setNumThreads(7);  // ignored: it could only wait for itself
  };
  PartAlg outer(nest);
  pool.run(outer);
  EXPECT_EQ(inner, 3 * (3 + 2));
  EXPECT_EQ(strangers, 0);

  struct Early : PartAlg {
    explicit Early(const Work& w) : PartAlg(w) {}
    void initialize(int p) override {
      PartAlg::initialize(p);
      work(*this, 0, 0);
    }
  } early(nest);
  pool.run(early);
  EXPECT_EQ(inner, 15 + 4 * (3 + 2)) << "also when `initialize` starts it";
  EXPECT_EQ(pool.getNumThreads(), 3);
}

TEST(ThreadPool, ServesTwoHostThreadsWhileItIsResized) {
  ThreadPool pool(3);
  std::atomic<int> wrong{0};
  const auto host = [&](int n) {
    for (int round = 0; round < 200; ++round) wrong += listsItemsInOrder(pool, n) ? 0 : 1;
  };
  std::thread first(host, 40), second(host, 64);
  for (const int p : {2, 5, 1, 3}) pool.setNumThreads(p);
  first.join();
  second.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(pool.getNumThreads(), 3);
  pool.setNumThreads(-5);
  EXPECT_EQ(pool.getNumThreads(), 1);
  pool.setNumThreads(100000);
  EXPECT_LE(pool.getNumThreads(), 256);
}

TEST(ThreadPool, ChunksJoinInItemOrderAndOnlyTheCallerReports) {
  for (const int p : {1, 2, 3, 8}) {
    ThreadPool pool(p);
    for (const int n : {0, 1, 5, 63, 64, 1000}) {
      SCOPED_TRACE(testing::Message() << n << " items, " << p << " threads");
      Witness progress;
      EXPECT_TRUE(listsItemsInOrder(pool, n, &progress));
      EXPECT_EQ(progress.strangers, 0);
      EXPECT_TRUE(std::is_sorted(progress.reported.begin(), progress.reported.end()));
      EXPECT_GE(progress.reported.back(), n < 63 ? 0 : 0.85) << "the caller's block stands for the whole";
      EXPECT_LT(progress.reported.back(), 1);
    }
  }
}

TEST(ThreadPool, CancellationReachesEveryThreadAfterTheCallersPart) {
  ThreadPool pool(3);
  Witness progress;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  std::atomic<int> heard{0};
  PartAlg alg([&](ThreadedAlgBase& self, int, int thread) {
    if (thread == 0) return;  // long done when the user cancels
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    progress.cancel();
    while (!self.cancelled(thread) && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    heard += self.cancelled(thread) ? 1 : 0;
  });
  alg.setProgress(&progress);
  pool.run(alg);
  EXPECT_EQ(heard, 2);
  EXPECT_EQ(progress.strangers, 0);

  // Inline, every index is the caller's.
  Progress later;
  std::vector<bool> seen;
  PartAlg nested([&](ThreadedAlgBase& self, int, int thread) {
    if (thread == 1) later.cancel();
    seen.push_back(self.cancelled(thread));
  });
  nested.setProgress(&later);
  PartAlg outer([&](ThreadedAlgBase&, int, int thread) {
    if (thread == 0) pool.run(nested);
  });
  pool.run(outer);
  EXPECT_EQ(seen, (std::vector<bool>{false, true, true}));
}

}  // namespace
}  // namespace qvUtil
