/// \file
/// The parallel index sort, and the orderings it sorts by.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <memory>
#include <numeric>
#include <type_traits>
#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/StableSort.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"

namespace qvUtil {

/// A permutation of 0..n-1, and the scope of the comparators over indices.
class Ordering {
public:
    /// Compares two indices by the values they name. A value that is not a number
    /// comes after every number and is equivalent to its like, which keeps the
    /// order strict and weak. `Values` is a pointer, such as `double*`.
    template <class Values>
    class IndexedLessThan {
    public:
        explicit IndexedLessThan(Values values) : values_(values) {}

        bool operator()(int a, int b) const { return isLess(values_[a], values_[b]); }

        Values getValues() const { return values_; }

    private:
        template <class V>
        static bool isLess(const V& a, const V& b) {
            if constexpr (std::floating_point<V>)
                return (a < b) |
                       ((b != b) & (a == a)); // without branches, which would be mispredicted
            else
                return a < b;
        }

        Values values_;
    };

    /// Compares two indices by a predicate over the values they name.
    template <class Iterator, class Predicate>
    class IndexedBinaryPredicate {
    public:
        IndexedBinaryPredicate(Iterator values, Predicate predicate)
            : values_(values),
              predicate_(predicate) {}

        bool operator()(int a, int b) const { return predicate_(values_[a], values_[b]); }

    private:
        Iterator values_;
        Predicate predicate_;
    };

    /// The identity on n indices.
    explicit Ordering(int n = 0) : indices_(n) { std::iota(indices_.begin(), indices_.end(), 0); }

    /// Sorts the indices on the shared pool.
    template <class Compare>
    void sort(Compare compare);

    int size() const { return static_cast<int>(indices_.size()); }

    int operator[](int rank) const { return indices_[rank]; }

    const int* begin() const { return indices_.data(); }

    const int* end() const { return indices_.data() + indices_.size(); }

private:
    std::vector<int> indices_;
};

/// Sorts the two halves of an array at once, the first being the longer one when
/// their lengths differ. Threads from the third on have nothing to do.
template <class T, class Compare>
class SMPSortPiecewise : public ThreadedAlg {
public:
    SMPSortPiecewise(T* begin, T* end, Compare compare)
        : begin_(begin),
          end_(end),
          compare_(compare) {}

    void threadFunc(int thread, int numThreads) override {
        T* const middle = begin_ + (end_ - begin_ + 1) / 2;
        if (thread == 0)
            stableSort(begin_, middle, compare_);
        if (thread == (numThreads > 1 ? 1 : 0))
            stableSort(middle, end_, compare_);
    }

private:
    T* begin_;
    T* end_;
    Compare compare_;
};

/// Merges the two sorted halves that `SMPSortPiecewise` leaves, one thread from the
/// fronts and one from the backs. Of equivalent elements, those of the first half
/// come first.
template <class T, class Compare>
class SMPSortMerge : public ThreadedAlg {
public:
    /// Takes over `buffer`, an array made by new with room for every element.
    SMPSortMerge(T* begin, T* end, T* buffer, Compare compare)
        : begin_(begin),
          end_(end),
          buffer_(buffer),
          compare_(compare),
          fronts_{.left = begin, .right = middle()},
          backs_{.left = middle(), .right = end} {}

    void threadFunc(int thread, int numThreads) override {
        if (thread == 0)
            fillFromFront();
        if (thread == (numThreads > 1 ? 1 : 0))
            fillFromBack();
    }

    /// Copies the merged elements back.
    void finalize() override {
        const std::ptrdiff_t n = end_ - begin_;
        completeMerge(fronts_, backs_, begin_, middle(), n, buffer_.get(), compare_);
        std::copy(buffer_.get(), buffer_.get() + n, begin_);
    }

private:
    T* middle() const { return begin_ + (end_ - begin_ + 1) / 2; }

    void fillFromFront() {
        T* const filledEnd = buffer_.get() + (end_ - begin_) / 2;
        MergeFronts<T> fronts = fronts_;
        for (T* next = buffer_.get(); next != filledEnd; ++next)
            *next = fronts.take(compare_);
        fronts_ = fronts;
    }

    void fillFromBack() {
        T* const filledBegin = buffer_.get() + (end_ - begin_ + 1) / 2;
        MergeBacks<T> backs = backs_;
        for (T* next = buffer_.get() + (end_ - begin_); next != filledBegin;)
            *--next = backs.take(compare_);
        backs_ = backs;
    }

    T* begin_;
    T* end_;
    std::unique_ptr<T[]> buffer_;
    Compare compare_;
    MergeFronts<T> fronts_; // thread 0's
    MergeBacks<T> backs_;   // thread 1's
};

/// Sorts indices on the shared pool like `SMPSort` by `Ordering::IndexedLessThan`
/// over `keys`, without comparing them: several times faster on long ranges.
QVGEOM_API void sortIndicesByKey(int* begin, int* end, const double* keys);
QVGEOM_API void sortIndicesByKey(int* begin, int* end, const float* keys);
QVGEOM_API void sortIndicesByKey(int* begin, int* end, const int* keys);

/// Whether `sortIndicesByKey` sorts as `Compare` does.
template <class Compare>
inline constexpr bool isOrderByKey = false;
template <class V>
inline constexpr bool isOrderByKey<Ordering::IndexedLessThan<V*>> =
    std::is_same_v<const V, const double> || std::is_same_v<const V, const float> ||
    std::is_same_v<const V, const int>;

/// Sorts by comparing, in two pieces when there are threads and items enough.
template <class T, class Compare>
void sortByComparing(T* begin, T* end, Compare compare) {
    constexpr std::ptrdiff_t kHandOverMin = 4096; // below, handing over costs more than it saves
    ThreadPool& pool = ThreadPool::get();

    if (pool.getNumThreads() == 1 || end - begin < kHandOverMin) {
        stableSort(begin, end, compare);
        return;
    }
    SMPSortPiecewise<T, Compare> pieces(begin, end, compare);
    pool.run(pieces);
    SMPSortMerge<T, Compare> merge(begin, end, new T[end - begin], compare);
    pool.run(merge);
}

/// Sorts [begin, end) on the shared pool. The sort is stable and gives the same
/// order for every number of threads. A comparator that is no strict weak order
/// leaves some permutation of the elements.
template <class T, class Compare>
void SMPSort(T* begin, T* end, Compare compare) {
    if constexpr (std::is_same_v<T, int> && isOrderByKey<Compare>)
        sortIndicesByKey(begin, end, compare.getValues());
    else
        sortByComparing(begin, end, compare);
}

template <class Compare>
void Ordering::sort(Compare compare) {
    SMPSort(indices_.data(), indices_.data() + indices_.size(), compare);
}

} // namespace qvUtil
