/// \file
/// The array of which every mesh channel and index table is made.
#pragma once

#include <algorithm>
#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Reference.h"

namespace qvGeom {

/// Memory that a host lends to an Array in place of the heap. Nothing in this library makes one.
template <class T>
class ArrayStorage : public qv::ReferenceCount {
public:
    /// The block: the elements with one guard element before and one after them.
    virtual T* block() = 0;
    /// Makes room for `size` elements and two guards, keeping the common prefix and zeroing the
    /// rest.
    virtual void resize(int size) = 0;
    /// The array that borrowed the block is gone.
    virtual void release() = 0;
};

namespace detail {

/// Zeroed memory for `bytes` bytes. A large block lies on huge pages and goes back to the system
/// as soon as it is freed. Throws std::bad_alloc.
QVGEOM_API void* allocateZeroed(std::size_t bytes);
/// Frees a block of allocateZeroed; `bytes` is what was asked for. Null does nothing.
QVGEOM_API void freeZeroed(void* memory, std::size_t bytes) noexcept;

} // namespace detail

/// A sized block of elements with one guard element before the first and one after the last. An
/// empty array holds no block, so data() of it is null. Indices are not checked.
template <class T>
class Array {
public:
    Array() = default;

    /// `size` zeroed elements; none for a size below 1.
    explicit Array(int size) { resize(size); }

    /// A copy is on the heap, also one of elements that a host stores.
    Array(const Array& other) { copyFrom(other); }

    Array(Array&& other) noexcept { swap(other); }

    Array& operator=(const Array& other) {
        if (this != &other)
            Array(other).swap(*this);
        return *this;
    }

    Array& operator=(Array&& other) noexcept {
        Array(std::move(other)).swap(*this);
        return *this;
    }

    ~Array() {
        if (storage_)
            storage_->release();
        else
            freeBlock(block_, size_);
    }

    /// Keeps the first min(old, new) elements and zeroes the rest. The same size does nothing;
    /// any other, a smaller one too, moves the elements to a new block and makes pointers into the
    /// array invalid. A size below 1 frees the block.
    void resize(int size);

    /// Lets `storage` hold the elements from now on; what the array held is dropped. `size` is
    /// what the storage holds already.
    void setStorage(const qv::Reference<ArrayStorage<T>>& storage, int size);

    void swap(Array& other) noexcept {
        std::swap(size_, other.size_);
        std::swap(block_, other.block_);
        storage_.swap(other.storage_);
    }

    int size() const { return size_; }

    /// Element 0, or null when the array is empty.
    T* data() { return size_ > 0 ? block() + 1 : nullptr; }

    const T* data() const { return size_ > 0 ? block() + 1 : nullptr; }

    T& operator[](int i) { return block()[i + 1]; }

    const T& operator[](int i) const { return block()[i + 1]; }

    T* begin() { return data(); }

    T* end() { return data() + size_; }

    const T* begin() const { return data(); }

    const T* end() const { return data() + size_; }

private:
    // Records are plain bytes: they come zeroed from the system and are copied in one go.
    static constexpr bool kPlain = std::is_trivially_copyable_v<T> &&
                                   std::is_trivially_default_constructible_v<T> &&
                                   alignof(T) <= alignof(std::max_align_t);

    T* block() const { return storage_ ? storage_->block() : block_; }

    static std::size_t bytesOf(int size) {
        return (static_cast<std::size_t>(size) + 2) * sizeof(T);
    }

    static T* makeBlock(int size) {
        if constexpr (kPlain)
            return static_cast<T*>(detail::allocateZeroed(bytesOf(size)));
        else
            return new T[static_cast<std::size_t>(size) + 2]();
    }

    static void freeBlock(T* block, int size) noexcept {
        if constexpr (kPlain)
            detail::freeZeroed(block, bytesOf(size));
        else
            delete[] block;
    }

    void copyFrom(const Array& other) {
        if (other.size_ == 0)
            return;
        block_ = makeBlock(other.size_);
        size_ = other.size_;
        std::copy_n(other.data(), size_, block_ + 1);
    }

    int size_ = 0;
    T* block_ = nullptr;
    qv::Reference<ArrayStorage<T>> storage_;
};

template <class T>
void Array<T>::resize(int size) {
    size = std::max(size, 0);
    if (size == size_)
        return;
    if (storage_) {
        storage_->resize(size);
        size_ = size;
        return;
    }
    T* const fresh = size > 0 ? makeBlock(size) : nullptr;
    if (fresh && block_)
        std::move(block_ + 1, block_ + 1 + std::min(size, size_), fresh + 1);
    freeBlock(block_, size_);
    block_ = fresh;
    size_ = size;
}

template <class T>
void Array<T>::setStorage(const qv::Reference<ArrayStorage<T>>& storage, int size) {
    Array().swap(*this);
    storage_ = storage;
    size_ = size;
}

} // namespace qvGeom
