#include <array>
#include <bit>
#include <cstdint>
#include <limits>

#include "qvGeom/foundation/base/SMPSort.h"
#include "qvGeom/foundation/base/internal/OrderedBits.h"

namespace qvUtil {
namespace {

using Word = std::uint64_t;

using qvUtil::orderedBits;

Word orderedBits(int key) {
    return static_cast<Word>(std::int64_t{key} - std::numeric_limits<int>::min());
}

int bitWidth(Word value) { return static_cast<int>(std::bit_width(value)); }

constexpr int kNumPieces = 2;
constexpr int kNumDigits = 3;
constexpr int kMaxDigitBits = 11;

/// How an index and the leading bits of its key share one word: the key's distance
/// from the least key, less `droppedBits` at its end, above the index.
struct WordFormat {
    Word leastKey;
    int droppedBits;
    bool losesBits; // whether keys may differ in the dropped bits alone
    int indexBits;
    int digitBits;

    Word pack(Word key, int index) const {
        return (key - leastKey) >> droppedBits << indexBits | static_cast<Word>(index);
    }

    int index(Word word) const { return static_cast<int>(word & ((Word{1} << indexBits) - 1)); }

    Word key(Word word) const { return word >> indexBits; }

    unsigned digit(Word word, int place) const {
        return static_cast<unsigned>(word >> (indexBits + place * digitBits)) &
               ((1U << digitBits) - 1);
    }
};

template <class Key>
struct Job {
    int* begin;
    int n;
    const Key* keys;

    Word orderedKey(int index) const { return orderedBits(keys[index]); }

    IndexRange piece(int number) const { return sliceOf(n, number, kNumPieces); }
};

/// Calls `work` for the pieces that fall to a thread.
template <class Work>
void forPiecesOf(int thread, int numThreads, const Work& work) {
    for (int piece = thread; piece < kNumPieces; piece += numThreads)
        work(piece);
}

/// Finds the extent of keys and indices, from which the word format follows.
template <class Key>
class ExtentAlg final : public ThreadedAlg {
public:
    explicit ExtentAlg(const Job<Key>& job) : job_(job) {}

    void threadFunc(int thread, int numThreads) override {
        forPiecesOf(thread, numThreads, [&](int piece) {
            Extent extent;
            const Word anyKey = job_.orderedKey(job_.begin[0]);
            for (const int i : job_.piece(piece)) {
                const int index = job_.begin[i];
                const Word key = job_.orderedKey(index);
                extent.include(key, index);
                extent.differingBits |= key ^ anyKey;
            }
            extents_[piece] = extent;
        });
    }

    void finalize() override {
        for (const Extent& extent : extents_) {
            whole_.include(extent.leastKey, extent.leastIndex);
            whole_.include(extent.greatestKey, extent.greatestIndex);
            whole_.differingBits |= extent.differingBits;
        }
    }

    bool hasNegativeIndex() const { return whole_.leastIndex < 0; }

    /// Drops the last bits where all keys agree, and keeps as many of the others as
    /// the digits hold, but no more than usually tell the keys of n items apart.
    WordFormat format() const {
        const int spanBits = bitWidth(whole_.greatestKey - whole_.leastKey);
        const int agreeingBits = std::min(std::countr_zero(whole_.differingBits), spanBits);
        const int usefulBits = bitWidth(job_.n) + 12;
        const int keptBits =
            std::min({spanBits - agreeingBits, usefulBits, kNumDigits * kMaxDigitBits});
        return {.leastKey = whole_.leastKey,
                .droppedBits = spanBits - keptBits,
                .losesBits = spanBits - keptBits > agreeingBits,
                .indexBits = bitWidth(whole_.greatestIndex),
                .digitBits = (keptBits + kNumDigits - 1) / kNumDigits};
    }

private:
    struct Extent {
        Word leastKey = ~Word{0};
        Word greatestKey = 0;
        Word differingBits = 0;
        int leastIndex = std::numeric_limits<int>::max();
        int greatestIndex = std::numeric_limits<int>::min();

        void include(Word key, int index) {
            leastKey = std::min(leastKey, key);
            greatestKey = std::max(greatestKey, key);
            leastIndex = std::min(leastIndex, index);
            greatestIndex = std::max(greatestIndex, index);
        }
    };

    Job<Key> job_;
    std::array<Extent, kNumPieces> extents_;
    Extent whole_;
};

/// Sorts the words of each piece, digit by digit from the last.
template <class Key>
class SortPiecesAlg final : public ThreadedAlg {
public:
    SortPiecesAlg(const Job<Key>& job, const WordFormat& format)
        : job_(job),
          format_(format),
          words_(std::make_unique_for_overwrite<Word[]>(job.n)),
          other_(std::make_unique_for_overwrite<Word[]>(job.n)) {}

    void threadFunc(int thread, int numThreads) override {
        forPiecesOf(thread, numThreads, [&](int piece) { sortPiece(piece); });
    }

    const Word* sortedPiece(int piece) const { return sorted_[piece]; }

private:
    using Digits = std::array<std::array<int, 1 << kMaxDigitBits>, kNumDigits>;

    void sortPiece(int number) {
        const IndexRange piece = job_.piece(number);
        Digits counts;
        packAndCount(piece, counts);

        Word* from = words_.get() + piece.first;
        Word* to = other_.get() + piece.first;
        for (int place = 0; place < kNumDigits; ++place) {
            if (distribute(from, to, piece.size(), place, counts[place]))
                std::swap(from, to);
        }
        if (format_.losesBits)
            sortTies(from, from + piece.size(), to);
        sorted_[number] = from;
    }

    void packAndCount(const IndexRange& piece, Digits& counts) {
        for (auto& countsOfPlace : counts)
            std::fill_n(countsOfPlace.begin(), 1 << format_.digitBits, 0);
        for (const int i : piece) {
            const int index = job_.begin[i];
            const Word word = format_.pack(orderedBits(job_.keys[index]), index);
            words_[i] = word;
            for (int place = 0; place < kNumDigits; ++place)
                ++counts[place][format_.digit(word, place)];
        }
    }

    /// Moves the words into the order of one digit; false, and nothing moved, when
    /// they all have the same. Uses up `counts`.
    bool distribute(const Word* from, Word* to, int n, int place,
                    std::array<int, 1 << kMaxDigitBits>& counts) const {
        if (n == 0 || counts[format_.digit(from[0], place)] == n)
            return false;
        std::exclusive_scan(counts.begin(), counts.begin() + (1 << format_.digitBits),
                            counts.begin(), 0);
        for (const Word* word = from; word != from + n; ++word)
            to[counts[format_.digit(*word, place)]++] = *word;
        return true;
    }

    /// Orders words whose kept key bits agree by their whole keys.
    void sortTies(Word* begin, Word* end, Word* scratch) const {
        const auto isLess = [this](Word a, Word b) {
            return job_.orderedKey(format_.index(a)) < job_.orderedKey(format_.index(b));
        };
        StableSorter<Word, decltype(isLess)> sorter(scratch, isLess);
        for (Word* first = begin; first != end;) {
            Word* last = first + 1;
            while (last != end && format_.key(*last) == format_.key(*first))
                ++last;
            if (last - first > 1)
                sorter.sort(first, last - first);
            first = last;
        }
    }

    Job<Key> job_;
    WordFormat format_;
    std::unique_ptr<Word[]> words_;
    std::unique_ptr<Word[]> other_;
    std::array<const Word*, kNumPieces> sorted_{}; // in either of the two
};

/// Merges the two sorted pieces into the index array, from both ends at once.
template <class Key>
class MergePiecesAlg final : public ThreadedAlg {
public:
    MergePiecesAlg(const Job<Key>& job, const WordFormat& format, const Word* left,
                   const Word* right)
        : job_(job),
          format_(format),
          left_(left),
          leftEnd_(left + job.piece(0).size()),
          right_(right),
          rightEnd_(right + job.piece(1).size()) {}

    void threadFunc(int thread, int numThreads) override {
        forPiecesOf(thread, numThreads, [this](int end) {
            if (end == 0)
                fillFromFront();
            else
                fillFromBack();
        });
    }

private:
    bool isLess(Word a, Word b) const {
        const Word keyA = format_.key(a);
        const Word keyB = format_.key(b);
        if (keyA == keyB && format_.losesBits) [[unlikely]]
            return job_.orderedKey(format_.index(a)) < job_.orderedKey(format_.index(b));
        return keyA < keyB;
    }

    void fillFromFront() {
        const auto compare = [this](Word a, Word b) { return isLess(a, b); };
        MergeFronts<Word> fronts{.left = left_, .right = right_};
        int* const begin = job_.begin;
        for (int i = 0; i < job_.n / 2; ++i)
            begin[i] = format_.index(fronts.take(compare));
        if (job_.n % 2 == 0)
            return;

        const bool leftoverIsRight =
            fronts.left == leftEnd_ ||
            (fronts.right != rightEnd_ && isLess(*fronts.right, *fronts.left));
        begin[job_.n / 2] = format_.index(leftoverIsRight ? *fronts.right : *fronts.left);
    }

    void fillFromBack() {
        const auto compare = [this](Word a, Word b) { return isLess(a, b); };
        MergeBacks<Word> backs{.left = leftEnd_, .right = rightEnd_};
        int* const begin = job_.begin;
        for (int i = job_.n - 1; i >= (job_.n + 1) / 2; --i)
            begin[i] = format_.index(backs.take(compare));
    }

    Job<Key> job_;
    WordFormat format_;
    const Word* left_;
    const Word* leftEnd_;
    const Word* right_;
    const Word* rightEnd_;
};

/// Whether a sample shows that many keys differ in the dropped bits alone: ties
/// are broken one lookup at a time, and comparing all keys is then quicker.
template <class Key>
bool losesOrder(const Job<Key>& job, const WordFormat& format) {
    constexpr int kNumSamples = 128;
    constexpr int kFewTies = 4;
    if (!format.losesBits)
        return false;

    std::array<Word, kNumSamples> samples;
    for (int i = 0; i < kNumSamples; ++i)
        samples[i] = job.orderedKey(job.begin[sliceOf(job.n, i, kNumSamples).first]);
    std::sort(samples.begin(), samples.end());
    int numTies = 0;
    for (int i = 1; i < kNumSamples; ++i) {
        numTies += samples[i] != samples[i - 1] &&
                   format.pack(samples[i], 0) == format.pack(samples[i - 1], 0);
    }
    return numTies > kFewTies;
}

template <class Key>
void sortByKey(int* begin, int* end, const Key* keys) {
    constexpr std::ptrdiff_t kDigitSortMin = 512;
    constexpr std::ptrdiff_t kHandOverMin = 4096;
    const std::ptrdiff_t n = end - begin;
    const Job<Key> job{.begin = begin, .n = static_cast<int>(n), .keys = keys};
    const Ordering::IndexedLessThan<const Key*> isLess(keys);
    ThreadPool& pool = n < kHandOverMin ? ThreadPool::getSingleThreadedPool() : ThreadPool::get();

    if (n < kDigitSortMin) {
        stableSort(begin, end, isLess);
        return;
    }
    ExtentAlg<Key> extent(job);
    pool.run(extent);
    const WordFormat format = extent.format();
    // An index may be negative where the keys start inside an array.
    if (extent.hasNegativeIndex() || losesOrder(job, format)) {
        sortByComparing(begin, end, isLess);
        return;
    }
    SortPiecesAlg<Key> pieces(job, format);
    pool.run(pieces);
    MergePiecesAlg<Key> merge(job, format, pieces.sortedPiece(0), pieces.sortedPiece(1));
    pool.run(merge);
}

} // namespace

void sortIndicesByKey(int* begin, int* end, const double* keys) { sortByKey(begin, end, keys); }

void sortIndicesByKey(int* begin, int* end, const float* keys) { sortByKey(begin, end, keys); }

void sortIndicesByKey(int* begin, int* end, const int* keys) { sortByKey(begin, end, keys); }

} // namespace qvUtil
