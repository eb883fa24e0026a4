#include "qvGeom/parameterization/GeomConjugateGradient.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <ostream>

#include "qvGeom/foundation/linear/Tolerances.h"
#include "qvGeom/parameterization/detail/FlatRows.h"
#include "qvGeom/parameterization/detail/PairedRows.h"

namespace qvGeom {

using detail::FlatRows;
using detail::PairedRows;

namespace {

// After so many steps the residual is calculated from the solution, to shed what rounding added.
constexpr int kStepsPerRefresh = 50;

} // namespace

double NVector::dot(const NVector& other) const {
    const double* const a = data();
    const double* const b = other.data();
    double sum = 0.0;
    for (int i = size() - 1; i >= 0; --i)
        sum += a[i] * b[i];
    return sum;
}

double NVector::infinityNorm() const {
    double norm = 0.0;
    for (int i = 0; i < size(); ++i)
        norm = std::max(norm, std::fabs(elements_[i]));
    return norm;
}

void NVector::setToVectorPlusScalarTimesVector(const NVector& a, double s, const NVector& c) {
    for (int i = 0; i < size(); ++i)
        elements_[i] = a[i] + s * c[i];
}

std::ostream& operator<<(std::ostream& out, const NVector& vector) {
    out << '(';
    for (int i = 0; i < vector.size(); ++i)
        out << vector[i] << ' ';
    return out << ')';
}

Preconditioner::~Preconditioner() = default;

DiagonalPreconditioner::DiagonalPreconditioner(const SparseMatrix& a) : inverse_(a.size()) {
    for (int i = 0; i < a.size(); ++i)
        inverse_[i] = 1.0 / a.getElement(i, i);
}

void DiagonalPreconditioner::applyInverse(const NVector& r, NVector& z) const {
    for (int i = 0; i < r.size(); ++i)
        z[i] = inverse_[i] * r[i];
}

/// The factors without their diagonals, and the pivots: where several diagonal entries are stored
/// the last one counts, where none is, 0.
struct IncompleteCholeskyPreconditioner::Sweeps {
    FlatRows lower;
    FlatRows upper;
    std::vector<double> lowerPivot;
    std::vector<double> upperPivot;

    static void split(const SparseMatrix& factor, FlatRows& rest, std::vector<double>& pivot) {
        pivot.assign(static_cast<std::size_t>(factor.size()), 0.0);
        rest.assign(factor, [&pivot](int i, const SparseElement& entry) {
            if (entry.column == i)
                pivot[i] = entry.value;
            return entry.column != i;
        });
    }
};

IncompleteCholeskyPreconditioner::IncompleteCholeskyPreconditioner(const SparseMatrix& a)
    : upper_(a.size()),
      lower_(a.size()),
      sweeps_(std::make_unique<Sweeps>()) {
    a.getUpperTriangular(upper_);
    factorize();
    Sweeps::split(lower_, sweeps_->lower, sweeps_->lowerPivot);
    Sweeps::split(upper_, sweeps_->upper, sweeps_->upperPivot);
}

IncompleteCholeskyPreconditioner::~IncompleteCholeskyPreconditioner() = default;

// Row k takes R(i,k) times row i off for every earlier row i. Those with an R(i,k) are the entries
// that row k of the transpose has so far, in ascending order; all others would take off zero. Only
// zero times an infinite or undefined R(i,j) is not zero, so that an entry in such a column j looks
// at the rows with an R(i,j) as well.
void IncompleteCholeskyPreconditioner::takeEarlierRowsOff(int k, bool columnIsFinite,
                                                          SparseElement& entry) {
    const int j = entry.column;
    earlierRows_.clear();
    for (const SparseElement& earlier : lower_.row(k))
        earlierRows_.push_back(earlier.column);
    if (!columnIsFinite) {
        const auto middle = static_cast<std::ptrdiff_t>(earlierRows_.size());
        for (const SparseElement& earlier : lower_.row(j))
            earlierRows_.push_back(earlier.column);
        std::inplace_merge(earlierRows_.begin(), earlierRows_.begin() + middle, earlierRows_.end());
    }
    int last = -1;
    for (const int i : earlierRows_) {
        if (i != last && entry.value != 0.0)
            entry.value -= upper_.getElement(i, j) * upper_.getElement(i, k);
        last = i;
    }
}

void IncompleteCholeskyPreconditioner::factorize() {
    const int n = upper_.size();
    std::vector<bool> columnIsFinite(static_cast<std::size_t>(n), true);
    for (int k = 0; k < n; ++k) {
        std::vector<SparseElement>& row = upper_.rows_[k].entries;
        for (SparseElement& entry : row)
            takeEarlierRowsOff(k, columnIsFinite[entry.column], entry);
        if (row.empty())
            continue;

        const auto diagonal = std::find_if(
            row.begin(), row.end(), [k](const SparseElement& entry) { return entry.column == k; });
        double pivot = 0.0;
        if (diagonal != row.end())
            pivot = diagonal->value = std::sqrt(diagonal->value);
        for (SparseElement& entry : row) {
            if (entry.column != k)
                entry.value /= pivot;
            lower_.append(entry.column, k, entry.value);
            columnIsFinite[entry.column] =
                columnIsFinite[entry.column] && std::isfinite(entry.value);
        }
    }
}

void IncompleteCholeskyPreconditioner::applyInverse(const NVector& r, NVector& z) const {
    applyInverseDot(r, z);
}

double IncompleteCholeskyPreconditioner::applyInverseDot(const NVector& residual,
                                                         NVector& result) const {
    const double* const r = residual.data();
    double* const z = result.data();
    const auto solveRow = [z](const FlatRows& rows, int i, double value, double pivot) {
        for (int e = rows.start[i]; e < rows.start[i + 1]; ++e)
            value -= z[rows.column[e]] * rows.value[e];
        z[i] = value / pivot;
    };
    const int n = upper_.size();
    for (int i = 0; i < n; ++i)
        solveRow(sweeps_->lower, i, r[i], sweeps_->lowerPivot[i]);
    double dot = 0.0;
    for (int i = n - 1; i >= 0; --i) {
        solveRow(sweeps_->upper, i, z[i], sweeps_->upperPivot[i]);
        dot += r[i] * z[i];
    }
    return dot;
}

class ConjugateGradient::Impl {
public:
    explicit Impl(int n) : a(n), b(n), x(n), p(n), r(n), q(n), z(n) {}

    void initialize(const NVector& rightSide, const NVector& start);
    Status iterate(double tolerance, double breakdown);

    int iteration = 0;
    SparseMatrix a;
    NVector b;
    NVector x;
    NVector p;
    NVector r;
    NVector q;
    NVector z;
    double rho = 0.0;
    double bNormSquared = 0.0;
    double rNormSquared = 0.0;
    // At most one of them.
    std::unique_ptr<DiagonalPreconditioner> diagonal;
    std::unique_ptr<IncompleteCholeskyPreconditioner> cholesky;

private:
    void layOutMatrix();
    void multiply(const NVector& v, NVector& product) const;
    double multiplyDirection();
    template <class ValueAt>
    double updateResidual(ValueAt valueAt);
    template <class Visit>
    void turnDirection(double beta, Visit visit);

    PairedRows rows_;
    unsigned rowsVersion_ = 0;
    bool rowsValid_ = false;
};

/// Copies the matrix, unless it is the one that was copied last.
void ConjugateGradient::Impl::layOutMatrix() {
    if (rowsValid_ && rowsVersion_ == a.getVersion())
        return;
    rows_.assign(a);
    rowsVersion_ = a.getVersion();
    rowsValid_ = true;
}

void ConjugateGradient::Impl::multiply(const NVector& v, NVector& product) const {
    // A zero of the matrix matters where it meets infinity or NaN.
    if (std::all_of(v.data(), v.data() + v.size(),
                    [](double value) { return std::isfinite(value); }))
        rows_.multiply(v.data(), [out = product.data()](int i, double sum) { out[i] = sum; });
    else
        a.getMatrixTimesVector(v, product);
}

void ConjugateGradient::Impl::initialize(const NVector& rightSide, const NVector& start) {
    assert(rightSide.size() == a.size() && start.size() == a.size());
    layOutMatrix();
    b = rightSide;
    x = start;
    multiply(x, q);
    r.setToVectorPlusScalarTimesVector(b, -1.0, q);
    if (diagonal)
        diagonal->applyInverse(r, p);
    else if (cholesky)
        cholesky->applyInverse(r, p);
    else
        p = r;
    rho = r.dot(p);
    rNormSquared = r.dot(r);
    bNormSquared = b.dot(b);
    if (qvLinear::epsilonTol > bNormSquared)
        bNormSquared = 1.0;
    iteration = 0;
}

/// q = A p and returns p . q. Sums of products run from the last index down, here and below: so the
/// rows do too, and the sum is done in the same pass.
double ConjugateGradient::Impl::multiplyDirection() {
    const double* const direction = p.data();
    double* const image = q.data();
    double sum = 0.0;
    rows_.multiply(direction, [direction, image, &sum](int i, double product) {
        image[i] = product;
        sum += direction[i] * product;
    });
    // An element that is not finite makes the sum so, whatever it meets.
    if (std::isfinite(sum))
        return sum;
    multiply(p, q);
    return p.dot(q);
}

/// Sets the residual to what `valueAt(i)` gives for each i, and its norm. Returns r . M^-1 r for
/// the preconditioners that work element by element.
template <class ValueAt>
double ConjugateGradient::Impl::updateResidual(ValueAt valueAt) {
    double* const residual = r.data();
    const double* const inverse = diagonal ? diagonal->inverseDiagonal().data() : nullptr;
    double norm = 0.0;
    double dot = 0.0;
    for (int i = r.size() - 1; i >= 0; --i) {
        const double value = valueAt(i);
        residual[i] = value;
        norm += value * value;
        if (inverse)
            dot += value * (inverse[i] * value);
    }
    rNormSquared = norm;
    return inverse ? dot : norm;
}

/// p = M^-1 r + beta p. `visit(i, value)` is told each element of p before it changes.
template <class Visit>
void ConjugateGradient::Impl::turnDirection(double beta, Visit visit) {
    double* const direction = p.data();
    const double* const source = cholesky ? z.data() : r.data();
    const double* const inverse = diagonal ? diagonal->inverseDiagonal().data() : nullptr;
    for (int i = 0; i < p.size(); ++i) {
        const double old = direction[i];
        visit(i, old);
        direction[i] = (inverse ? inverse[i] * source[i] : source[i]) + beta * old;
    }
}

// The solution moves in the same pass as the direction, unless something needs it earlier.
ConjugateGradient::Status ConjugateGradient::Impl::iterate(double tolerance, double breakdown) {
    ++iteration;
    if (iteration > x.size())
        return MaxIterations;
    if (tolerance * tolerance * bNormSquared >= rNormSquared)
        return Converged;
    layOutMatrix();
    const double pAq = multiplyDirection();
    if (pAq < 0.0 && iteration > 1)
        return NotPositiveDefinite;
    if (breakdown > std::fabs(pAq))
        return CurvatureBreakdown;
    const double alpha = rho / pAq;
    if (pAq < 0.0) {
        x.setToVectorPlusScalarTimesVector(x, alpha, p);
        return NotPositiveDefinite;
    }

    const bool refreshesResidual = iteration % kStepsPerRefresh == 0;
    double nextRho = 0.0;
    if (refreshesResidual) {
        x.setToVectorPlusScalarTimesVector(x, alpha, p);
        multiply(x, q);
        nextRho = updateResidual([this](int i) { return b[i] - q[i]; });
    } else {
        nextRho = updateResidual([residual = r.data(), image = q.data(), alpha](int i) {
            return residual[i] - alpha * image[i];
        });
    }
    if (breakdown > std::fabs(rho)) {
        if (!refreshesResidual)
            x.setToVectorPlusScalarTimesVector(x, alpha, p);
        return RhoBreakdown;
    }
    if (cholesky)
        nextRho = cholesky->applyInverseDot(r, z);
    if (refreshesResidual)
        turnDirection(nextRho / rho, [](int, double) {});
    else
        turnDirection(nextRho / rho, [solution = x.data(), alpha](int i, double old) {
            solution[i] += alpha * old;
        });
    rho = nextRho;
    return Iterating;
}

ConjugateGradient::ConjugateGradient(int n) : impl_(std::make_unique<Impl>(n)) {}

ConjugateGradient::~ConjugateGradient() = default;

SparseMatrix& ConjugateGradient::A() { return impl_->a; }

NVector& ConjugateGradient::x() { return impl_->x; }

void ConjugateGradient::initDiagonalPreconditioner() {
    impl_->cholesky.reset();
    impl_->diagonal = std::make_unique<DiagonalPreconditioner>(impl_->a);
}

void ConjugateGradient::initIncompleteCholeskyPreconditioner() {
    impl_->diagonal.reset();
    impl_->cholesky = std::make_unique<IncompleteCholeskyPreconditioner>(impl_->a);
}

void ConjugateGradient::initialize(const NVector& b, const NVector& x0) {
    impl_->initialize(b, x0);
}

ConjugateGradient::Status ConjugateGradient::iterate(double tolerance, double breakdown) {
    return impl_->iterate(tolerance, breakdown);
}

int ConjugateGradient::getIteration() const { return impl_->iteration; }

double ConjugateGradient::getConvergenceValue() const {
    return std::sqrt(impl_->rNormSquared) / std::sqrt(impl_->bNormSquared);
}

double ConjugateGradient::getResidualNormSquared() const { return impl_->rNormSquared; }

double ConjugateGradient::getResidualInfinityNorm() const {
    NVector residual(impl_->b.size());
    impl_->a.getVectorMinusMatrixTimesVector(impl_->b, impl_->x, residual);
    return residual.infinityNorm();
}

} // namespace qvGeom
