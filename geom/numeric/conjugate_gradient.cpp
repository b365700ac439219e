#include "geom/numeric/conjugate_gradient.h"

#include <cmath>
#include <utility>

#include "geom/model/keel/tolerances.h"

namespace qvGeom {

namespace {

constexpr int kResidualRefresh = 50;  // iterations between residuals computed afresh, against drift

// The vectors of a step are large, and a dot product waits for its own additions, whose order is fixed: so
// what can be done in one pass is, with the sums side by side.

// Of the residual, summed up from the last element to the first.
struct Products {
  double squared = 0;  // r.r
  double scaled = 0;   // r.s, where s is r divided by the diagonal; 0 without one
};

template <bool kDiagonal>
class ResidualPass {
 public:
  ResidualPass(NVector& residual, const NVector* inverseDiagonal)
      : r_(residual.data()), inverse_(kDiagonal ? inverseDiagonal->data() : nullptr), n_(residual.size()) {}

  Products measure() {
    for (int i = n_ - 1; i >= 0; --i) add(i, r_[i]);
    return products_;
  }

  // x += alpha d, r -= alpha q.
  Products step(double alpha, const NVector& direction, const NVector& image, NVector& solution) {
    const double* d = direction.data();
    const double* q = image.data();
    double* x = solution.data();
    for (int i = n_ - 1; i >= 0; --i) {
      x[i] = d[i] * alpha + x[i];
      r_[i] = r_[i] - alpha * q[i];
      add(i, r_[i]);
    }
    return products_;
  }

 private:
  void add(int i, double r) {
    products_.squared += r * r;
    if constexpr (kDiagonal) products_.scaled += r * (r * inverse_[i]);
  }

  double* r_;
  const double* inverse_;
  int n_;
  Products products_;
};

// d = s + beta d, where s is the residual divided by the diagonal.
void addScaled(const NVector& residual, const NVector& inverse, double beta, NVector& direction) {
  const double* r = residual.data();
  const double* inv = inverse.data();
  double* d = direction.data();
  for (int i = 0; i < direction.size(); ++i) d[i] = d[i] * beta + r[i] * inv[i];
}

}  // namespace

ConjugateGradient::ConjugateGradient(int n) : A_(n), b_(n), x_(n), d_(n), r_(n), q_(n), s_(n) {}

ConjugateGradient::~ConjugateGradient() = default;

void ConjugateGradient::initDiagonalPreconditioner() {
  auto made = std::make_unique<DiagonalPreconditioner>(A_);
  diagonal_ = A_.size() == x_.size() ? &made->inverseDiagonal() : nullptr;
  preconditioner_ = std::move(made);
}

void ConjugateGradient::initIncompleteCholeskyPreconditioner() {
  preconditioner_ = std::make_unique<IncompleteCholeskyPreconditioner>(A_);
  diagonal_ = nullptr;
}

void ConjugateGradient::setPreconditioner(std::unique_ptr<Preconditioner> preconditioner) {
  preconditioner_ = std::move(preconditioner);
  diagonal_ = nullptr;
}

void ConjugateGradient::initialize(const NVector& b, const NVector& x0) {
  if (b.size() != b_.size() || x0.size() != x_.size()) return;
  b_ = b;
  x_ = x0;
  A_.getVectorMinusMatrixTimesVector(b_, x_, r_);
  if (preconditioner_)
    preconditioner_->applyInverse(r_, d_);
  else
    d_ = r_;
  delta_ = r_.dot(d_);
  residualNormSquared_ = r_.dot(r_);
  bNormSquared_ = b_.dot(b_);
  if (bNormSquared_ < qvLinear::epsilonTol) bNormSquared_ = 1;
  iteration_ = 0;
}

ConjugateGradient::Status ConjugateGradient::iterate(double tolerance, double epsilon) {
  ++iteration_;
  if (iteration_ > x_.size()) return IterationLimit;
  if (tolerance * tolerance * bNormSquared_ >= residualNormSquared_) return Converged;

  const double curvature = A_.getMatrixTimesVectorAndDot(d_, q_);
  if (curvature < 0 && iteration_ > 1) return NegativeCurvature;
  if (std::fabs(curvature) < epsilon) return SmallCurvature;
  const double alpha = delta_ / curvature;
  if (curvature < 0) {
    x_.setToVectorPlusScalarTimesVector(x_, alpha, d_);
    return NegativeCurvature;
  }
  const double scaledResidual = takeStep(alpha);
  if (std::fabs(delta_) < epsilon) return SmallResidualProduct;
  turnDirection(scaledResidual);
  return NotDone;
}

// Moves x and brings the residual with it.
// @return r.s, where that came with the pass
double ConjugateGradient::takeStep(double alpha) {
  const auto pass = [&](auto residual) {
    if (iteration_ % kResidualRefresh != 0) return residual.step(alpha, d_, q_, x_);
    x_.setToVectorPlusScalarTimesVector(x_, alpha, d_);
    A_.getVectorMinusMatrixTimesVector(b_, x_, r_);
    return residual.measure();
  };
  const Products products =
      diagonal_ ? pass(ResidualPass<true>(r_, diagonal_)) : pass(ResidualPass<false>(r_, nullptr));
  residualNormSquared_ = products.squared;
  return products.scaled;
}

// d = s + beta d, where s is the preconditioned residual.
void ConjugateGradient::turnDirection(double scaledResidual) {
  double product = diagonal_ ? scaledResidual : residualNormSquared_;
  if (preconditioner_ && !diagonal_) {
    preconditioner_->applyInverse(r_, s_);
    product = r_.dot(s_);
  }
  const double beta = product / delta_;
  if (diagonal_)
    addScaled(r_, *diagonal_, beta, d_);
  else
    d_.setToVectorPlusScalarTimesVector(preconditioner_ ? s_ : r_, beta, d_);
  delta_ = product;
}

double ConjugateGradient::getConvergenceValue() const {
  return std::sqrt(residualNormSquared_) / std::sqrt(bNormSquared_);
}

double ConjugateGradient::getResidualInfinityNorm() const {
  NVector residual(b_.size());
  A_.getVectorMinusMatrixTimesVector(b_, x_, residual);
  return residual.infinityNorm();
}

}  // namespace qvGeom
