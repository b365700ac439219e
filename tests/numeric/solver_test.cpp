#include <bit>
#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <sstream>

#include "geom/numeric/conjugate_gradient.h"

namespace qvGeom {
namespace {

using testing::ElementsAre;
using Dense = std::vector<std::vector<double>>;

SparseMatrix sparse(const Dense& rows) {
  const int n = static_cast<int>(rows.size());
  SparseMatrix matrix(n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      if (rows[i][j] != 0) matrix.addToElement(i, j, rows[i][j]);
  return matrix;
}

NVector vectorOf(const std::vector<double>& values) {
  NVector v(static_cast<int>(values.size()));
  for (int i = 0; i < v.size(); ++i) v[i] = values[i];
  return v;
}

std::vector<std::uint64_t> bitsOf(const NVector& v) {
  std::vector<std::uint64_t> bits;
  for (int i = 0; i < v.size(); ++i) bits.push_back(std::bit_cast<std::uint64_t>(v[i]));
  return bits;
}

// Rows in a shuffled order of elements, some of which are zero, in interleaved blocks of like rows as systems
// of points have them. Diagonally dominant, hence positive definite.
struct RandomSystem {
  explicit RandomSystem(unsigned seed, int points, int perPoint) : A(points * perPoint), b(A.size()) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> number(-1, 1);
    std::uniform_int_distribution<int> point(0, points - 1);
    for (int edge = 0; edge < 3 * points; ++edge) {
      const int i = point(random), j = point(random);
      const double weight = edge % 5 == 0 ? 0 : number(random);
      for (int k = 0; k < perPoint && i != j; ++k) {
        A.addToElement(perPoint * i + k, perPoint * j + k, weight);
        A.addToElement(perPoint * j + k, perPoint * i + k, weight);
        for (const int at : {i, j})
          A.addToElement(perPoint * at + k, perPoint * at + k, std::fabs(weight) + 0.01);
      }
    }
    for (int i = 0; i < A.size(); ++i) {
      A.addToElement(i, i, 0.5);
      b[i] = number(random);
    }
  }
  SparseMatrix A;
  NVector b;
};

NVector plainProduct(const SparseMatrix& A, const NVector& x) {
  NVector y(A.size());
  for (int i = 0; i < A.size(); ++i)
    for (const SparseElement& element : A.row(i)) y[i] += element.value * x[element.column];
  return y;
}

TEST(SparseMatrix, KeepsElementsInTheirOrderAndRefusesOthers) {
  SparseMatrix matrix(2);
  for (const int pass : {1, 2}) matrix.addToElement(0, 1, 1.0 + pass * 0.5);
  matrix.addToElement(0, 0, 0);
  for (const auto& [i, j] : {std::pair(-1, 0), {0, -1}, {2, 0}, {0, 2}}) matrix.addToElement(i, j, 1);
  double value = 7;
  EXPECT_FALSE(matrix.getElement(1, 0, value) || matrix.getElement(5, 5, value));
  EXPECT_EQ(7, value);
  EXPECT_EQ(3.5, matrix.getElement(0, 1));
  EXPECT_EQ(2, matrix.nnz());
  EXPECT_EQ(1, matrix.row(0)[0].column);
  EXPECT_EQ(0, SparseMatrix(-3).size());
}

TEST(SparseMatrix, TellsItsKind) {
  EXPECT_TRUE(sparse({{1, 1}, {1 + 5e-7, 1}}).isSymmetric());
  EXPECT_FALSE(sparse({{1, 1}, {1 + 2e-6, 1}}).isSymmetric());
  EXPECT_TRUE(SparseMatrix().isSymmetric());
  EXPECT_FALSE(SparseMatrix().isMMatrix());
  EXPECT_TRUE(sparse({{2, -1}, {-1, 2}}).isMMatrix());
  const Dense none[] = {{{1, -1}, {-1, 1}}, {{2, 1}, {1, 2}}, {{-1, 0}, {0, 2}}, {{2, -3}, {0, 2}}};
  for (const Dense& rows : none) EXPECT_FALSE(sparse(rows).isMMatrix());
  SparseMatrix L;
  EXPECT_TRUE(sparse({{4, 2}, {2, 3}}).choleskyFactorization(L));
  EXPECT_EQ(2, L.getElement(0, 0));
  EXPECT_EQ(1, L.getElement(1, 0));
  EXPECT_EQ(std::sqrt(2.0), L.getElement(1, 1));
  EXPECT_FALSE(sparse({{1, 2}, {2, 1}}).isPositiveDefinite());
}

TEST(SparseMatrix, PrintsItself) {
  std::ostringstream out;
  out << sparse({{1, 0}, {0, 1}}) << sparse({{-1}}) << vectorOf({1, 2.5}) << NVector();
  EXPECT_EQ(
      "SparseMatrix{\n  1.0000000000  0.0000000000\n  0.0000000000  1.0000000000\n}"
      "SparseMatrix{\n -1.0000000000\n}(1 2.5 )()",
      out.str());
  EXPECT_STREQ("{\n{1.0000000000,0.0000000000},\n{0.0000000000,1.0000000000}\n}",
               sparse({{1, 0}, {0, 1}}).toMmaString().c_str());
  testing::internal::CaptureStdout();
  sparse({{1, 2, 3}, {0, 1, 0}, {0, 0, 1}}).dumpRowLengths();
  EXPECT_EQ("  total rows: 3  length 1: 2 rows  length 3: 1 rows", testing::internal::GetCapturedStdout());
}

TEST(SparseMatrix, ProductsHaveTheBitsOfTheRows) {
  for (unsigned seed = 1; seed <= 30; ++seed)
    for (const int perPoint : {1, 2, 3, 4}) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << perPoint << " unknowns a point");
      RandomSystem system(seed, 40, perPoint);
      const SparseMatrix& A = system.A;
      const int n = A.size();
      NVector x = system.b, y(n), r(n);
      for (int pass = 0; pass < 3; ++pass) {
        qvUtil::Progress calm, cancelled;
        cancelled.cancel();
        EXPECT_EQ(system.A.prepareProducts(cancelled), pass == 2);  // pass 1 left it prepared
        if (pass == 1) {
          EXPECT_TRUE(system.A.prepareProducts(calm));
        }
        const NVector expected = plainProduct(A, x);
        const double product = A.getMatrixTimesVectorAndDot(x, y);
        EXPECT_THAT(bitsOf(y), testing::ContainerEq(bitsOf(expected)));
        A.getMatrixTimesVector(x, y);
        EXPECT_THAT(bitsOf(y), testing::ContainerEq(bitsOf(expected)));
        A.getVectorMinusMatrixTimesVector(system.b, x, r);
        const NVector kept = r;
        A.getVectorMinusMatrixTimesVector(system.b, NVector(n + 1), r);
        EXPECT_EQ(bitsOf(kept), bitsOf(r)) << "a vector of another size";
        double reversed = 0, forward = 0;
        for (int i = n - 1; i >= 0; --i) reversed += x[i] * expected[i];
        for (int i = 0; i < n; ++i) forward += x[i] * expected[i];
        if (pass < 2) {
          EXPECT_EQ(reversed, product);
          EXPECT_EQ(forward, A.vectorDotMatrixTimesVector(x, x));
          for (int i = 0; i < n; ++i) EXPECT_EQ(system.b[i] - expected[i], r[i]);
        }
        // Then with a row that no longer repeats, then with an infinity that stored zeros must hear of.
        if (pass == 0) system.A.addToElement(n / 2, n / 2, 1);
        if (pass == 1) x[n / 3] = std::numeric_limits<double>::infinity();
      }
    }
}

TEST(Preconditioner, IncompleteFactorsFollowTheRowsOfTheMatrix) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    const RandomSystem system(seed, 30, 2);
    const int n = system.A.size();
    const IncompleteCholeskyPreconditioner made(system.A);
    // On the dense upper triangle, without filling in.
    Dense u(n, std::vector<double>(n));
    for (int i = 0; i < n; ++i)
      for (int j = i; j < n; ++j) u[i][j] = system.A.getElement(i, j);
    for (int k = 0; k < n; ++k) {
      for (int i = 0; i < k; ++i)
        for (int j = k; j < n; ++j)
          if (u[k][j] != 0) u[k][j] -= u[i][j] * u[i][k];
      u[k][k] = std::sqrt(u[k][k]);
      for (int j = k + 1; j < n; ++j) u[k][j] /= u[k][k];
    }
    NVector z(n);
    made.applyInverse(system.b, z);
    for (int i = 0; i < n; ++i) {
      double product = 0;  // of the row of L U with z
      for (int j = 0; j < n; ++j) {
        EXPECT_EQ(j < i ? 0 : u[i][j], made.upper().getElement(i, j));
        EXPECT_EQ(made.upper().getElement(j, i), made.lower().getElement(i, j));
        for (int k = 0; k <= std::min(i, j); ++k) product += u[k][i] * u[k][j] * z[j];
      }
      EXPECT_NEAR(system.b[i], product, 1e-9);
    }
  }
}

// The method as it is written down, with plain loops.
std::vector<int> referenceSolve(const SparseMatrix& A, const NVector& b, NVector& x, double tolerance,
                                double epsilon, const Preconditioner* preconditioner) {
  const int n = A.size();
  std::vector<int> codes;
  NVector r(n), s(n), q(n);
  const auto apply = [&] {
    if (preconditioner)
      preconditioner->applyInverse(r, s);
    else
      s = r;
  };
  const auto refresh = [&] {
    const NVector image = plainProduct(A, x);
    for (int i = 0; i < n; ++i) r[i] = b[i] - image[i];
  };
  refresh();
  apply();
  NVector d = s;
  double delta = r.dot(d), norm = r.dot(r);
  const double bound = tolerance * tolerance * (b.dot(b) < 1e-10 ? 1 : b.dot(b));
  const auto code = [&](int iteration) {
    if (iteration > n) return 2;
    if (bound >= norm) return 1;
    q = plainProduct(A, d);
    const double curvature = d.dot(q);
    if (curvature < 0 && iteration > 1) return -1;
    if (std::fabs(curvature) < epsilon) return 3;
    for (int i = 0; i < n; ++i) x[i] = d[i] * (delta / curvature) + x[i];
    if (curvature < 0) return -1;
    if (iteration % 50 == 0)
      refresh();
    else
      for (int i = 0; i < n; ++i) r[i] = r[i] - (delta / curvature) * q[i];
    norm = r.dot(r);
    if (std::fabs(delta) < epsilon) return 4;
    apply();
    const double next = r.dot(s);
    for (int i = 0; i < n; ++i) d[i] = d[i] * (next / delta) + s[i];
    delta = next;
    return 0;
  };
  for (int iteration = 1; codes.empty() || codes.back() == 0; ++iteration) codes.push_back(code(iteration));
  return codes;
}

std::vector<double> denseSolution(const SparseMatrix& A, const NVector& b) {
  SparseMatrix L;
  EXPECT_TRUE(A.choleskyFactorization(L));
  std::vector<double> x(A.size());
  for (int i = 0; i < A.size(); ++i) {
    x[i] = b[i];
    for (int k = 0; k < i; ++k) x[i] -= L.getElement(i, k) * x[k];
    x[i] /= L.getElement(i, i);
  }
  for (int i = A.size() - 1; i >= 0; --i) {
    for (int k = i + 1; k < A.size(); ++k) x[i] -= L.getElement(k, i) * x[k];
    x[i] /= L.getElement(i, i);
  }
  return x;
}

enum class Kind { none, diagonal, incomplete };

std::vector<int> solve(ConjugateGradient& solver, const NVector& b, const NVector& x0, double tolerance,
                       double epsilon) {
  solver.initialize(b, x0);
  std::vector<int> codes;
  do codes.push_back(solver.iterate(tolerance, epsilon).code());
  while (codes.back() == 0);
  return codes;
}

TEST(ConjugateGradient, GoesStepByStepLikeTheMethodWrittenDown) {
  for (unsigned seed = 1; seed <= 12; ++seed)
    for (const Kind kind : {Kind::none, Kind::diagonal, Kind::incomplete})
      for (const double epsilon : {0.0, 1e-7}) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", preconditioner " << static_cast<int>(kind));
        RandomSystem system(seed, 60, 2);
        const double tolerance = seed % 3 == 0 ? 1e-300 : 1e-6;  // the first runs into the other limits
        if (seed % 4 == 0) system.A.addToElement(3, 3, -20);     // negative curvature
        if (seed % 5 == 0) system.b = NVector(system.A.size());
        const int n = system.A.size();
        ConjugateGradient solver(n);
        EXPECT_EQ(0, solver.getConvergenceValue());
        solver.A() = system.A;
        std::unique_ptr<Preconditioner> preconditioner;
        if (kind == Kind::diagonal) {
          solver.initDiagonalPreconditioner();
          preconditioner = std::make_unique<DiagonalPreconditioner>(system.A);
        } else if (kind == Kind::incomplete) {
          solver.initIncompleteCholeskyPreconditioner();
          preconditioner = std::make_unique<IncompleteCholeskyPreconditioner>(system.A);
        }
        NVector x(n);
        for (int i = 0; i < n; ++i) x[i] = i % 7;
        const NVector start = x;
        const std::vector<int> codes =
            referenceSolve(system.A, system.b, x, tolerance, epsilon, preconditioner.get());
        for (int pass = 0; pass < 2; ++pass) {
          EXPECT_EQ(codes, solve(solver, system.b, start, tolerance, epsilon));
          EXPECT_EQ(bitsOf(x), bitsOf(solver.x()));
        }
        if (codes.back() != 1 || seed % 4 == 0) continue;
        EXPECT_LE(solver.getConvergenceValue(), tolerance);
        const std::vector<double> exact = denseSolution(system.A, system.b);
        for (int i = 0; i < n; ++i) EXPECT_NEAR(exact[i], solver.x()[i], 1e-5);
      }
}

TEST(ConjugateGradient, AnswersKnownSystems) {
  const auto codes = [](const Dense& rows, const std::vector<double>& b, double tolerance, Kind kind) {
    ConjugateGradient solver(static_cast<int>(rows.size()));
    solver.A() = sparse(rows);
    if (kind == Kind::incomplete) solver.initIncompleteCholeskyPreconditioner();
    return solve(solver, vectorOf(b), NVector(solver.x().size()), tolerance, 0);
  };
  EXPECT_THAT(codes({{2, -1}, {-1, 2}}, {1, 1}, 1e-10, Kind::none), ElementsAre(0, 1));
  EXPECT_THAT(codes({{4, 1, 0}, {1, 3, 1}, {0, 1, 5}}, {1, 2, 4}, 0, Kind::none), ElementsAre(0, 0, 0, 2));
  EXPECT_THAT(codes({{2, -1, 0}, {-1, 2, -1}, {0, -1, 2}}, {1, 0, 3}, 1e-10, Kind::incomplete),
              ElementsAre(0, 1));
  EXPECT_THAT(codes({{2, 0}, {0, 2}}, {0, 0}, 1e-10, Kind::none), ElementsAre(1));
  EXPECT_THAT(codes({{-1}}, {1}, 1e-10, Kind::none), ElementsAre(-1));
  EXPECT_THAT(codes({}, {}, 0, Kind::none), ElementsAre(2));
}

}  // namespace
}  // namespace qvGeom
