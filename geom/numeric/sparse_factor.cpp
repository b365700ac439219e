#include "geom/numeric/sparse_factor.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace qvGeom {

using qvLinear::Point;

// Asks for cancellation each time some milliseconds of work are done.
class Patience {
 public:
  explicit Patience(qvUtil::Progress& progress) : progress_(progress) {}
  /// @param work elements looked at @return whether the task was cancelled
  bool endsAfter(std::int64_t work) {
    left_ -= work;
    if (left_ > 0) return cancelled_;
    left_ = kWork;
    return cancelled_ = cancelled_ || progress_.cancelled();
  }

 private:
  static constexpr std::int64_t kWork = 1 << 20;

  qvUtil::Progress& progress_;
  std::int64_t left_ = 0;
  bool cancelled_ = false;
};

namespace {

// Relative to the diagonal: a matrix that is singular but for rounding has no factor worth using.
constexpr double kPivotTol = 1e-13;

class Dissection {
 public:
  Dissection(const SymmetricRows& rows, const qv::vector<Point>& points, Patience& patience)
      : rows_(rows), points_(points), patience_(patience), part_(points.size(), 0), order_(points.size()) {
    std::iota(order_.begin(), order_.end(), 0);
  }
  qv::vector<int> run() {
    divide(0, rows_.size());
    return std::move(order_);
  }

 private:
  static constexpr int kSmallest = 24;  // rows that are not worth dividing

  int longestAxis(int begin, int end) const {
    Point low = points_[order_[begin]];
    Point high = low;
    for (int i = begin; i < end; ++i)
      for (int k = 0; k < 3; ++k) {
        low[k] = std::min(low[k], points_[order_[i]][k]);
        high[k] = std::max(high[k], points_[order_[i]][k]);
      }
    const qvLinear::Vector size = high - low;
    return static_cast<int>(std::max_element(size.c, size.c + 3) - size.c);
  }

  // Halves the range across its longest side, and puts those of the lower half that touch the upper one
  // behind both.
  void divide(int begin, int end) {
    if (end - begin <= kSmallest || patience_.endsAfter(10 * std::int64_t{end - begin})) return;
    const int axis = longestAxis(begin, end);
    const int middle = begin + (end - begin) / 2;
    const auto first = order_.begin();
    std::nth_element(first + begin, first + middle, first + end, [&](int a, int b) {
      const double pa = points_[a][axis], pb = points_[b][axis];
      return pa != pb ? pa < pb : a < b;
    });
    ++lastPart_;
    for (int i = middle; i < end; ++i) part_[order_[i]] = lastPart_;
    const auto isApart = [&, upper = lastPart_](int row) {
      for (int e = rows_.starts[row]; e < rows_.starts[row + 1]; ++e)
        if (part_[rows_.columns[e]] == upper) return false;
      return true;
    };
    const int seam = static_cast<int>(std::stable_partition(first + begin, first + middle, isApart) - first);
    std::rotate(first + seam, first + middle, first + end);
    divide(begin, seam);
    divide(seam, seam + (end - middle));
  }

  const SymmetricRows& rows_;
  const qv::vector<Point>& points_;
  Patience& patience_;
  qv::vector<int> part_;  // the last upper half that each row was in
  int lastPart_ = 0;
  qv::vector<int> order_;
};

}  // namespace

template <typename Value, int kWidth>
struct SparseFactor<Value, kWidth>::Above {
  /// @return false when cancelled
  bool take(const SymmetricRows& rows, const qv::vector<int>& order, Patience& patience) {
    const int n = rows.size();
    qv::vector<int> newRow(order.size());
    for (int k = 0; k < n; ++k) newRow[order[k]] = k;
    diagonal.reserve(order.size());
    starts.reserve(order.size() + 1);
    columns.reserve(rows.columns.size() / 2);
    values.reserve(rows.columns.size() / 2);
    for (int k = 0; k < n; ++k) {
      const int row = order[k];
      diagonal.push_back(rows.diagonal[row]);
      starts.push_back(static_cast<int>(columns.size()));
      for (int e = rows.starts[row]; e < rows.starts[row + 1]; ++e) {
        if (newRow[rows.columns[e]] >= k) continue;
        columns.push_back(newRow[rows.columns[e]]);
        values.push_back(rows.values[e]);
      }
      if (patience.endsAfter(rows.starts[row + 1] - rows.starts[row] + 1)) return false;
    }
    starts.push_back(static_cast<int>(columns.size()));
    return true;
  }

  qv::vector<double> diagonal;
  qv::vector<int> starts;
  qv::vector<int> columns;
  qv::vector<double> values;
};

template <typename Value, int kWidth>
FactorOutcome SparseFactor<Value, kWidth>::factor(SymmetricRows rows, const qv::vector<Point>& points,
                                                  qvUtil::Progress& progress) {
  Patience patience(progress);
  order_ = Dissection(rows, points, patience).run();
  Above above;
  if (patience.endsAfter(0) || !above.take(rows, order_, patience)) return FactorOutcome::cancelled;
  rows = {};
  if (!analyse(above, patience)) return FactorOutcome::cancelled;
  return compute(above, patience);
}

// Row k of L has an element in every column on the way from those of the matrix up the tree to k.
template <typename Value, int kWidth>
bool SparseFactor<Value, kWidth>::analyse(const Above& rows, Patience& patience) {
  const int n = static_cast<int>(order_.size());
  parent_.assign(order_.size(), -1);
  starts_.assign(order_.size() + 1, 0);
  qv::vector<int> seenBy(order_.size(), -1);
  for (int k = 0; k < n; ++k) {
    seenBy[k] = k;
    int length = 0;
    for (int e = rows.starts[k]; e < rows.starts[k + 1]; ++e)
      for (int i = rows.columns[e]; seenBy[i] != k; i = parent_[i]) {
        if (parent_[i] < 0) parent_[i] = k;
        ++starts_[i + 1];
        ++length;
        seenBy[i] = k;
      }
    if (patience.endsAfter(length + 1)) return false;
  }
  std::partial_sum(starts_.begin(), starts_.end(), starts_.begin());
  return true;
}

template <typename Value, int kWidth>
FactorOutcome SparseFactor<Value, kWidth>::compute(const Above& rows, Patience& patience) {
  const int n = static_cast<int>(order_.size());
  const auto elements = static_cast<std::size_t>(starts_.back());
  rows_ = qvUtil::LargeArray<int>(elements);
  values_ = qvUtil::LargeArray<Value>(elements);
  inverseD_.resize(order_.size());
  work_.assign(kLanes * order_.size(), 0);
  qv::vector<std::int64_t> ends(starts_.begin(), starts_.end() - 1);  // of what each column has so far
  qv::vector<double> row(order_.size(), 0);
  qv::vector<int> seenBy(order_.size(), -1);
  qv::vector<int> pattern(
      order_.size());  // columns of the row, from `top` on, in an order that respects the tree
  for (int k = 0; k < n; ++k) {
    int top = n;
    seenBy[k] = k;
    for (int e = rows.starts[k]; e < rows.starts[k + 1]; ++e) {
      int length = 0;
      row[rows.columns[e]] += rows.values[e];
      for (int i = rows.columns[e]; seenBy[i] != k; i = parent_[i]) {
        pattern[length++] = i;
        seenBy[i] = k;
      }
      while (length > 0) pattern[--top] = pattern[--length];
    }
    double d = rows.diagonal[k];
    for (; top < n; ++top) {
      const int i = pattern[top];
      const double y = row[i];
      row[i] = 0;
      if (patience.endsAfter(ends[i] - starts_[i] + 1)) return FactorOutcome::cancelled;
      for (std::int64_t e = starts_[i]; e < ends[i]; ++e) row[rows_[e]] -= values_[e] * y;
      const double l = y * inverseD_[i];
      d -= l * y;
      rows_[ends[i]] = k;
      values_[ends[i]++] = static_cast<Value>(l);
    }
    if (!(d > kPivotTol * rows.diagonal[k])) return FactorOutcome::notDefinite;
    inverseD_[k] = 1 / d;
  }
  return FactorOutcome::done;
}

template <typename Value, int kWidth>
void SparseFactor<Value, kWidth>::solve(double* x, qvUtil::Progress* progress) const {
  constexpr int kAskEvery = 1 << 12;  // rows; some ten milliseconds of the longest
  const auto isCancelled = [progress](int k) {
    return progress && k % kAskEvery == 0 && progress->cancelled();
  };
  const int n = static_cast<int>(order_.size());
  double* const w = work_.data();
  const int* const rows = rows_.get();
  const Value* const values = values_.get();
  for (int k = 0; k < n; ++k)
    for (int d = 0; d < kWidth; ++d) w[kLanes * k + d] = x[kWidth * order_[k] + d];
  for (int k = 0; k < n; ++k) {
    if (isCancelled(k)) return;
    double at[kLanes];
    std::copy_n(w + kLanes * k, kLanes, at);
    for (std::int64_t e = starts_[k]; e < starts_[k + 1]; ++e) {
      double* const to = w + std::ptrdiff_t{kLanes} * rows[e];
      const double value = values[e];
      for (int d = 0; d < kLanes; ++d) to[d] -= value * at[d];
    }
  }
  for (int k = n - 1; k >= 0; --k) {
    if (isCancelled(k)) return;
    double sum[kLanes];
    for (int d = 0; d < kLanes; ++d) sum[d] = w[kLanes * k + d] * inverseD_[k];
    for (std::int64_t e = starts_[k]; e < starts_[k + 1]; ++e) {
      const double* const from = w + std::ptrdiff_t{kLanes} * rows[e];
      const double value = values[e];
      for (int d = 0; d < kLanes; ++d) sum[d] -= value * from[d];
    }
    std::copy_n(sum, kLanes, w + kLanes * k);
    std::copy_n(sum, kWidth, x + kWidth * order_[k]);
  }
}

template class SparseFactor<float, 3>;
template class SparseFactor<double, 1>;

}  // namespace qvGeom
