/// \file
/// Sparse symmetric systems A x = b, solved by the preconditioned method of conjugate gradients
/// (Hestenes and Stiefel, "Methods of Conjugate Gradients for Solving Linear Systems", 1952).
#pragma once

#include <iosfwd>
#include <memory>
#include <unordered_map>
#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Strings.h"
#include "qvGeom/foundation/geometry/Array.h"

namespace qvGeom {

/// A vector of doubles. Both operands of an operation have the same length; a longer second one is
/// read as far as the first goes.
class QVGEOM_API NVector {
public:
    NVector() = default;

    /// `length` zeros; none for a length below 1.
    explicit NVector(int length) : elements_(length) {}

    int size() const { return elements_.size(); }

    double& operator[](int i) { return elements_[i]; }

    double operator[](int i) const { return elements_[i]; }

    /// Element 0, or null when empty.
    double* data() { return elements_.data(); }

    const double* data() const { return elements_.data(); }

    /// The sum of products, taken from the last index down to the first.
    double dot(const NVector& other) const;
    /// The largest absolute element; 0 when empty.
    double infinityNorm() const;
    /// Becomes a + s c, each element by itself; `a` and `c` may be this vector.
    void setToVectorPlusScalarTimesVector(const NVector& a, double s, const NVector& c);

private:
    Array<double> elements_;
};

/// Writes "(", each element and a blank, ")".
QVGEOM_API std::ostream& operator<<(std::ostream& out, const NVector& vector);

/// One stored entry of a row.
struct SparseElement {
    int column = -1;
    double value = 0.0;
};

/// A square matrix, row by row. The entries of a row stand in the order in which they were added;
/// zeros that were added are entries too. Rows and columns are trusted to be in range.
///
/// Rows are meant to be short: an entry is searched from the end of its row. Rows that grow long
/// get an index, so that a search there takes constant time.
class QVGEOM_API SparseMatrix {
public:
    /// `size` empty rows; none for a size below 1.
    explicit SparseMatrix(int size);
    SparseMatrix(const SparseMatrix&) = delete;
    SparseMatrix& operator=(const SparseMatrix&) = delete;
    ~SparseMatrix();

    int size() const { return static_cast<int>(rows_.size()); }

    /// The number of stored entries.
    int nnz() const;

    const std::vector<SparseElement>& row(int i) const { return rows_[i].entries; }

    /// Whether an entry is stored at (i, j); `v` becomes its value, and is left alone otherwise.
    bool getElement(int i, int j, double& v) const;
    /// The value at (i, j), 0 where nothing is stored.
    double getElement(int i, int j) const;
    /// Adds `v` to the entry at (i, j), or appends it to the row.
    void addToElement(int i, int j, double v);

    /// Becomes a matrix of `n` empty rows.
    void setToZero(int n);
    void copy(const SparseMatrix& other);
    /// Makes `t` the transpose of this matrix, which it must not be itself.
    void transpose(SparseMatrix& t) const;
    /// Appends the entries on and above the diagonal to the rows of `u`, which has the same size
    /// and keeps what it holds.
    void getUpperTriangular(SparseMatrix& u) const;

    /// y = A x. The vectors have the matrix's size; `y` is not `x`.
    void getMatrixTimesVector(const NVector& x, NVector& y) const;
    /// r = b - A x; `r` may be `b`, but not `x`.
    void getVectorMinusMatrixTimesVector(const NVector& b, const NVector& x, NVector& r) const;
    /// u . (A v); 0 for a matrix without rows.
    double vectorDotMatrixTimesVector(const NVector& u, const NVector& v) const;

    /// Whether entries mirrored at the diagonal differ by less than 1e-6.
    bool isSymmetric() const;
    /// Whether stored diagonal entries are positive, all others not, no row has a negative sum and
    /// at least one a positive sum. False for a matrix without rows.
    bool isMMatrix() const;
    /// Makes `factor` the lower factor L of A = L L^T, reading the upper triangle of A; every entry
    /// on and below the diagonal is stored, zeros too. False at the first pivot that is not
    /// positive; the rows from there on are then incomplete. `factor` is not this matrix. Takes
    /// cubic time: meant for tests of definiteness.
    bool choleskyFactorization(SparseMatrix& factor) const;
    bool isPositiveDefinite() const;

    /// Writes to standard output how many rows have which number of entries, on one line without
    /// an end.
    void dumpRowLengths() const;
    /// The whole matrix as a nested list: {{a, b}, {c, d}}, one row a line.
    qvString::CString toMmaString() const;

    /// Changes with every change of the matrix, so that a copy in another form can be told stale.
    unsigned getVersion() const { return version_; }

private:
    friend class IncompleteCholeskyPreconditioner;

    struct Row {
        std::vector<SparseElement> entries;
        // From column to the last entry there; only for long rows.
        std::unique_ptr<std::unordered_map<int, int>> index;
    };

    int find(int i, int j) const;
    void append(int i, int j, double v);

    std::vector<Row> rows_;
    unsigned version_ = 0;
};

/// Writes the whole matrix, zeros included, one row a line.
QVGEOM_API std::ostream& operator<<(std::ostream& out, const SparseMatrix& matrix);

/// Approximates the inverse of a matrix.
class QVGEOM_API Preconditioner {
public:
    Preconditioner() = default;
    Preconditioner(const Preconditioner&) = delete;
    Preconditioner& operator=(const Preconditioner&) = delete;
    virtual ~Preconditioner();
    /// z = M^-1 r; both have the matrix's size and are not the same.
    virtual void applyInverse(const NVector& r, NVector& z) const = 0;
};

/// The inverse of the diagonal (Jacobi). A diagonal entry that is zero or missing gives an infinite
/// factor.
class QVGEOM_API DiagonalPreconditioner : public Preconditioner {
public:
    explicit DiagonalPreconditioner(const SparseMatrix& a);
    void applyInverse(const NVector& r, NVector& z) const override;

    const NVector& inverseDiagonal() const { return inverse_; }

private:
    NVector inverse_;
};

/// Incomplete Cholesky factors A ~ Rt R where R has the entries of A on and above the diagonal and
/// no others. Nothing is checked: a negative pivot gives NaN, a missing one infinities.
class QVGEOM_API IncompleteCholeskyPreconditioner : public Preconditioner {
public:
    explicit IncompleteCholeskyPreconditioner(const SparseMatrix& a);
    IncompleteCholeskyPreconditioner(const IncompleteCholeskyPreconditioner&) = delete;
    IncompleteCholeskyPreconditioner& operator=(const IncompleteCholeskyPreconditioner&) = delete;
    ~IncompleteCholeskyPreconditioner() override;
    void applyInverse(const NVector& r, NVector& z) const override;
    /// The same, and returns r . z.
    double applyInverseDot(const NVector& r, NVector& z) const;

    const SparseMatrix& upperFactor() const { return upper_; }

    const SparseMatrix& lowerFactor() const { return lower_; }

private:
    struct Sweeps;

    void factorize();
    void takeEarlierRowsOff(int k, bool columnIsFinite, SparseElement& entry);

    SparseMatrix upper_;
    SparseMatrix lower_;           // the transpose of the upper one
    std::vector<int> earlierRows_; // of one entry, kept for the memory
    std::unique_ptr<Sweeps> sweeps_;
};

/// Solves A x = b for a symmetric positive definite A, one step at a call: fill `A()`, choose a
/// preconditioner or none, `initialize`, `iterate` until done, read `x()`.
///
/// An iteration reads the matrix once and streams over its vectors twice; nothing is allocated.
/// Works on the calling thread.
class QVGEOM_API ConjugateGradient {
public:
    enum StatusCode {
        NotPositiveDefinite = -1, ///< p . A p is negative
        Iterating = 0,            ///< a step was taken
        Converged = 1,            ///< |r| <= tolerance |b| before the step
        MaxIterations = 2,        ///< as many steps as unknowns were taken
        CurvatureBreakdown = 3,   ///< |p . A p| is below the breakdown tolerance
        RhoBreakdown = 4          ///< |r . M^-1 r| was below the breakdown tolerance
    };

    class Status {
    public:
        Status(StatusCode code) : code_(code) {}

        StatusCode code() const { return code_; }

        bool isDone() const { return code_ != Iterating; }

    private:
        StatusCode code_;
    };

    /// A system of `n` unknowns with an empty matrix and without preconditioner.
    explicit ConjugateGradient(int n);
    ConjugateGradient(const ConjugateGradient&) = delete;
    ConjugateGradient& operator=(const ConjugateGradient&) = delete;
    ~ConjugateGradient();

    SparseMatrix& A();
    NVector& x();

    /// \name Preconditioners
    /// Each replaces the one there is, and is made from the matrix as it stands now.
    /// @{
    void initDiagonalPreconditioner();
    void initIncompleteCholeskyPreconditioner();
    /// @}

    /// Starts anew from `x0`. With b . b below 1e-12 the tolerance of `iterate` is absolute. Both
    /// vectors have the system's size.
    void initialize(const NVector& b, const NVector& x0);

    /// Takes a step, unless the solution is good enough already or the step cannot be taken. `x()`
    /// is left alone by every status but `Iterating`, `RhoBreakdown`, and, in the first step only,
    /// `NotPositiveDefinite`.
    Status iterate(double tolerance, double breakdown);

    /// The number of calls of `iterate` since `initialize`.
    int getIteration() const;
    /// |r| / |b| by the residual that the iteration carries along.
    double getConvergenceValue() const;
    double getResidualNormSquared() const;
    /// The largest element of b - A x, calculated anew.
    double getResidualInfinityNorm() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace qvGeom
