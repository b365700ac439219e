#include "geom/topology/lexicographic_sort.h"

#include <algorithm>
#include <bit>
#include <utility>

// All items are sorted by the first column. Items that tie form runs; those take their keys from the next
// column and are sorted among themselves, and so on. Every run lies in one piece, so that runs are
// independent of each other and each is worked on while its records are in the cache.

namespace qvGeom {

namespace {

// Negative floats have all bits inverted, positive ones the sign alone.
std::uint32_t orderedBits(float value) {
  constexpr std::uint32_t sign = 0x80000000u;
  const auto bits = std::bit_cast<std::uint32_t>(value);
  if (bits == sign) return sign;  // -0.0, which has the key of 0.0
  return bits & sign ? ~bits : bits | sign;
}

// body(part, begin, end) for contiguous parts of [0, n).
template <typename Body>
class PartsAlg final : public qvUtil::ThreadedChunkAlg {
 public:
  PartsAlg(int parts, int n, const Body& body) : ThreadedChunkAlg(parts), n_(n), body_(body) {}

  void executeChunk(int part, int, int) override {
    body_(part, getBeginIndex(part, getNumChunks(), n_), getBeginIndex(part + 1, getNumChunks(), n_));
  }

 private:
  int n_;
  const Body& body_;
};

template <typename Body>
void forEachPart(qvUtil::ThreadPool& pool, std::size_t parts, int n, const Body& body) {
  if (parts == 1) return body(0, 0, n);
  PartsAlg<Body> alg(static_cast<int>(parts), n, body);
  pool.runChunks(alg);
}

}  // namespace

LexicographicSort::LexicographicSort(std::span<const FloatColumn> columns, int n, qvUtil::ThreadPool& pool)
    : columns_(columns),
      n_(n),
      pool_(pool),
      counts_(std::clamp(n / kItemsPerPart, 1, std::min(pool.getNumThreads(), kMaxParts))),
      items_(std::make_unique_for_overwrite<Item[]>(static_cast<std::size_t>(n))),
      scratch_(std::make_unique_for_overwrite<Item[]>(static_cast<std::size_t>(n))) {
  forEachPart(pool_, counts_.size(), n_, [&](int, int begin, int end) {
    for (int i = begin; i < end; ++i) items_[i] = static_cast<Item>(i);
  });
  std::size_t column = 0;
  // A column of one value, as in a flat mesh, makes one run of everything, which would fall to one thread.
  do {
    forEachPart(pool_, counts_.size(), n_,
                [&](int, int begin, int end) { loadKeys(begin, end, columns_[column]); });
    sortItems(0, n_, counts_);
  } while (keyOf(items_[0]) == keyOf(items_[n_ - 1]) && ++column < columns_.size());
  sortRuns(column + 1);
}

int LexicographicSort::numberGroups(Remap& remap) {
  qv::vector<int> starts(counts_.size() + 1);
  forEachPart(pool_, counts_.size(), n_, [&](int part, int begin, int end) {
    starts[part + 1] = static_cast<int>(std::count_if(items_.get() + begin, items_.get() + end,
                                                      [](Item item) { return !(item & kRepeats); }));
  });
  for (std::size_t part = 1; part < starts.size(); ++part) starts[part] += starts[part - 1];
  forEachPart(pool_, counts_.size(), n_, [&](int part, int begin, int end) {
    int group = starts[part] - 1;
    for (int i = begin; i < end; ++i) {
      group += items_[i] & kRepeats ? 0 : 1;
      remap.set(indexOf(items_[i]), group);
    }
  });
  return starts.back();
}

void LexicographicSort::loadKeys(int begin, int end, const FloatColumn& column) {
  for (int i = begin; i < end; ++i) {
    const int record = indexOf(items_[i]);
    items_[i] = Item{orderedBits(column[record])} << kKeyShift | static_cast<Item>(record);
  }
}

// Items come in increasing index, and no pass changes the order of equal digits: the index need not be looked
// at.
void LexicographicSort::sortItems(int begin, int end, std::span<Counts> counts) {
  Item* from = items_.get() + begin;
  Item* to = scratch_.get() + begin;
  for (int shift = kKeyShift; shift < 64; shift += kDigitBits)
    if (sortByDigit(from, to, end - begin, shift, counts)) std::swap(from, to);
  if (from != items_.get() + begin) std::copy_n(from, end - begin, to);
}

// False, with nothing moved, when all items have the same digit. There are as many parts as counters.
bool LexicographicSort::sortByDigit(Item const* from, Item* to, int n, int shift, std::span<Counts> counts) {
  const auto digit = [shift](Item item) { return (item >> shift) & (kDigits - 1); };
  forEachPart(pool_, counts.size(), n, [&](int part, int begin, int end) {
    counts[part].fill(0);
    for (int i = begin; i < end; ++i) ++counts[part][digit(from[i])];
  });
  int place = 0;
  for (int d = 0; d < kDigits; ++d) {
    const int before = place;
    for (Counts& count : counts) place += std::exchange(count[d], place);
    if (place - before == n) return false;
  }
  forEachPart(pool_, counts.size(), n, [&](int part, int begin, int end) {
    for (int i = begin; i < end; ++i) to[counts[part][digit(from[i])]++] = from[i];
  });
  return true;
}

void LexicographicSort::sortRuns(std::size_t column) {
  // Found beforehand: while one thread gives its runs new keys, another could not tell where its own begin.
  qv::vector<int> bounds(counts_.size() + 1, n_);
  forEachPart(pool_, counts_.size(), n_, [&](int part, int begin, int) {
    while (begin > 0 && begin < n_ && keyOf(items_[begin]) == keyOf(items_[begin - 1])) ++begin;
    bounds[part] = begin;
  });
  forEachPart(pool_, counts_.size(), n_, [&](int part, int, int) {
    sortRuns(bounds[part], bounds[part + 1], column, std::span(counts_).subspan(part, 1));
  });
}

// Whole runs lie in [begin, end): equal in all columns before the given one.
void LexicographicSort::sortRuns(int begin, int end, std::size_t column, std::span<Counts> counts) {
  for (int first = begin, last; first < end; first = last) {
    last = first + 1;
    while (last < end && keyOf(items_[last]) == keyOf(items_[first])) ++last;
    if (last - first == 1) continue;
    if (column >= columns_.size()) {
      for (int i = first + 1; i < last; ++i) items_[i] |= kRepeats;
      continue;
    }
    loadKeys(first, last, columns_[column]);
    if (last - first < kShortRun) {
      std::sort(items_.get() + first, items_.get() + last);
    } else {
      sortItems(first, last, counts);
    }
    sortRuns(first, last, column + 1, counts);
  }
}

}  // namespace qvGeom
