#include <algorithm>
#include <cassert>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <string>

#include "qvGeom/parameterization/GeomConjugateGradient.h"

namespace qvGeom {

namespace {

// Longer rows are searched by their index.
constexpr int kScannedEntries = 48;

// Room for the entries that an interior vertex of a triangle mesh gives a row, so that filling it
// takes one block.
constexpr int kUsualEntries = 8;

double product(const std::vector<SparseElement>& row, const NVector& x) {
    double sum = 0.0;
    for (const SparseElement& entry : row)
        sum += entry.value * x[entry.column];
    return sum;
}

/// Appends the number as "%.10f" of the C locale does.
void appendFixed(double value, std::string& text) {
    char digits[400]; // the largest double has 309 before the point
    const auto end =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 10);
    text.append(digits, end.ptr);
}

} // namespace

SparseMatrix::SparseMatrix(int size) : rows_(static_cast<std::size_t>(std::max(size, 0))) {}

SparseMatrix::~SparseMatrix() = default;

int SparseMatrix::nnz() const {
    std::size_t entries = 0;
    for (const Row& row : rows_)
        entries += row.entries.size();
    return static_cast<int>(entries);
}

int SparseMatrix::find(int i, int j) const {
    const Row& row = rows_[i];
    if (row.index) {
        const auto found = row.index->find(j);
        return found == row.index->end() ? -1 : found->second;
    }
    int at = static_cast<int>(row.entries.size()) - 1;
    while (at >= 0 && row.entries[at].column != j)
        --at;
    return at;
}

void SparseMatrix::append(int i, int j, double v) {
    Row& row = rows_[i];
    const int at = static_cast<int>(row.entries.size());
    if (at == 0)
        row.entries.reserve(kUsualEntries);
    row.entries.push_back({j, v});
    if (row.index) {
        (*row.index)[j] = at;
    } else if (at >= kScannedEntries) {
        row.index = std::make_unique<std::unordered_map<int, int>>();
        for (int e = 0; e <= at; ++e)
            (*row.index)[row.entries[e].column] = e;
    }
}

bool SparseMatrix::getElement(int i, int j, double& v) const {
    const int at = find(i, j);
    if (at < 0)
        return false;
    v = rows_[i].entries[at].value;
    return true;
}

double SparseMatrix::getElement(int i, int j) const {
    double v = 0.0;
    getElement(i, j, v);
    return v;
}

void SparseMatrix::addToElement(int i, int j, double v) {
    ++version_;
    const int at = find(i, j);
    if (at < 0)
        append(i, j, v);
    else
        rows_[i].entries[at].value += v;
}

void SparseMatrix::setToZero(int n) {
    ++version_;
    rows_.clear();
    rows_.resize(static_cast<std::size_t>(std::max(n, 0)));
}

void SparseMatrix::copy(const SparseMatrix& other) {
    if (this == &other)
        return;
    setToZero(other.size());
    for (int i = 0; i < size(); ++i) {
        rows_[i].entries = other.rows_[i].entries;
        if (other.rows_[i].index)
            rows_[i].index = std::make_unique<std::unordered_map<int, int>>(*other.rows_[i].index);
    }
}

void SparseMatrix::transpose(SparseMatrix& t) const {
    assert(&t != this);
    t.setToZero(size());
    for (int i = 0; i < size(); ++i) {
        for (const SparseElement& entry : row(i))
            t.addToElement(entry.column, i, entry.value);
    }
}

void SparseMatrix::getUpperTriangular(SparseMatrix& u) const {
    assert(&u != this && u.size() == size());
    ++u.version_;
    for (int i = 0; i < size(); ++i) {
        for (const SparseElement& entry : row(i)) {
            if (entry.column >= i)
                u.append(i, entry.column, entry.value);
        }
    }
}

void SparseMatrix::getMatrixTimesVector(const NVector& x, NVector& y) const {
    for (int i = 0; i < size(); ++i)
        y[i] = product(row(i), x);
}

void SparseMatrix::getVectorMinusMatrixTimesVector(const NVector& b, const NVector& x,
                                                   NVector& r) const {
    for (int i = 0; i < size(); ++i)
        r[i] = b[i] - product(row(i), x);
}

double SparseMatrix::vectorDotMatrixTimesVector(const NVector& u, const NVector& v) const {
    double sum = 0.0;
    for (int i = size() - 1; i >= 0; --i)
        sum += u[i] * product(row(i), v);
    return sum;
}

bool SparseMatrix::isSymmetric() const {
    for (int i = 0; i < size(); ++i) {
        for (const SparseElement& entry : row(i)) {
            if (entry.column != i && std::fabs(entry.value - getElement(entry.column, i)) >= 1e-6)
                return false;
        }
    }
    return true;
}

bool SparseMatrix::isMMatrix() const {
    bool strictSomewhere = false;
    for (int i = 0; i < size(); ++i) {
        double sum = 0.0;
        for (const SparseElement& entry : row(i)) {
            const bool signIsRight = entry.column == i ? entry.value > 0.0 : entry.value <= 0.0;
            if (!signIsRight)
                return false;
            sum += entry.value;
        }
        if (!(sum >= 0.0))
            return false;
        strictSomewhere |= sum > 0.0;
    }
    return strictSomewhere;
}

bool SparseMatrix::choleskyFactorization(SparseMatrix& factor) const {
    assert(&factor != this);
    factor.setToZero(size());
    for (int k = 0; k < size(); ++k) {
        for (int i = k; i < size(); ++i) {
            // Rows of the factor are filled from column 0 on without gaps, so that an entry's place
            // is its column.
            const std::vector<SparseElement>& rowI = factor.row(i);
            const std::vector<SparseElement>& rowK = factor.row(k);
            double x = getElement(k, i);
            for (int m = k - 1; m >= 0; --m)
                x -= rowI[m].value * rowK[m].value;
            if (i > k)
                factor.append(i, k, x / rowK[k].value);
            else if (x <= 0.0)
                return false;
            else
                factor.append(k, k, std::sqrt(x));
        }
    }
    return true;
}

bool SparseMatrix::isPositiveDefinite() const {
    SparseMatrix factor(size());
    return choleskyFactorization(factor);
}

void SparseMatrix::dumpRowLengths() const {
    std::vector<int> rowsOfLength;
    for (const Row& row : rows_) {
        rowsOfLength.resize(std::max(rowsOfLength.size(), row.entries.size() + 1));
        ++rowsOfLength[row.entries.size()];
    }
    std::printf("  total rows: %d", size());
    for (std::size_t length = 0; length < rowsOfLength.size(); ++length) {
        if (rowsOfLength[length] > 0)
            std::printf("  length %zu: %d rows", length, rowsOfLength[length]);
    }
}

qvString::CString SparseMatrix::toMmaString() const {
    std::string text = "{\n";
    for (int i = 0; i < size(); ++i) {
        text += '{';
        for (int j = 0; j < size(); ++j) {
            if (j > 0)
                text += ',';
            appendFixed(getElement(i, j), text);
        }
        text += i + 1 < size() ? "},\n" : "}\n";
    }
    return text + '}';
}

std::ostream& operator<<(std::ostream& out, const SparseMatrix& matrix) {
    out << "SparseMatrix{";
    std::string text;
    for (int i = 0; i < matrix.size(); ++i) {
        text.clear();
        for (int j = 0; j < matrix.size(); ++j) {
            const double value = matrix.getElement(i, j);
            text += value < 0.0 ? " " : "  ";
            appendFixed(value, text);
        }
        out << std::endl << text;
    }
    return out << "\n}";
}

} // namespace qvGeom
