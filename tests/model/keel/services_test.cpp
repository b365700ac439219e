#include <cmath>
#include <filesystem>
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
#include "geom/model/keel/visit_stamps.h"

namespace {

using qvUtil::Progress;

TEST(Progress, OnlyGrowsAndPhasesCoverSuccessiveShares) {
  std::vector<double> heard;
  Progress progress([&](double f, char const*) { heard.push_back(f); });
  for (const double f : {0.25, std::nan(""), 0.1, -1.0, 0.5, 0.5, HUGE_VAL, 2.0, 0.9}) progress.set(f);
  EXPECT_EQ(heard, (std::vector<double>{0.25, 0.5, 1}));

  Progress root, first, inner, second;
  root.set(0.2);
  root.subPhase(0.4, first);
  first.subPhase(0.5, inner);
  inner.set(0.5);
  EXPECT_DOUBLE_EQ(root.fraction(), 0.2 + 0.4 * 0.5 * 0.5);
  // Each begins where the last one ends, although the first stopped early; the child starts anew. NaN is no
  // share, and infinity, from an estimate that divided by zero, all that is left.
  double reached = 0.6;
  for (const double share : {0.2, std::nan(""), HUGE_VAL, 0.5}) {
    root.subPhase(share, second);
    const double width = std::isnan(share) ? 0 : std::min(share, 1 - reached);
    second.set(0.5);
    EXPECT_DOUBLE_EQ(root.fraction(), width > 0 ? reached + width / 2 : reached) << share;
    second.set(1);
    EXPECT_DOUBLE_EQ(root.fraction(), reached += width) << share;
  }
}

TEST(Progress, EitherEndMayDieFirst) {
  auto parent = std::make_unique<Progress>();
  Progress root, child;
  root.subPhase(1, *parent);
  parent->subPhase(1, child);
  parent->subPhase(1, *std::make_unique<Progress>());
  child.subPhase(1, root);  // refused, like every circle
  child.set(0.25);
  EXPECT_FALSE(root.cancelled());
  root.cancel();
  EXPECT_TRUE(child.cancelled()) << "asked through the tree";
  parent.reset();
  EXPECT_FALSE(child.cancelled());
  child.set(0.5);
  EXPECT_EQ(root.fraction(), 0.25);
}

using qvRTB::Connection;
using qvRTB::SignalBase;
using Signal = qvRTB::Signal1Arg<int>;

TEST(Signals, CallInOrderAndLetCallbacksChangeConnections) {
  Signal signal;
  SignalBase client;
  auto other = std::make_unique<SignalBase>();
  std::string heard;
  const auto witness = std::make_shared<int>(0);
  Connection self, idle = signal.connect(client, [&](int) { heard += 'i'; });
  // Ends itself and connects anew over and over: nothing may pile up.
  const std::function<void(int)> again = [&](int) {
    heard += 'r';
    self.disconnect();
    self = signal.connect(client, again);
  };
  self = signal.connect(client, again);
  signal.connect(client, [&, witness](int) { other.reset(); });
  signal.connect(*other, [&](int) { heard += 'x'; });
  signal.connect(client, nullptr);
  for (int i = 0; i < 6; ++i) {
    idle.setActive(i % 2 == 0);
    signal.emit(i);
    signal.connect(client, [witness](int) {}).disconnect();
  }
  EXPECT_EQ(heard, "irrirrirr") << "no dead client, and new connections wait for the next emission";
  EXPECT_EQ(signal.numConnections() + client.numConnections(), 3 + 3);
  signal.emit(0);
  EXPECT_EQ(witness.use_count(), 2) << "what ended connections held is released";
  EXPECT_TRUE(Signal(signal).empty()) << "a copy listens to nobody";
}

TEST(Signals, EitherEndMayDieFirst) {
  int calls = 0;
  auto signal = std::make_unique<Signal>();
  auto client = std::make_unique<SignalBase>();
  const auto witness = std::make_shared<int>(0);
  const Connection handle = signal->connect(*client, [&calls, witness](int) { ++calls; });
  client.reset();
  EXPECT_TRUE(signal->empty());
  SignalBase next;
  signal->connect(next, [&](int) { signal.reset(); });
  signal->connect(next, [&](int) { ++calls; });
  signal->emit(0);
  EXPECT_EQ(calls, 0) << "a signal that dies during an emission calls nobody else";
  EXPECT_EQ(next.numConnections(), 0);
  EXPECT_TRUE(witness.use_count() == 1 && !handle.connected()) << "handles and clients keep no callback";
}

TEST(VisitStamps, WrapForgetsOldMarks) {
  qvUtil::VisitStamps stamps(3);
  EXPECT_FALSE(stamps.seen(0)) << "nothing is seen from the start";
  stamps.setStamp(qvUtil::VisitStamps::kLargestStamp - 1);
  stamps.next();
  EXPECT_FALSE(stamps.isMarked(1) || stamps.seen(2) || !stamps.seen(2));
  stamps.next();  // goes on at 1, the stamp under which element 0 was marked
  stamps.resize(4);
  for (std::size_t i = 0; i < 4; ++i) EXPECT_FALSE(stamps.seen(i)) << i;
}

TEST(BlockAllocator, FeedsTreesAndTakesElementsBack) {
  struct alignas(64) Wide {
    int key;
    bool operator<(const Wide& o) const { return key < o.key; }
  };
  qv::BlockAllocator odd(0, -3), roomy(1000, 10);
  qv::pooled_set<Wide> wide{qv::PoolAllocator<Wide>(roomy)};
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&*wide.insert({i}).first) % 64, 0u);
    if (i % 3 == 0) wide.erase({i});
    void* const element = odd.allocate();
    odd.deallocate(element);
    EXPECT_EQ(odd.allocate(), element) << "taken back";
  }
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(wide.count({i}), i % 3 != 0) << i;
}

TEST(Reference, CountsOwnersNotContents) {
  struct Witness : qv::ReferenceCount {
    std::shared_ptr<int> alive = std::make_shared<int>(0);
  };
  std::weak_ptr<int> alive;
  {
    qv::Reference<Witness> a(new Witness), other = a, b = new Witness(*a), c;
    alive = a->alive;
    std::swap(*a, *b);
    EXPECT_TRUE(a->count == 2 && b->count == 1) << "contents have no owners";
    c = b;
    c = *&c;
    c = std::move(b);
    EXPECT_TRUE(!b && c->count == 1);
    c = a;
    EXPECT_TRUE(alive.use_count() == 1 && a->count == 3);
  }
  EXPECT_TRUE(alive.expired());
}

TEST(Channels, DeliverWholeMessagesOnce) {
  qvOS::DebugChannel channel;
  std::vector<std::string> heard;
  channel.print("%s", "nobody listens");
  channel.setSink([&](char const* text) {
    heard.emplace_back(text);
    channel.print("from the sink itself: dropped, not stuck");
    if (heard.size() == 2) channel.setSink(nullptr);  // a sink may take itself away
  });
  const std::string longText(5000, 'x');
  channel.print("%d%%: %s\n", 7, longText.c_str());
  channel.print("%s", "");
  channel.print("too late");
  EXPECT_EQ(heard, (std::vector<std::string>{"7%: " + longText + "\n", ""}));

  auto& output = qvOS::AppOutput::getInstance();
  heard.clear();
  output.setSink([&](qvOS::AppOutput::Level, char const* text) { heard.emplace_back(text); });
  output.info("100%s %n");
  output.error(nullptr);
  output.setSink(nullptr);
  output.info("gone");
  EXPECT_EQ(heard, (std::vector<std::string>{"100%s %n", ""}));
}

TEST(Random, FollowsTheRecurrence) {
  qvUtil::srand48(0);  // from x = seed 0x10000 + 0x330E on: 0x5DEECE66D x + 0xB mod 2^48
  for (const double expected : {0x2BBB62DC5101p-48, 0xBFF993816378p-48})
    EXPECT_EQ(qvUtil::drand48(), expected);
  std::thread([] { EXPECT_EQ(qvUtil::drand48(), 0x2BBB62DC5101p-48) << "each thread has its own"; }).join();
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
    EXPECT_TRUE(qvOS::readFile(name, contents) && contents.view() == bytes);
    // Without a hint, as for files that claim to be empty.
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(name.c_str(), "r"), &std::fclose);
    qvOS::FileContents grown;
    EXPECT_TRUE(qvOS::readStream(stream.get(), 0, grown) && grown.view() == bytes);
  }
  for (const std::string& bad : {folder.string(), (folder / "none").string(), std::string()})
    EXPECT_TRUE(!qvOS::readFile(bad, contents) && contents.view().size() == 300000) << "unchanged: " << bad;
  for (const char* bad : {"/no such folder/file", "/dev/full"}) {
    qvOS::OutputFile lost(bad);
    lost.write("lost");
    EXPECT_FALSE(lost.close() || lost.close()) << bad;
  }
  std::filesystem::remove_all(folder);
}

}  // namespace
