#include "qvGeom/foundation/geometry/BitVector.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace qvGeom {

BitVector::BitVector(int size) { resize(size); }

BitVector::BitVector(const BitVector& other) : size_(other.size_), numSet_(other.numSet_) {
    if (size_ == 0)
        return;
    words_ = std::make_unique<std::uint32_t[]>(static_cast<std::size_t>(numWords()));
    std::copy_n(other.words_.get(), numWords(), words_.get());
}

BitVector::BitVector(BitVector&& other) noexcept { swap(other); }

BitVector& BitVector::operator=(const BitVector& other) {
    BitVector(other).swap(*this);
    return *this;
}

BitVector& BitVector::operator=(BitVector&& other) noexcept {
    BitVector(std::move(other)).swap(*this);
    return *this;
}

void BitVector::resize(int size) {
    size = std::max(size, 0);
    if (size == size_)
        return;
    BitVector resized;
    if (size > 0) {
        resized.size_ = size;
        resized.words_ =
            std::make_unique<std::uint32_t[]>(static_cast<std::size_t>(resized.numWords()));
        std::copy_n(words_.get(), std::min(numWords(), resized.numWords()), resized.words_.get());
        resized.clearPastEnd();
        resized.countSetBits();
    }
    swap(resized);
}

void BitVector::setAllBits() {
    std::fill_n(words_.get(), numWords(), ~std::uint32_t{0});
    clearPastEnd();
    numSet_ = size_;
}

void BitVector::clearBits() {
    std::fill_n(words_.get(), numWords(), std::uint32_t{0});
    numSet_ = 0;
}

void BitVector::setBits(int count, const int* indices) {
    for (int i = 0; i < count; ++i)
        set(indices[i]);
}

BitVector& BitVector::operator|=(const BitVector& other) {
    const int common = std::min(numWords(), other.numWords());
    for (int w = 0; w < common; ++w)
        words_[w] |= other.words_[w];
    clearPastEnd();
    countSetBits();
    return *this;
}

void BitVector::swap(BitVector& other) noexcept {
    std::swap(size_, other.size_);
    std::swap(numSet_, other.numSet_);
    words_.swap(other.words_);
}

bool BitVector::equals(const BitVector& other) const {
    return size_ == other.size_ && numSet_ == other.numSet_ &&
           std::equal(words_.get(), words_.get() + numWords(), other.words_.get());
}

void BitVector::clearPastEnd() {
    if (size_ % 32 != 0)
        words_[numWords() - 1] &= maskOf(size_) - 1;
}

void BitVector::countSetBits() {
    numSet_ = 0;
    for (int w = 0; w < numWords(); ++w)
        numSet_ += std::popcount(words_[w]);
}

} // namespace qvGeom
