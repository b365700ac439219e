// Two curves lie against each other where points of both are each other's nearest. Such pairs are few and
// sure: they are as many as the coarser sampling has points, no point is in two of them, and they are the
// same seen from either curve. A place in the plane of the two arc lengths stands for a pair, and a stretch
// is a chain of pairs that are near each other in it, rising or falling. All else puts right what pairs alone
// get wrong: chains that are broken by a few points, chains that are too short to mean anything, and ends
// that ought to be one.

#include "geom/topology/line_topology.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <optional>
#include <tuple>
#include <utility>

#include "geom/model/keel/joined_sets.h"

namespace qvGeom::MeshLineTopology {
namespace {

using qvLinear::PointFlt;

// In units of the distance asked for.
constexpr double kThinning = 0.1;    // between points that are looked at: a cell then holds few
constexpr double kPreference = 0.2;  // for what runs against: twice what samples are apart
constexpr double kLeastTurn = 2;     // along a curve, between places of it that may lie against each other
constexpr double kLargestGap = 2;    // along a curve, between pairs of one stretch
constexpr double kLargestTip = 4;    // along a curve, between stretches that have an end in common
constexpr double kLeastLength = 1;   // of a stretch: shorter ones come of corners and are left to these

constexpr double kLeastReversed = 5;  // of a stretch whose sides cannot be made to agree
constexpr double kReachOfWay = 0.3;   // to either side, of what counts as the direction of a curve

constexpr double kSlimness = 4;       // of a spike, along its sides over across: others are no slits
constexpr double kSameWay = 0.35;     // cosine between directions
constexpr int kMostChains = 16;       // that are looked for among linked pairs
constexpr double kBetter = 1 + 1e-6;  // lengths computed in another order differ by less

double squaredDistance(const PointFlt& a, const PointFlt& b) {
  double sum = 0;
  for (int k = 0; k < 3; ++k) {
    const double d = static_cast<double>(a[k]) - static_cast<double>(b[k]);
    sum += d * d;
  }
  return sum;
}

// Points by cells, twice as wide as the distance, so that eight cells hold all that are within it.
class Grid {
 public:
  Grid(const qv::vector<PointFlt>& points, double distance);

  // Calls visit(number, squared distance) for all points within the distance, and maybe for some twice.
  template <typename Visit>
  void visitNear(const PointFlt& p, const Visit& visit) const;

 private:
  // Only a curve that crosses a cell this often is cut short, at a distance that dwarfs it.
  static constexpr std::uint32_t kMostInCell = 4096;

  struct Entry {
    PointFlt p;
    int number;
  };

  std::size_t bucket(std::int64_t x, std::int64_t y, std::int64_t z) const {
    std::uint64_t h = static_cast<std::uint64_t>(x) * 0x9e3779b97f4a7c15u;
    h = (h ^ h >> 32 ^ static_cast<std::uint64_t>(y)) * 0xbf58476d1ce4e5b9u;
    h = (h ^ h >> 29 ^ static_cast<std::uint64_t>(z)) * 0x94d049bb133111ebu;
    return static_cast<std::size_t>((h ^ h >> 31) & mask_);
  }
  double inCells(float coordinate) const { return static_cast<double>(coordinate) / cell_; }
  std::size_t bucketOf(const PointFlt& p) const {
    std::int64_t c[3];
    for (int k = 0; k < 3; ++k) c[k] = static_cast<std::int64_t>(std::floor(inCells(p[k])));
    return bucket(c[0], c[1], c[2]);
  }

  double reach2_;
  double cell_;
  std::uint64_t mask_ = 1;
  qv::vector<std::uint32_t> starts_;
  qv::vector<Entry> entries_;
};

Grid::Grid(const qv::vector<PointFlt>& points, double distance) : reach2_(distance * distance) {
  double largest = 0;
  for (const PointFlt& p : points)
    for (const float c : p.c) largest = std::max(largest, std::fabs(static_cast<double>(c)));
  // Cell numbers must fit an integer. Floats that large are farther apart than the cells.
  cell_ = std::max({2 * distance, std::ldexp(largest, -60), 1e-300});
  while (mask_ < points.size()) mask_ *= 2;
  --mask_;
  starts_.assign(static_cast<std::size_t>(mask_) + 2, 0);
  qv::vector<std::uint32_t> buckets;
  buckets.reserve(points.size());
  for (const PointFlt& p : points) {
    buckets.push_back(static_cast<std::uint32_t>(bucketOf(p)));
    ++starts_[buckets.back() + 1];
  }
  std::partial_sum(starts_.begin(), starts_.end(), starts_.begin());
  entries_.resize(points.size());
  qv::vector<std::uint32_t> ends(starts_.begin(), starts_.end() - 1);
  for (std::size_t i = 0; i < points.size(); ++i)
    entries_[ends[buckets[i]]++] = {points[i], static_cast<int>(i)};
}

template <typename Visit>
void Grid::visitNear(const PointFlt& p, const Visit& visit) const {
  std::int64_t c[3][2];
  for (int k = 0; k < 3; ++k) {
    const double x = inCells(p[k]), floor = std::floor(x);
    c[k][0] = static_cast<std::int64_t>(floor);
    c[k][1] = c[k][0] + (x - floor < 0.5 ? -1 : 1);
  }
  for (int i = 0; i < 8; ++i) {
    const std::size_t b = bucket(c[0][i & 1], c[1][i >> 1 & 1], c[2][i >> 2]);
    const std::uint32_t end = std::min(starts_[b + 1], starts_[b] + kMostInCell);
    for (std::uint32_t e = starts_[b]; e < end; ++e) {
      const double d2 = squaredDistance(p, entries_[e].p);
      if (d2 <= reach2_) visit(entries_[e].number, d2);
    }
  }
}

// The places of a longest strictly rising subsequence.
qv::vector<int> longestRise(const qv::vector<double>& values) {
  qv::vector<int> tails;  // by length, the place of the least last value
  qv::vector<int> before(values.size());
  for (int i = 0; i < static_cast<int>(values.size()); ++i) {
    const auto at = std::lower_bound(tails.begin(), tails.end(), values[i],
                                     [&](int place, double value) { return values[place] < value; });
    before[i] = at == tails.begin() ? -1 : *(at - 1);
    if (at == tails.end()) {
      tails.push_back(i);
    } else {
      *at = i;
    }
  }
  qv::vector<int> rise;
  for (int i = tails.empty() ? -1 : tails.back(); i >= 0; i = before[i]) rise.push_back(i);
  std::reverse(rise.begin(), rise.end());
  return rise;
}

}  // namespace

// A node is a point that is looked at, of those along all curves.
class TopologyAlg::Impl {
 public:
  struct EdgeRecord {
    int curve;
    int start;  // first node
    int firstPoint, secondPoint;
    int stretch;  // whose two sides are twins
    int twin;
    bool circular;
    bool reversed;
  };

  explicit Impl(CompactMesh const& curves) : mesh_(curves) {}

  bool compute(double distance);

  const CompactMesh& mesh() const { return mesh_; }
  const EdgeRecord& edge(int i) const { return edges_[i]; }
  int numEdges() const { return static_cast<int>(edges_.size()); }

  BitVector orientation;
  qv::vector<int> pieces;

 private:
  struct Curve {
    int first, end;  // nodes
    double length;   // all around when closed
    bool closed;
  };
  struct Pair {
    int a, b;
  };
  struct Chain {
    qv::vector<Pair> pairs;
    bool sameSense;
    double length;
  };
  // Side 0 runs along the first curve from first[0] to last[0], which is where the pairs begin and end; side
  // 1 along the other, forward as well: in the same sense its first lies against the first, else its last.
  struct Stretch {
    int first[2], last[2];
    bool sameSense = false;
    bool circular = false;
    bool alive = true;
  };
  // A side of a stretch in the order along its curve: 2 stretch + side.
  struct Place {
    int first;
    int side;
  };

  bool readCurves();
  bool readCurve(int const* points, int n);
  void computeWays();
  void findChains(bool oriented);
  void findNearest(bool oriented);
  bool areApart(int i, int j, double d) const;
  bool runAgainst(int i, int j) const;
  void findPairs();
  void linkPairs();
  void linkInOrder(const qv::vector<int>& order);
  void addChain(qv::vector<int>& members);
  void cutChain(const qv::vector<Pair>& pairs, bool sameSense);
  bool isReversed(const Chain& chain) const;
  void acceptChains(qv::vector<Chain>& chains);
  bool isFree(int from, int to) const;
  void take(int from, int to);
  void acceptRun(const qv::vector<Pair>& run, bool sameSense);
  void orderSides();
  void joinStretches();
  bool tryJoin(int s, int t);
  bool isCovered(int from, int to, int otherFrom, int otherTo) const;
  void dropShort();
  void unlink(int side);
  void settleEnds();
  int settle(int from, int to, const qvLinear::Point& centre) const;
  void orient();
  void makeEdges();

  int curveOf(int node) const { return curveOfNode_[node]; }
  const Curve& of(int node) const { return curves_[curveOfNode_[node]]; }
  int next(int node) const { return node + 1 < of(node).end ? node + 1 : of(node).first; }
  int previous(int node) const { return node > of(node).first ? node - 1 : of(node).end - 1; }
  // Along the curve of both, forward.
  double arc(int from, int to) const {
    const double d = arcs_[to] - arcs_[from];
    return d >= 0 ? d : d + of(from).length;
  }
  // The shorter way, negative when it is backward.
  double shortArc(int from, int to) const {
    const Curve& curve = of(from);
    const double d = arcs_[to] - arcs_[from];
    if (!curve.closed || std::fabs(d) <= curve.length / 2) return d;
    return d > 0 ? d - curve.length : d + curve.length;
  }
  int steps(int from, int to) const {
    return to >= from ? to - from : to - from + (of(from).end - of(from).first);
  }
  Stretch& stretchOf(int side) { return stretches_[side / 2]; }
  // Which of the two common ends of its sides lies where a side ends; it begins at the other.
  int endOf(int side) const {
    return side - side % 2 + (side % 2 == 0 || stretches_[side / 2].sameSense ? 1 : 0);
  }
  double length(const Stretch& s, int side) const { return arc(s.first[side], s.last[side]); }

  CompactMesh const& mesh_;
  double distance_ = 0;
  qv::vector<Curve> curves_;
  qv::vector<PointFlt> points_;  // by node, as are the next five
  qv::vector<int> numbers_;      // in the mesh
  qv::vector<double> arcs_;      // from the beginning of the curve
  qv::vector<int> curveOfNode_;
  qv::vector<qvLinear::Vector> ways_;  // directions
  qv::vector<int> nearest_;            // -1: none

  qv::vector<Pair> pairs_;  // by curves and then along the first
  std::optional<qvUtil::JoinedSets> linked_;
  std::optional<Grid> grid_;
  qv::vector<Chain> chains_;
  qv::vector<bool> taken_;  // by node
  qv::vector<Stretch> stretches_;
  qv::vector<int> nextSide_, previousSide_;  // along each curve; -1 at the ends of an open one
  qv::vector<EdgeRecord> edges_;
};

bool TopologyAlg::Impl::compute(double distance) {
  edges_.clear();
  orientation.resize(0);
  distance_ = distance;
  if (!(distance > 0) || !std::isfinite(distance) || !readCurves()) return false;
  grid_.emplace(points_, distance_);
  computeWays();
  findChains(false);
  orient();
  qv::vector<Chain> reversed = std::move(chains_);
  std::erase_if(reversed,
                [this](const Chain& c) { return !isReversed(c) || c.length < kLeastReversed * distance_; });
  findChains(true);
  std::erase_if(chains_, [this](const Chain& c) { return isReversed(c); });
  stretches_.clear();
  taken_.assign(points_.size(), false);
  acceptChains(chains_);
  acceptChains(reversed);
  orderSides();
  joinStretches();
  dropShort();
  joinStretches();
  settleEnds();
  makeEdges();
  return true;
}

// ---- the curves ----

bool TopologyAlg::Impl::readCurves() {
  curves_.clear();
  points_.clear();
  numbers_.clear();
  arcs_.clear();
  curveOfNode_.clear();
  int const* points = mesh_.getLineStripPoints();
  for (int c = 0; c < mesh_.getNumLineStrips(); ++c) {
    const int n = mesh_.getLineStripLengths()[c];
    if (!readCurve(points, n)) return false;
    points += n;
  }
  return true;
}

bool TopologyAlg::Impl::readCurve(int const* points, int n) {
  const int number = static_cast<int>(curves_.size());
  Curve curve{static_cast<int>(points_.size()), 0, 0, n > 2 && points[0] == points[n - 1]};
  const auto pointAt = [&](int i) {
    const MeshVertex& v = mesh_.getVertices()[points[i]];
    return PointFlt(v.x, v.y, v.z);
  };
  for (int i = 0; i < n; ++i) {
    if (points[i] < 0 || points[i] >= mesh_.getNumVertices()) return false;
    const PointFlt p = pointAt(i);
    if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) return false;
    if (i > 0) curve.length += std::sqrt(squaredDistance(pointAt(i - 1), p));
    if (i > 0 && (curve.length - arcs_.back() < kThinning * distance_ || (curve.closed && i == n - 1)))
      continue;
    points_.push_back(p);
    numbers_.push_back(points[i]);
    arcs_.push_back(curve.length);
    curveOfNode_.push_back(number);
  }
  curve.end = static_cast<int>(points_.size());
  curves_.push_back(curve);
  return true;
}

// ---- pairs ----

// Over some way, so that what a fine sampling does within the distance plays no part.
void TopologyAlg::Impl::computeWays() {
  ways_.clear();
  const double reach = kReachOfWay * distance_;
  for (int i = 0; i < static_cast<int>(points_.size()); ++i) {
    const Curve& curve = of(i);
    int before = i, after = i;
    for (int j = i; std::fabs(shortArc(before, i)) < reach && (curve.closed || j > curve.first);) {
      before = j = previous(j);
      if (j == i) break;
    }
    for (int j = i; std::fabs(shortArc(i, after)) < reach && (curve.closed || j + 1 < curve.end);) {
      after = j = next(j);
      if (j == i) break;
    }
    ways_.push_back(qvLinear::Normal(qvLinear::Point(points_[after]) - qvLinear::Point(points_[before])));
  }
}

// On its own curve only for want of another: what is left of a thin spike of the surface lies against its
// other side too. Of two that are about as near, where a curve comes back the way it went, the one that runs
// against it.
void TopologyAlg::Impl::findNearest(bool oriented) {
  const int n = static_cast<int>(points_.size());
  nearest_.assign(points_.size(), -1);
  for (int i = 0; i < n; ++i) {
    struct {
      bool own;
      double d;
      int node;
    } best{true, 0, -1};
    grid_->visitNear(points_[i], [&](int j, double d2) {
      const bool own = curveOf(j) == curveOf(i);
      const double d = std::sqrt(d2);
      const auto isBetter = [&](double at) {
        return best.node < 0 || std::tie(own, at, j) < std::tie(best.own, best.d, best.node);
      };
      if (!isBetter(d) || (own && !areApart(i, j, d))) return;
      const bool against = runAgainst(i, j);
      const double at = against ? d : d + kPreference * distance_;
      if ((against || !oriented) && isBetter(at)) best = {own, at, j};
    });
    nearest_[i] = best.node;
  }
}

// Whether two places of one curve are no neighbours along it, nor the sides of a spike.
bool TopologyAlg::Impl::areApart(int i, int j, double d) const {
  return std::fabs(shortArc(i, j)) > std::max(kLeastTurn * distance_, kSlimness * d);
}

// Whether two curves run opposite ways, or at least not the same, once they are oriented.
bool TopologyAlg::Impl::runAgainst(int i, int j) const {
  const double cosine = dot(ways_[i], ways_[j]);
  return (orientation.test(curveOf(i)) == orientation.test(curveOf(j)) ? cosine : -cosine) < kSameWay;
}

void TopologyAlg::Impl::findPairs() {
  pairs_.clear();
  for (int i = 0; i < static_cast<int>(points_.size()); ++i)
    if (nearest_[i] > i && nearest_[nearest_[i]] == i) pairs_.push_back({i, nearest_[i]});
  std::sort(pairs_.begin(), pairs_.end(), [this](const Pair& p, const Pair& q) {
    return std::tuple(curveOf(p.a), curveOf(p.b), p.a) < std::tuple(curveOf(q.a), curveOf(q.b), q.a);
  });
}

// Pairs that follow each other along one of the curves and are near along both. Either order may be disturbed
// by a pair that belongs elsewhere, hardly both at one place.
void TopologyAlg::Impl::linkPairs() {
  const int n = static_cast<int>(pairs_.size());
  linked_.emplace(n);
  qv::vector<int> order;
  for (int begin = 0, end = 0; begin < n; begin = end) {
    const auto curvesOf = [&](int i) { return std::pair(curveOf(pairs_[i].a), curveOf(pairs_[i].b)); };
    while (end < n && curvesOf(end) == curvesOf(begin)) ++end;
    order.resize(static_cast<std::size_t>(end - begin));
    std::iota(order.begin(), order.end(), begin);
    linkInOrder(order);
    std::sort(order.begin(), order.end(), [this](int i, int j) { return pairs_[i].b < pairs_[j].b; });
    linkInOrder(order);
  }
}

void TopologyAlg::Impl::linkInOrder(const qv::vector<int>& order) {
  int before = order.back();
  for (const int i : order) {
    const Pair &p = pairs_[before], &q = pairs_[i];
    if (std::fabs(shortArc(p.a, q.a)) <= kLargestGap * distance_ &&
        std::fabs(shortArc(p.b, q.b)) <= kLargestGap * distance_)
      linked_->join(before, i);
    before = i;
  }
}

// ---- chains ----

// @param oriented whether the curves are, so that only what runs opposite ways is looked for
void TopologyAlg::Impl::findChains(bool oriented) {
  findNearest(oriented);
  findPairs();
  linkPairs();
  chains_.clear();
  const int n = static_cast<int>(pairs_.size());
  qv::vector<int> order(pairs_.size());
  std::iota(order.begin(), order.end(), 0);
  qv::vector<int> roots(pairs_.size());
  for (int i = 0; i < n; ++i) roots[i] = linked_->root(i);
  std::stable_sort(order.begin(), order.end(), [&](int i, int j) { return roots[i] < roots[j]; });
  qv::vector<int> members;
  for (int begin = 0, end = 0; begin < n; begin = end) {
    while (end < n && roots[order[end]] == roots[order[begin]]) ++end;
    members.assign(order.begin() + begin, order.begin() + end);
    for (int round = 0; members.size() > 1 && round < kMostChains; ++round) addChain(members);
  }
}

// @param members linked pairs, along the first curve; left with those that were not in order with the rest
void TopologyAlg::Impl::addChain(qv::vector<int>& members) {
  const std::size_t n = members.size();
  const auto at = [&](std::size_t i) -> const Pair& { return pairs_[members[i % n]]; };
  // A closed curve is cut where the chain leaves most of it out.
  std::size_t start = 0;
  if (of(at(0).a).closed) {
    double widest = -1;
    for (std::size_t i = 0; i < n; ++i)
      if (const double gap = arc(at(i).a, at(i + 1).a); gap > widest) {
        widest = gap;
        start = i + 1;
      }
  }
  qv::vector<double> along{0};  // the other curve, unrolled
  int votes = 0;
  for (std::size_t i = 1; i < n; ++i) {
    const double step = shortArc(at(start + i - 1).b, at(start + i).b);
    votes += step > 0 ? 1 : -1;
    along.push_back(along.back() + step);
  }
  const bool sameSense = votes > 0;
  if (!sameSense)
    for (double& s : along) s = -s;
  qv::vector<Pair> pairs;
  const double turn = of(at(0).b).length;
  const qv::vector<int> rise = longestRise(along);
  for (const int i : rise) {
    if (!pairs.empty() && along[i] - along[rise[0]] >= turn) break;
    pairs.push_back(at(start + i));
    members[(start + i) % n] = -1;
  }
  cutChain(pairs, sameSense);
  std::erase(members, -1);
}

// What held these pairs together may be others that had to go.
void TopologyAlg::Impl::cutChain(const qv::vector<Pair>& pairs, bool sameSense) {
  const auto isNear = [&](const Pair& p, const Pair& q) {
    return arc(p.a, q.a) <= kLargestGap * distance_ &&
           (sameSense ? arc(p.b, q.b) : arc(q.b, p.b)) <= kLargestGap * distance_;
  };
  for (std::size_t begin = 0, end = 1; begin < pairs.size(); begin = end++) {
    while (end < pairs.size() && isNear(pairs[end - 1], pairs[end])) ++end;
    if (end - begin < 2) continue;
    const Pair &p = pairs[begin], &q = pairs[end - 1];
    const double length = std::min(arc(p.a, q.a), sameSense ? arc(p.b, q.b) : arc(q.b, p.b));
    chains_.push_back({{pairs.begin() + begin, pairs.begin() + end}, sameSense, length});
  }
}

// Whether its sides run the same way once the curves are oriented.
bool TopologyAlg::Impl::isReversed(const Chain& chain) const {
  const Pair& p = chain.pairs.front();
  return chain.sameSense == (orientation.test(curveOf(p.a)) == orientation.test(curveOf(p.b)));
}

// Long chains first; of the others what these leave over.
void TopologyAlg::Impl::acceptChains(qv::vector<Chain>& chains) {
  std::stable_sort(chains.begin(), chains.end(),
                   [](const Chain& a, const Chain& b) { return a.length > b.length; });
  qv::vector<Pair> run;
  for (const Chain& chain : chains) {
    run.clear();
    for (const Pair& p : chain.pairs) {
      const bool follows =
          run.empty() || (isFree(run.back().a, p.a) &&
                          (chain.sameSense ? isFree(run.back().b, p.b) : isFree(p.b, run.back().b)));
      if (!follows || taken_[p.a] || taken_[p.b]) {
        acceptRun(run, chain.sameSense);
        run.clear();
      }
      if (!taken_[p.a] && !taken_[p.b]) run.push_back(p);
    }
    acceptRun(run, chain.sameSense);
  }
}

bool TopologyAlg::Impl::isFree(int from, int to) const {
  for (int node = from; !taken_[node]; node = next(node))
    if (node == to) return true;
  return false;
}

void TopologyAlg::Impl::take(int from, int to) {
  taken_[from] = true;
  for (int node = from; node != to; taken_[node] = true) node = next(node);
}

void TopologyAlg::Impl::acceptRun(const qv::vector<Pair>& run, bool sameSense) {
  if (run.size() < 2) return;
  Stretch s{{run.front().a, run.front().b}, {run.back().a, run.back().b}};
  s.sameSense = sameSense;
  if (!sameSense) std::swap(s.first[1], s.last[1]);
  // A curve that folds onto itself may run into its own image.
  for (int node = s.first[0]; node != s.last[0]; node = next(node))
    if (node == s.first[1] || node == s.last[1]) return;
  for (const int side : {0, 1}) take(s.first[side], s.last[side]);
  stretches_.push_back(s);
}

// ---- stretches ----

void TopologyAlg::Impl::orderSides() {
  const int n = 2 * static_cast<int>(stretches_.size());
  qv::vector<Place> places;
  for (int side = 0; side < n; ++side) places.push_back({stretchOf(side).first[side % 2], side});
  std::sort(places.begin(), places.end(), [](const Place& a, const Place& b) { return a.first < b.first; });
  nextSide_.assign(static_cast<std::size_t>(n), -1);
  previousSide_ = nextSide_;
  for (int begin = 0, end = 0; begin < n; begin = end) {
    const Curve& curve = of(places[begin].first);
    while (end < n && places[end].first < curve.end) ++end;
    for (int i = begin; i < end; ++i) {
      if (i + 1 == end && !curve.closed) continue;
      const int side = places[i].side, following = places[i + 1 < end ? i + 1 : begin].side;
      nextSide_[side] = following;
      previousSide_[following] = side;
    }
  }
}

void TopologyAlg::Impl::unlink(int side) {
  const int before = previousSide_[side], after = nextSide_[side];
  if (before >= 0) nextSide_[before] = after;
  if (after >= 0) previousSide_[after] = before;
}

// Two that follow each other on both curves are one when what is between them is short, or lies within the
// distance as well; and one that follows itself is a whole curve against a whole curve.
void TopologyAlg::Impl::joinStretches() {
  for (int s = 0; s < static_cast<int>(stretches_.size()); ++s)
    while (stretches_[s].alive && !stretches_[s].circular) {
      const int side = nextSide_[2 * s];
      if (side < 0 || side % 2 != 0 || !tryJoin(s, side / 2)) break;
    }
}

bool TopologyAlg::Impl::tryJoin(int sNumber, int tNumber) {
  Stretch &s = stretches_[sNumber], &t = stretches_[tNumber];
  const int sSide = 2 * sNumber + 1, tSide = 2 * tNumber + 1;
  if (s.sameSense != t.sameSense) return false;
  if ((s.sameSense ? nextSide_[sSide] : previousSide_[sSide]) != tSide) return false;
  const int from0 = s.last[0], to0 = t.first[0];
  const int from1 = s.sameSense ? s.last[1] : t.last[1], to1 = s.sameSense ? t.first[1] : s.first[1];
  const bool close = arc(from0, to0) <= kLargestGap * distance_ && arc(from1, to1) <= kLargestGap * distance_;
  if (!close && !(isCovered(from0, to0, from1, to1) && isCovered(from1, to1, from0, to0))) return false;
  if (sNumber == tNumber) {
    s.circular = true;
    return true;
  }
  s.last[0] = t.last[0];
  if (s.sameSense) {
    s.last[1] = t.last[1];
  } else {
    s.first[1] = t.first[1];
  }
  unlink(tSide);
  unlink(tSide - 1);
  t.alive = false;
  return true;
}

// Whether all nodes between two of a curve have one within the distance between two of another curve.
bool TopologyAlg::Impl::isCovered(int from, int to, int otherFrom, int otherTo) const {
  const int range = steps(otherFrom, otherTo);
  for (int node = next(from); node != to; node = next(node)) {
    bool found = false;
    grid_->visitNear(points_[node], [&](int j, double) {
      found = found || (curveOf(j) == curveOf(otherFrom) && steps(otherFrom, j) <= range);
    });
    if (!found) return false;
  }
  return true;
}

void TopologyAlg::Impl::dropShort() {
  for (int i = 0; i < static_cast<int>(stretches_.size()); ++i) {
    Stretch& s = stretches_[i];
    if (!s.alive || s.circular || std::max(length(s, 0), length(s, 1)) >= kLeastLength * distance_) continue;
    s.alive = false;
    unlink(2 * i);
    unlink(2 * i + 1);
  }
}

// ---- common ends ----

// Where one stretch ends and another one begins shortly after, three pieces meet or more, and no hole is to
// stay between them: both take the same node, and all of these ends belong together.
void TopologyAlg::Impl::settleEnds() {
  struct Visit {
    int before, after;  // sides
  };
  qv::vector<Visit> visits;
  const int n = static_cast<int>(nextSide_.size());
  qvUtil::JoinedSets ends(n);
  for (int side = 0; side < n; ++side) {
    const int after = nextSide_[side];
    if (!stretchOf(side).alive || after < 0 || stretchOf(side).circular) continue;
    // A whole curve against part of another is one thing, two that part for a while are another.
    if (after == side && nextSide_[side ^ 1] == (side ^ 1)) continue;
    if (arc(stretchOf(side).last[side % 2], stretchOf(after).first[after % 2]) > kLargestTip * distance_)
      continue;
    visits.push_back({side, after});
    ends.join(endOf(side), endOf(after) ^ 1);
  }
  qv::vector<qvLinear::Vector> sums(static_cast<std::size_t>(n));
  qv::vector<int> counts(static_cast<std::size_t>(n));
  const auto add = [&](int end, int node) {
    sums[ends.root(end)] += qvLinear::Point(points_[node]) - qvLinear::Point();
    ++counts[ends.root(end)];
  };
  for (const Visit& v : visits) {
    add(endOf(v.before), stretchOf(v.before).last[v.before % 2]);
    add(endOf(v.before), stretchOf(v.after).first[v.after % 2]);
  }
  for (const Visit& v : visits) {
    int &last = stretchOf(v.before).last[v.before % 2], &first = stretchOf(v.after).first[v.after % 2];
    const int root = ends.root(endOf(v.before));
    first = last = settle(last, first, qvLinear::Point() + sums[root] * (1.0 / counts[root]));
  }
}

// Of the way from one node to another what is nearest to a point.
int TopologyAlg::Impl::settle(int from, int to, const qvLinear::Point& centre) const {
  int closest = from;
  for (int node = from;; node = next(node)) {
    if (distance2(qvLinear::Point(points_[node]), centre) <
        distance2(qvLinear::Point(points_[closest]), centre))
      closest = node;
    if (node == to) return closest;
  }
}

// ---- orientation ----

// Each curve counts twice, as it is and reversed: 2 c and 2 c + 1.
void TopologyAlg::Impl::orient() {
  const int n = static_cast<int>(curves_.size());
  orientation.resize(n);
  qvUtil::JoinedSets ways(2 * n);
  const auto agree = [&](int c, int d, bool reversed) {
    // Joining a curve to itself reversed would void its whole set.
    if (ways.root(2 * c) == ways.root(2 * d + !reversed)) return;
    ways.join(2 * c, 2 * d + reversed);
    ways.join(2 * c + 1, 2 * d + !reversed);
  };
  qv::vector<std::pair<int, int>> members;
  for (int c = 0; c < std::min(n, static_cast<int>(pieces.size())); ++c) members.emplace_back(pieces[c], c);
  std::sort(members.begin(), members.end());
  for (std::size_t i = 1; i < members.size(); ++i)
    if (members[i].first == members[i - 1].first) agree(members[i - 1].second, members[i].second, false);

  struct Neighbours {
    double length;
    int c, d;
    bool sameSense;
  };
  qv::vector<Neighbours> neighbours;
  for (const Chain& chain : chains_)
    neighbours.push_back(
        {chain.length, curveOf(chain.pairs[0].a), curveOf(chain.pairs[0].b), chain.sameSense});
  std::stable_sort(neighbours.begin(), neighbours.end(),
                   [](const Neighbours& a, const Neighbours& b) { return a.length > b.length; });
  for (const Neighbours& e : neighbours) agree(e.c, e.d, e.sameSense);

  // The lower of the two ways is that of the lowest curve as it is.
  const auto isReversed = [&](int c) { return ways.root(2 * c) > ways.root(2 * c + 1); };
  const auto setOf = [&](int c) { return std::min(ways.root(2 * c), ways.root(2 * c + 1)); };
  qv::vector<double> now(2 * static_cast<std::size_t>(n)), then(now);
  for (const Neighbours& e : neighbours) {
    if (!e.sameSense) now[setOf(e.c)] += e.length;
    if ((isReversed(e.c) != isReversed(e.d)) == e.sameSense) then[setOf(e.c)] += e.length;
  }
  for (int c = 0; c < n; ++c)
    if (isReversed(c) && then[setOf(c)] > kBetter * now[setOf(c)]) orientation.setBit(c);
}

// ---- edges ----

void TopologyAlg::Impl::makeEdges() {
  for (int i = 0; i < static_cast<int>(stretches_.size()); ++i) {
    const Stretch& s = stretches_[i];
    if (!s.alive) continue;
    const bool reversed =
        s.sameSense != (orientation.test(curveOf(s.first[0])) != orientation.test(curveOf(s.first[1])));
    for (const int side : {0, 1}) {
      int first = s.first[side], last = s.last[side];
      if (s.circular) first = last = side == 0 || s.sameSense ? first : last;
      edges_.push_back({curveOf(first), first, numbers_[first], numbers_[last], i, -1, s.circular, reversed});
    }
  }
  std::sort(edges_.begin(), edges_.end(),
            [](const EdgeRecord& a, const EdgeRecord& b) { return a.start < b.start; });
  qv::vector<int> sides(stretches_.size(), -1);
  for (int e = 0; e < numEdges(); ++e) {
    int& other = sides[edges_[e].stretch];
    if (other >= 0) {
      edges_[e].twin = other;
      edges_[other].twin = e;
    }
    other = e;
  }
}

// ---- what is public ----

TopologyAlg::TopologyAlg(CompactMesh const& curves) : impl_(std::make_unique<Impl>(curves)) {}
TopologyAlg::~TopologyAlg() = default;
bool TopologyAlg::compute(double distance) { return impl_->compute(distance); }
void TopologyAlg::setPieces(const qv::vector<int>& pieces) { impl_->pieces = pieces; }
const BitVector& TopologyAlg::getOrientation() const { return impl_->orientation; }
int TopologyAlg::getNumEdges() const { return impl_->numEdges(); }

qvLinear::PointFlt Vertex::getPosition() const {
  const MeshVertex& v = topology_->impl_->mesh().getVertices()[point_];
  return {v.x, v.y, v.z};
}

bool Edge::isCircular() const { return topology_->impl_->edge(index_).circular; }
bool Edge::isTwinReversed() const { return topology_->impl_->edge(index_).reversed; }
Edge Edge::getTwin() const { return Edge(*topology_, topology_->impl_->edge(index_).twin); }
int Edge::getFirstPoint() const { return topology_->impl_->edge(index_).firstPoint; }
int Edge::getSecondPoint() const { return topology_->impl_->edge(index_).secondPoint; }
int Edge::getCurve() const { return topology_->impl_->edge(index_).curve; }

}  // namespace qvGeom::MeshLineTopology
