#include "geom/numeric/sparse_matrix.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iostream>
#include <string>
#include <utility>

#include "geom/numeric/packed_rows.h"

namespace qvGeom {

namespace {

constexpr double kSymmetryTol = 1e-6;
constexpr int kFirstCapacity =
    16;  // elements a row: six neighbours of a vertex and itself, two unknowns each

std::size_t rowCount(int n) { return n < 1 ? 0 : static_cast<std::size_t>(n); }

double rowTimes(const qv::vector<SparseElement>& row, const NVector& x) {
  double sum = 0;
  for (const SparseElement& element : row) sum += element.value * x[element.column];
  return sum;
}

// With a point for every locale.
std::string elementText(double value) {
  char text[330];  // the largest double has 309 digits before the point
  const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 10).ptr;
  return std::string(text, end);
}

}  // namespace

SparseMatrix::SparseMatrix(int n) : rows_(rowCount(n)) {}
SparseMatrix::SparseMatrix(const SparseMatrix& other) { copy(other); }
SparseMatrix::SparseMatrix(SparseMatrix&& other) noexcept = default;
SparseMatrix& SparseMatrix::operator=(SparseMatrix&& other) noexcept = default;
SparseMatrix::~SparseMatrix() = default;

SparseMatrix& SparseMatrix::operator=(const SparseMatrix& other) {
  if (this != &other) copy(other);
  return *this;
}

void SparseMatrix::copy(const SparseMatrix& other) {
  packed_.reset();
  rows_ = other.rows_;
}

int SparseMatrix::nnz() const {
  int count = 0;
  for (const auto& row : rows_) count += static_cast<int>(row.size());
  return count;
}

void SparseMatrix::addToElement(int i, int j, double v) {
  if (i < 0 || i >= size() || j < 0 || j >= size()) return;
  packed_.reset();
  auto& row = rows_[i];
  for (std::size_t e = row.size(); e-- > 0;)
    if (row[e].column == j) {
      row[e].value += v;
      return;
    }
  if (row.empty()) row.reserve(kFirstCapacity);
  row.emplace_back(j, v);
}

bool SparseMatrix::getElement(int i, int j, double& v) const {
  if (i < 0 || i >= size()) return false;
  const auto& row = rows_[i];
  for (std::size_t e = row.size(); e-- > 0;)
    if (row[e].column == j) {
      v = row[e].value;
      return true;
    }
  return false;
}

double SparseMatrix::getElement(int i, int j) const {
  double value = 0;
  getElement(i, j, value);
  return value;
}

void SparseMatrix::setToZero(int n) {
  packed_.reset();
  rows_.clear();
  rows_.resize(rowCount(n));
}

bool SparseMatrix::isSymmetric() const {
  for (int i = 0; i < size(); ++i)
    for (auto element = rows_[i].rbegin(); element != rows_[i].rend(); ++element)
      if (element->column != i &&
          !(std::fabs(element->value - getElement(element->column, i)) < kSymmetryTol))
        return false;
  return true;
}

bool SparseMatrix::isMMatrix() const {
  bool anyPositiveSum = false;
  for (int i = 0; i < size(); ++i) {
    double sum = 0;
    for (const SparseElement& element : rows_[i]) {
      if (element.column == i ? element.value <= 0 : element.value > 0) return false;
      sum += element.value;
    }
    if (sum < 0) return false;
    if (sum > 0) anyPositiveSum = true;
  }
  return anyPositiveSum;
}

bool SparseMatrix::isPositiveDefinite() const {
  SparseMatrix factor;
  return choleskyFactorization(factor);
}

void SparseMatrix::getUpperTriangular(SparseMatrix& out) const {
  if (out.size() != size() || &out == this) return;
  out.packed_.reset();
  for (int i = 0; i < size(); ++i)
    for (const SparseElement& element : rows_[i])
      if (element.column >= i) out.rows_[i].push_back(element);
}

void SparseMatrix::transpose(SparseMatrix& out) const {
  SparseMatrix result(size());
  for (int i = 0; i < size(); ++i)
    // Ascending rows meet a column of the result at its end or not at all.
    for (const SparseElement& element : rows_[i]) result.addToElement(element.column, i, element.value);
  out = std::move(result);
}

bool SparseMatrix::choleskyFactorization(SparseMatrix& L) const {
  SparseMatrix factor(size());
  bool positive = true;
  for (int j = 0; j < size() && positive; ++j)
    for (int i = j; i < size(); ++i) {
      // Every column before this one is there, so that an element stands at its own number.
      const auto& a = factor.rows_[i];
      const auto& b = factor.rows_[j];
      double sum = getElement(j, i);
      for (int k = j - 1; k >= 0; --k) sum -= a[k].value * b[k].value;
      if (i == j && !(sum > 0)) {
        positive = false;
        break;
      }
      factor.rows_[i].emplace_back(j, i == j ? std::sqrt(sum) : sum / factor.rows_[j][j].value);
    }
  L = std::move(factor);
  return positive;
}

bool SparseMatrix::prepareProducts(qvUtil::Progress& progress) {
  if (packed_) return true;
  auto packed = std::make_unique<PackedRows>();
  if (!packed->pack(rows_, &progress)) return false;
  packed_ = std::move(packed);
  return true;
}

const PackedRows& SparseMatrix::packed() const {
  if (!packed_) {
    packed_ = std::make_unique<PackedRows>();
    packed_->pack(rows_, nullptr);
  }
  return *packed_;
}

void SparseMatrix::getMatrixTimesVector(const NVector& x, NVector& y) const {
  getMatrixTimesVectorAndDot(x, y);
}

double SparseMatrix::getMatrixTimesVectorAndDot(const NVector& x, NVector& y) const {
  if (x.size() != size() || y.size() != size()) return 0;
  const double product = packed().multiply(x.data(), y.data());
  // A finite sum of products has met no infinity and no NaN.
  if (std::isfinite(product) || !packed().leftOut()) return product;
  for (int i = 0; i < size(); ++i) y[i] = rowTimes(rows_[i], x);
  return x.dot(y);
}

void SparseMatrix::getVectorMinusMatrixTimesVector(const NVector& b, const NVector& x, NVector& r) const {
  if (b.size() != size() || x.size() != size() || r.size() != size()) return;
  getMatrixTimesVector(x, r);
  r.setToVectorPlusScalarTimesVector(b, -1, r);
}

double SparseMatrix::vectorDotMatrixTimesVector(const NVector& u, const NVector& v) const {
  if (u.size() != size() || v.size() != size()) return 0;
  double sum = 0;
  for (int i = 0; i < size(); ++i) sum += u[i] * rowTimes(rows_[i], v);
  return sum;
}

void SparseMatrix::dumpRowLengths() const {
  qv::vector<int> counts;
  for (const auto& row : rows_) {
    if (row.size() >= counts.size()) counts.resize(row.size() + 1);
    ++counts[row.size()];
  }
  std::cout << "  total rows: " << size();
  for (std::size_t length = 0; length < counts.size(); ++length)
    if (counts[length] > 0) std::cout << "  length " << length << ": " << counts[length] << " rows";
}

qvString::CString SparseMatrix::toMmaString() const {
  std::string text = "{\n";
  for (int i = 0; i < size(); ++i) {
    text += '{';
    for (int j = 0; j < size(); ++j) {
      if (j > 0) text += ',';
      text += elementText(getElement(i, j));
    }
    text += i + 1 < size() ? "},\n" : "}\n";
  }
  return qvString::CString((text + "}").c_str());
}

std::ostream& operator<<(std::ostream& out, const SparseMatrix& matrix) {
  out << "SparseMatrix{";
  for (int i = 0; i < matrix.size(); ++i) {
    out << std::endl;
    for (int j = 0; j < matrix.size(); ++j) {
      const double value = matrix.getElement(i, j);
      out << (value < 0 ? " " : "  ") << elementText(value);
    }
  }
  return out << "\n}";
}

}  // namespace qvGeom
