/// \file
/// A stable sort for indices, made for comparators that look a key up: it keeps many
/// lookups under way at once.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace qvUtil {

/// The fronts of two adjacent sorted runs in a merge. Does not look for their ends:
/// as many items as the shorter run has can be taken whatever `compare` answers.
template <class T>
struct MergeFronts {
    // The branch is no less likely than the other: it is marked so that compilers keep
    // it. A selection would wait for both keys, where a branch lets the processor go on
    // to the next lookups meanwhile.
    template <class Compare>
    T take(Compare&& compare) {
        if (compare(*right, *left)) [[unlikely]]
            return *right++;
        return *left++; // ties come from the left
    }

    const T* left;
    const T* right;
};

/// The same from the backs, each pointing past the last item not yet taken.
template <class T>
struct MergeBacks {
    template <class Compare>
    T take(Compare&& compare) {
        if (compare(right[-1], left[-1])) [[unlikely]]
            return *--left;
        return *--right; // ties come from the right
    }

    const T* left;
    const T* right;
};

/// Ends a merge of n items whose fronts and backs have each taken n/2 into `merged`:
/// places the item left over when n is odd. Fronts and backs that do not meet show
/// that `compare` is no strict weak order; the runs, adjacent at `runs`, are then
/// merged once more from the front alone, which keeps every item.
template <class T, class Compare>
void completeMerge(const MergeFronts<T>& fronts, const MergeBacks<T>& backs, const T* runs,
                   const T* rightRun, std::ptrdiff_t n, T* merged, Compare& compare) {
    if (fronts.left > backs.left || fronts.right > backs.right)
        std::merge(runs, rightRun, rightRun, runs + n, merged, compare);
    else if (n % 2 != 0)
        merged[n / 2] = fronts.left < backs.left ? *fronts.left : *fronts.right;
}

/// Sorts ranges with the help of a scratch array as long as the longest of them.
template <class T, class Compare>
class StableSorter {
    static_assert(std::is_trivially_copyable_v<T>, "sorts indices, not the records they name");

public:
    StableSorter(T* scratch, Compare compare) : scratch_(scratch), compare_(compare) {}

    /// Sorts stably. With a comparator that is no strict weak order, leaves some
    /// permutation of the items.
    void sort(T* items, std::ptrdiff_t n) {
        if (!std::is_sorted(items, items + n, compare_))
            quickSort(items, n, 2 * static_cast<int>(std::bit_width(static_cast<std::size_t>(n))));
    }

private:
    static constexpr std::ptrdiff_t kQuickSortMin = 32;
    static constexpr std::ptrdiff_t kInsertionSortMax = 4;

    /// Partitions around pivots while that divides the range; the merge sort takes
    /// over for short ranges, and where bad pivots have used up `depth`.
    void quickSort(T* items, std::ptrdiff_t n, int depth) {
        while (n > kQuickSortMin && depth-- > 0) {
            const T pivot = choosePivot(items, n);
            const std::ptrdiff_t numLess =
                partition(items, n, [&](T item) { return compare_(item, pivot); });
            if (numLess > 0) {
                quickSort(items, numLess, depth);
                items += numLess;
                n -= numLess;
            } else { // the pivot is a least item: those equivalent to it are in place
                const std::ptrdiff_t numEqual =
                    partition(items, n, [&](T item) { return !compare_(pivot, item); });
                items += numEqual;
                n -= numEqual;
            }
        }
        mergeSort(items, scratch_, n, false);
    }

    /// Moves the items that satisfy `goesFirst` before the others, keeping the order
    /// of both, and returns their number. Every item is stored on both sides, since
    /// choosing one would be a branch.
    template <class Predicate>
    std::ptrdiff_t partition(T* items, std::ptrdiff_t n, Predicate goesFirst) {
        T* const scratch = scratch_;
        std::ptrdiff_t numFirst = 0;
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const T item = items[i];
            items[numFirst] = item;
            scratch[i - numFirst] = item;
            numFirst += goesFirst(item);
        }
        std::copy(scratch, scratch + (n - numFirst), items + numFirst);
        return numFirst;
    }

    T choosePivot(const T* items, std::ptrdiff_t n) {
        constexpr std::ptrdiff_t kNineSamplesMin = 512;
        const std::ptrdiff_t step = n / 9;
        const T* const middle = items + n / 2;
        if (n < kNineSamplesMin)
            return medianOf3(middle[-3 * step], middle[0], middle[3 * step]);
        return medianOf3(medianOf3(middle[-4 * step], middle[-3 * step], middle[-2 * step]),
                         medianOf3(middle[-step], middle[0], middle[step]),
                         medianOf3(middle[2 * step], middle[3 * step], middle[4 * step]));
    }

    T medianOf3(T a, T b, T c) {
        if (compare_(b, a))
            std::swap(a, b);
        if (!compare_(c, b))
            return b;
        return compare_(c, a) ? a : c;
    }

    /// Sorts `items` in place, or into `other`, using each as the other's scratch.
    void mergeSort(T* items, T* other, std::ptrdiff_t n, bool intoOther) {
        if (n <= kInsertionSortMax) {
            insertionSort(items, n);
            if (intoOther)
                std::copy(items, items + n, other);
            return;
        }
        const std::ptrdiff_t half = (n + 1) / 2;
        mergeSort(items, other, half, !intoOther);
        mergeSort(items + half, other + half, n - half, !intoOther);
        if (intoOther)
            merge(items, half, n, other);
        else
            merge(other, half, n, items);
    }

    /// Merges from both ends in turn: two chains of lookups that do not wait for
    /// each other.
    void merge(const T* runs, std::ptrdiff_t half, std::ptrdiff_t n, T* merged) {
        MergeFronts<T> fronts{.left = runs, .right = runs + half};
        MergeBacks<T> backs{.left = runs + half, .right = runs + n};
        for (std::ptrdiff_t i = 0; i < n / 2; ++i) {
            merged[i] = fronts.take(compare_);
            merged[n - 1 - i] = backs.take(compare_);
        }
        completeMerge(fronts, backs, runs, runs + half, n, merged, compare_);
    }

    void insertionSort(T* items, std::ptrdiff_t n) {
        for (std::ptrdiff_t i = 1; i < n; ++i) {
            const T item = items[i];
            std::ptrdiff_t hole = i;
            for (; hole > 0 && compare_(item, items[hole - 1]); --hole)
                items[hole] = items[hole - 1];
            items[hole] = item;
        }
    }

    T* scratch_;
    Compare compare_;
};

/// Sorts [begin, end) stably on the calling thread.
template <class T, class Compare>
void stableSort(T* begin, T* end, Compare compare) {
    const auto scratch = std::make_unique_for_overwrite<T[]>(end - begin);
    StableSorter<T, Compare>(scratch.get(), compare).sort(begin, end - begin);
}

} // namespace qvUtil
