#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/files.h"
#include "geom/model/keel/progress.h"
#include "geom/model/keel/random.h"
#include "geom/model/keel/reference.h"
#include "geom/model/keel/signals.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/keel/visit_stamps.h"

namespace {

using qvUtil::Progress;

TEST(Progress, OnlyGrowsAndStaysInRange) {
  std::vector<double> heard;
  Progress progress([&](double f, char const*) { heard.push_back(f); });
  for (const double f : {0.25, std::nan(""), 0.1, -1.0, 0.5, 0.5, HUGE_VAL, 2.0, 0.9}) progress.set(f);
  EXPECT_EQ(heard, (std::vector<double>{0.25, 0.5, 1}));
}

TEST(Progress, PhasesCoverSuccessiveShares) {
  Progress root, first, inner, second, rest, none;
  root.set(0.2);
  root.subPhase(0.4, first);
  first.subPhase(0.5, inner);
  inner.set(0.5);
  EXPECT_DOUBLE_EQ(root.fraction(), 0.2 + 0.4 * 0.5 * 0.5);
  root.subPhase(0.2, second);  // begins where the first ends, although that one stopped early
  second.set(0.5);
  EXPECT_DOUBLE_EQ(root.fraction(), 0.7);
  root.subPhase(std::nan(""), none);
  none.set(1);
  EXPECT_DOUBLE_EQ(root.fraction(), 0.8);
  root.subPhase(HUGE_VAL, rest);  // an estimate that divided by zero: all that is left
  rest.set(0.5);
  EXPECT_DOUBLE_EQ(root.fraction(), 0.9);
  rest.set(1);
  root.subPhase(0.5, second);
  EXPECT_EQ(second.fraction(), 0) << "a child starts anew";
  second.set(1);
  EXPECT_EQ(root.fraction(), 1);
}

TEST(Progress, EitherEndMayDieFirst) {
  auto parent = std::make_unique<Progress>();
  Progress root, child;
  root.subPhase(1, *parent);
  parent->subPhase(1, child);
  {
    Progress brief;
    parent->subPhase(1, brief);
  }
  child.subPhase(1, root);  // refused, like every circle
  child.set(0.25);
  EXPECT_EQ(root.fraction(), 0.25);
  EXPECT_FALSE(root.cancelled());
  root.cancel();
  EXPECT_TRUE(child.cancelled()) << "asked through the tree";
  parent.reset();
  EXPECT_FALSE(child.cancelled());
  child.set(0.5);
  EXPECT_EQ(root.fraction(), 0.25);
}

using qvRTB::Connection;
using qvRTB::Signal1Arg;
using qvRTB::SignalBase;

TEST(Signals, CallInOrderAndSkipTheInactive) {
  Signal1Arg<std::string&> signal;
  SignalBase client;
  const auto append = [](const char* text) { return [text](std::string& s) { s += text; }; };
  Connection a = signal.connect(client, append("a"));
  Connection b = signal.connect(client, append("b"));
  struct Object {
    void add(std::string& s) { s += 'c'; }
  } object;
  signal.connect(client, object, &Object::add);
  signal.connect(client, nullptr);
  std::string heard;
  b.setActive(false);
  signal.emit(heard);
  b.setActive(true);
  a.disconnect();
  signal.emit(heard);
  EXPECT_EQ(heard, "acbc");
  const Signal1Arg<std::string&> copy = signal;
  EXPECT_TRUE(copy.empty()) << "a copy listens to nobody";
  b.setActive(false);
  EXPECT_EQ(signal.numConnections(), 2);
}

TEST(Signals, CallbacksMayChangeConnections) {
  Signal1Arg<int> signal;
  SignalBase client;
  auto other = std::make_unique<SignalBase>();
  std::string heard;
  // Ends itself and connects anew a hundred times over: nothing may pile up.
  Connection self;
  std::function<void(int)> again = [&](int) {
    heard += 'r';
    self.disconnect();
    self = signal.connect(client, again);
  };
  self = signal.connect(client, again);
  const auto witness = std::make_shared<int>(0);
  signal.connect(client, [&, witness](int) { other.reset(); });
  signal.connect(*other, [&](int) { heard += 'x'; });
  for (int i = 0; i < 100; ++i) signal.emit(i);
  EXPECT_EQ(heard, std::string(100, 'r')) << "no dead client, and new connections wait for the next emission";
  EXPECT_EQ(signal.numConnections(), 2);
  EXPECT_EQ(client.numConnections(), 2);
  for (int i = 0; i < 100; ++i) {
    Connection c = signal.connect(client, [witness](int) {});
    c.disconnect();
  }
  signal.emit(0);
  EXPECT_EQ(witness.use_count(), 2) << "what ended connections held is released";
}

TEST(Signals, EitherEndMayDieFirst) {
  int calls = 0;
  auto signal = std::make_unique<Signal1Arg<int>>();
  auto client = std::make_unique<SignalBase>();
  const auto witness = std::make_shared<int>(0);
  Connection handle = signal->connect(*client, [&calls, witness](int) { ++calls; });
  client.reset();
  EXPECT_TRUE(signal->empty());
  signal->emit(0);
  SignalBase next;
  signal->connect(next, [&](int) { signal.reset(); });
  signal->connect(next, [&](int) { ++calls; });
  signal->emit(0);
  EXPECT_EQ(calls, 0) << "a signal that dies during an emission calls nobody else";
  EXPECT_EQ(next.numConnections(), 0);
  EXPECT_EQ(witness.use_count(), 1) << "handles and clients keep no callback";
  handle.disconnect();
  EXPECT_FALSE(handle.connected());
}

TEST(VisitStamps, WrapForgetsOldMarks) {
  qvUtil::VisitStamps stamps(3);
  EXPECT_FALSE(stamps.seen(0)) << "nothing is seen from the start";
  stamps.setStamp(qvUtil::VisitStamps::kLargestStamp - 1);
  EXPECT_FALSE(stamps.seen(1));
  stamps.next();
  EXPECT_FALSE(stamps.isMarked(1));
  EXPECT_FALSE(stamps.seen(2));
  EXPECT_TRUE(stamps.seen(2));
  stamps.next();  // goes on at 1, the stamp under which element 0 was marked
  for (std::size_t i = 0; i < 3; ++i) EXPECT_FALSE(stamps.seen(i)) << i;
  stamps.resize(4);
  EXPECT_FALSE(stamps.isMarked(3));
  EXPECT_TRUE(stamps.isMarked(0));
}

TEST(BlockAllocator, FeedsTreesAndTakesElementsBack) {
  qv::BlockAllocator odd(0, -3), pool(qv::treeNodeSize<int>, 10), roomy(1000, 10);
  void* const first = odd.allocate();
  void* const second = odd.allocate();
  EXPECT_NE(first, second);
  odd.deallocate(first);
  EXPECT_EQ(odd.allocate(), first) << "taken back";

  struct alignas(64) Wide {
    int key;
    bool operator<(const Wide& o) const { return key < o.key; }
  };
  qv::pooled_set<int> small{qv::PoolAllocator<int>(pool)};
  qv::pooled_map<int, std::string> large{qv::PoolAllocator<std::pair<const int, std::string>>(pool)};
  qv::pooled_set<Wide> wide{qv::PoolAllocator<Wide>(roomy)};
  for (int i = 0; i < 1000; ++i) {
    small.insert(i * 7 % 1000);
    large[i * 7 % 1000] = std::to_string(i);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&*wide.insert({i}).first) % 64, 0u);
    if (i % 3 == 0) small.erase(i);
  }
  qv::pooled_set<int> copy = small;
  for (int i = 0; i < 1000; ++i) large.erase(i);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(copy.count(i), small.count(i));
}

struct Counted : qv::ReferenceCount {
  explicit Counted(int& alive) : alive_(&alive) { ++*alive_; }
  Counted(const Counted& o) : ReferenceCount(o), alive_(o.alive_) { ++*alive_; }
  Counted& operator=(const Counted&) = default;
  ~Counted() override { --*alive_; }
  int* alive_;
};

TEST(Reference, CountsOwnersNotContents) {
  int alive = 0;
  struct Derived : Counted {
    using Counted::Counted;
  };
  {
    qv::Reference<Derived> derived(new Derived(alive));
    qv::Reference<Counted> a = derived, b = new Counted(*a), c;
    EXPECT_EQ(a->count, 2);
    EXPECT_EQ(b->count, 1) << "a copied object has no owners yet";
    *b = *a;
    std::swap(*a, *b);
    EXPECT_EQ(a->count + b->count, 3);
    c = b;
    c = *&c;
    c = std::move(b);
    EXPECT_FALSE(b);
    EXPECT_EQ(c->count, 1);
    derived = nullptr;
    EXPECT_EQ(a->count, 1);
    c = a;
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 0);
  static_assert(!std::is_convertible_v<qv::Reference<Counted>, qv::Reference<Derived>>);
}

TEST(Channels, DeliverWholeMessagesOnce) {
  qvOS::DebugChannel channel;
  std::vector<std::string> heard;
  channel.print("%s", "nobody listens");
  channel.setSink([&](char const* text) {
    heard.emplace_back(text);
    channel.print("from the sink itself: dropped, not stuck");
  });
  const std::string longText(5000, 'x');
  channel.print("%d%%: %s\n", 7, longText.c_str());
  channel.print("%s", "");
  EXPECT_EQ(heard, (std::vector<std::string>{"7%: " + longText + "\n", ""}));
  channel.setSink([&](char const* text) {
    channel.setSink(nullptr);  // a sink may take itself away
    heard.emplace_back(text);
  });
  channel.print("last");
  channel.print("too late");
  EXPECT_EQ(heard.back(), "last");

  auto& output = qvOS::AppOutput::getInstance();
  std::string all;
  output.setSink([&](qvOS::AppOutput::Level level, char const* text) {
    all += (level == qvOS::AppOutput::Level::error ? "E:" : "I:") + std::string(text);
  });
  output.info("100%s %n");
  output.error(nullptr);
  output.setSink(nullptr);
  output.info("gone");
  EXPECT_EQ(all, "I:100%s %nE:");
}

TEST(Random, FollowsTheRecurrence) {
  // From x = seed 0x10000 + 0x330E on: 0x5DEECE66D x + 0xB mod 2^48.
  qvUtil::srand48(1);
  EXPECT_EQ(qvUtil::drand48(), 0xAA849495101p-48);
  qvUtil::srand48(0);
  EXPECT_EQ(qvUtil::drand48(), 0x2BBB62DC5101p-48);
  EXPECT_EQ(qvUtil::drand48(), 0xBFF993816378p-48);
  std::thread([] { EXPECT_EQ(qvUtil::drand48(), 0x2BBB62DC5101p-48) << "each thread has its own"; }).join();
}

TEST(StopWatch, ClearLeavesAStoppedWatchAtZero) {
  const auto pause = [] { std::this_thread::sleep_for(std::chrono::milliseconds(3)); };
  qvOS::StopWatch watch;
  watch.start();
  pause();
  watch.start();
  EXPECT_GE(watch.clear(), 0.003) << "a second start does not restart";
  pause();
  EXPECT_EQ(watch.stop(), 0) << "stopped: the pause does not count";
  watch.start();
  const double seconds = watch.stop();
  EXPECT_EQ(watch.stop(), seconds);
}

TEST(Files, ReadAndWriteEverythingOrSaySo) {
  const auto folder = std::filesystem::path(testing::TempDir()) / ("keel" + std::to_string(getpid()));
  std::filesystem::create_directory(folder);
  const std::string name = (folder / "bytes").string();
  qvOS::FileContents contents;
  for (const std::size_t size : {0u, 1u, 65535u, 65536u, 65537u, 300000u}) {
    SCOPED_TRACE(size);
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(1 + i % 251);
    qvOS::OutputFile out(name);
    out.write(bytes.substr(0, size / 3));
    out.write(bytes.substr(size / 3));
    EXPECT_TRUE(out.close() && out.close());
    ASSERT_TRUE(qvOS::readFile(name, contents));
    EXPECT_TRUE(contents.view() == bytes);
    // Without a hint, as for files that claim to be empty.
    std::FILE* const stream = std::fopen(name.c_str(), "r");
    qvOS::FileContents grown;
    EXPECT_TRUE(qvOS::readStream(stream, 0, grown) && grown.view() == bytes);
    std::fclose(stream);
  }
  for (const std::string& bad : {folder.string(), (folder / "none").string(), std::string()}) {
    EXPECT_FALSE(qvOS::readFile(bad, contents));
    EXPECT_EQ(contents.view().size(), 300000u) << "unchanged";
  }
  qvOS::OutputFile nowhere((folder / "none" / "file").string());
  nowhere.write("lost");
  EXPECT_FALSE(nowhere.isOpen() || nowhere.close());
  if (std::filesystem::exists("/dev/full")) {
    qvOS::OutputFile full("/dev/full");
    full.write("lost");
    EXPECT_FALSE(full.close() || full.close());
  }
  if (std::filesystem::exists("/proc/self/status")) {  // claims to be empty
    EXPECT_TRUE(qvOS::readFile("/proc/self/status", contents) && !contents.view().empty());
  }
  std::filesystem::remove_all(folder);
}

}  // namespace
