#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/threading.h"
#include "geom/model/trellis/remap.h"

namespace qvGeom {

/// One component of all records of an array.
struct FloatColumn {
  float const* values;
  int stride;

  float operator[](int record) const { return values[std::ptrdiff_t{stride} * record]; }
};

/// Records 0 to n - 1 in lexicographic order of some columns, equal ones in order of index. The values hold
/// no NaN; 0.0 and -0.0 are equal, and infinities are values like others.
///
/// The order is that of a stable sort by comparison, on any number of threads, but is found by counting: O(n)
/// for each column that must be looked at to tell records apart. Two arrays of 8 n bytes.
class LexicographicSort {
 public:
  /// Sorts. @param columns at least one @param n at least 1
  LexicographicSort(std::span<const FloatColumn> columns, int n, qvUtil::ThreadPool& pool);

  /// Maps every record to the number of different records before it, so that equal ones share an image.
  /// @param remap of domain n; its range is left alone
  /// @return the number of different records
  int numberGroups(Remap& remap);

 private:
  // The bits of one coordinate, in an encoding that orders as the floats do, above the index of the record.
  // No two items are equal, so they have one sorted order only, however the work is split: the stable one.
  using Item = std::uint64_t;
  static constexpr int kKeyShift = 32;
  static constexpr Item kIndexMask = 0x7fffffff;
  // Bit between the two, set at the end: all columns are equal to those of the item before.
  static constexpr Item kRepeats = 0x80000000;

  static constexpr int kDigitBits = 11;  // three passes, with counters that fit the first-level cache
  static constexpr int kDigits = 1 << kDigitBits;
  static constexpr int kShortRun = 1024;         // below, comparing is faster than clearing counters
  static constexpr int kItemsPerPart = 1 << 15;  // with fewer, waking a thread costs more than it saves
  static constexpr int kMaxParts = 8;            // of the whole, worked on in parallel

  using Counts = std::array<int, kDigits>;

  static std::uint32_t keyOf(Item item) { return static_cast<std::uint32_t>(item >> kKeyShift); }
  static int indexOf(Item item) { return static_cast<int>(item & kIndexMask); }

  void loadKeys(int begin, int end, const FloatColumn& column);
  void sortItems(int begin, int end, std::span<Counts> counts);
  bool sortByDigit(Item const* from, Item* to, int n, int shift, std::span<Counts> counts);
  void sortRuns(std::size_t column);
  void sortRuns(int begin, int end, std::size_t column, std::span<Counts> counts);

  std::span<const FloatColumn> columns_;
  int n_;
  qvUtil::ThreadPool& pool_;
  qv::vector<Counts> counts_;  // one for each part
  std::unique_ptr<Item[]> items_;
  std::unique_ptr<Item[]> scratch_;
};

}  // namespace qvGeom
