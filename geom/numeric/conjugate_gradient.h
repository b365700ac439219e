#pragma once

#include <memory>

#include "geom/model/keel/export.h"
#include "geom/numeric/n_vector.h"
#include "geom/numeric/preconditioners.h"
#include "geom/numeric/sparse_matrix.h"

namespace qvGeom {

/// Solves A x = b for a symmetric positive definite A, one iteration a call:
///
///   ConjugateGradient solver(n);
///   solver.A().addToElement(...);
///   solver.initDiagonalPreconditioner();
///   solver.initialize(b, x0);
///   while (!solver.iterate(1e-10, 1e-10).isDone()) {}
///   use(solver.x());
///
/// May be initialised again, with another right-hand side or start, on the same matrix. One thread at a time.
/// After M. R. Hestenes and E. Stiefel, Methods of conjugate gradients for solving linear systems (1952).
class QVGEOM_API ConjugateGradient {
 public:
  /// The numbers are part of messages.
  enum StatusCode {
    NegativeCurvature = -1,    ///< d.Ad < 0: the matrix is not positive definite
    NotDone = 0,               ///< the step was taken
    Converged = 1,             ///< |r| <= tolerance |b|
    IterationLimit = 2,        ///< more iterations than unknowns
    SmallCurvature = 3,        ///< |d.Ad| < epsilon
    SmallResidualProduct = 4,  ///< |delta| < epsilon before the step; the step was taken
  };

  class Status {
   public:
    constexpr Status(StatusCode code) : code_(code) {}
    constexpr bool isDone() const { return code_ != NotDone; }
    constexpr StatusCode code() const { return code_; }

   private:
    StatusCode code_;
  };

  /// A system of n unknowns, with an empty matrix and no preconditioner.
  explicit ConjugateGradient(int n);
  ~ConjugateGradient();
  ConjugateGradient(const ConjugateGradient&) = delete;
  ConjugateGradient& operator=(const ConjugateGradient&) = delete;

  /// To be filled before anything else is called; its size must stay.
  SparseMatrix& A() { return A_; }

  // Each replaces the preconditioner by one made of A as it now is; heard from the next iteration on.
  void initDiagonalPreconditioner();
  void initIncompleteCholeskyPreconditioner();
  /// One of the caller's, symmetric positive definite; or null, for none.
  void setPreconditioner(std::unique_ptr<Preconditioner> preconditioner);

  /// Starts at x0, with iteration 0. Both vectors have n elements; with another size nothing happens. A
  /// right-hand side as good as zero (b.b < qvLinear::epsilonTol) makes the tolerance absolute.
  void initialize(const NVector& b, const NVector& x0);
  /// One step. The iterations are counted first, then the tolerance is tested, then the step taken; in the
  /// first iteration x moves even where the curvature is found negative.
  /// @param tolerance of the residual, relative to b
  /// @param epsilon   absolute bound below which the numbers that the step divides by count as zero
  Status iterate(double tolerance, double epsilon);

  /// The solution so far.
  const NVector& x() const { return x_; }
  int getIteration() const { return iteration_; }
  double getResidualNormSquared() const { return residualNormSquared_; }
  /// |r| / |b|; 0 before `initialize`
  double getConvergenceValue() const;
  /// Largest element of b - A x, computed anew.
  double getResidualInfinityNorm() const;

 private:
  double takeStep(double alpha);
  void turnDirection(double scaledResidual);

  int iteration_ = 0;
  SparseMatrix A_;
  NVector b_, x_, d_, r_, q_, s_;
  double delta_ = 0;
  double bNormSquared_ = 1;
  double residualNormSquared_ = 0;
  std::unique_ptr<Preconditioner> preconditioner_;
  const NVector* diagonal_ = nullptr;  // of the preconditioner, when it is that of the diagonal
};

}  // namespace qvGeom
