/// \file
/// Selections: one bit per vertex or triangle.
#pragma once

#include <cstdint>
#include <memory>

#include "qvGeom/Export.h"

namespace qvGeom {

/// A sized row of bits that knows how many of them are set. Indices are not checked.
class QVGEOM_API BitVector {
public:
    BitVector() = default;
    /// `size` clear bits; none for a size below 1.
    explicit BitVector(int size);
    BitVector(const BitVector& other);
    BitVector(BitVector&& other) noexcept;
    BitVector& operator=(const BitVector& other);
    BitVector& operator=(BitVector&& other) noexcept;
    ~BitVector() = default;

    /// Keeps the bits both sizes have; new ones are clear. A size below 1 empties the vector.
    void resize(int size);
    void setAllBits();
    void clearBits();
    /// Sets the bits that `indices` names, `count` of them; naming a bit twice is fine.
    void setBits(int count, const int* indices);
    /// Sets every bit that is set in `other`, up to the smaller of both sizes; the size stays.
    BitVector& operator|=(const BitVector& other);
    void swap(BitVector& other) noexcept;

    int size() const { return size_; }

    int numSetBits() const { return numSet_; }

    bool test(int i) const { return (words_[wordOf(i)] & maskOf(i)) != 0; }

    void set(int i) {
        std::uint32_t& word = words_[wordOf(i)];
        numSet_ += (word & maskOf(i)) == 0;
        word |= maskOf(i);
    }

    void clear(int i) {
        std::uint32_t& word = words_[wordOf(i)];
        numSet_ -= (word & maskOf(i)) != 0;
        word &= ~maskOf(i);
    }

    void set(int i, bool on) { on ? set(i) : clear(i); }

    friend bool operator==(const BitVector& a, const BitVector& b) { return a.equals(b); }

private:
    static std::uint32_t wordOf(int i) { return static_cast<std::uint32_t>(i) / 32; }

    static std::uint32_t maskOf(int i) {
        return std::uint32_t{1} << (static_cast<std::uint32_t>(i) % 32);
    }

    int numWords() const { return size_ / 32 + (size_ % 32 != 0); }

    bool equals(const BitVector& other) const;
    void clearPastEnd();
    void countSetBits();

    int size_ = 0;
    int numSet_ = 0;
    std::unique_ptr<std::uint32_t[]> words_; // bits past the size are clear
};

/// Whether a filter lets element `i` through: one without any bits lets everything through.
inline bool isSelected(const BitVector& filter, int i) {
    return filter.size() == 0 || filter.test(i);
}

} // namespace qvGeom
