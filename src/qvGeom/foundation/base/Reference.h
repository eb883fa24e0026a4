/// \file
/// Reference counting: a counted base and the handle that owns a share of it.
#pragma once

#include <cstdint>
#include <utility>

#include "qvGeom/Export.h"

namespace qv {

/// Base of objects that share ownership by counting. The count is a plain
/// integer: an object and its handles belong to one thread at a time. It starts
/// at 0, so that the same type can also live on the stack, uncounted.
class QVGEOM_API ReferenceCount {
public:
    ReferenceCount() = default;

    /// A copy is an object of its own and starts at 0.
    ReferenceCount(const ReferenceCount&) noexcept {}

    /// Both objects keep their count: handles to them are not assigned.
    ReferenceCount& operator=(const ReferenceCount&) noexcept { return *this; }

    virtual ~ReferenceCount() = default;

    void ref() const { ++count_; }

    /// Subtracts one and deletes the object when the count reaches 0.
    void unref() const;

    int getReferenceCount() const { return count_; }

private:
    mutable std::int32_t count_ = 0;
};

/// Base of the implementation objects that public classes hold by `Reference`.
class QVGEOM_API ImplBase : public ReferenceCount {};

/// Owning handle: copying it adds to the count, dropping it subtracts, and the
/// last one dropped deletes the object. `T` may be incomplete where the handle
/// is only declared.
template <class T>
class Reference {
public:
    Reference() = default;

    Reference(T* object) : object_(object) { acquire(); }

    Reference(const Reference& other) : object_(other.object_) { acquire(); }

    Reference(Reference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

    /// Converts a handle to a derived class into one to its base.
    template <class U>
    Reference(const Reference<U>& other) : object_(other.get()) {
        acquire();
    }

    ~Reference() {
        if (object_)
            object_->unref();
    }

    Reference& operator=(const Reference& other) {
        Reference(other).swap(*this);
        return *this;
    }

    Reference& operator=(Reference&& other) noexcept {
        Reference(std::move(other)).swap(*this);
        return *this;
    }

    void swap(Reference& other) noexcept { std::swap(object_, other.object_); }

    T* get() const { return object_; }

    T* operator->() const { return object_; }

    T& operator*() const { return *object_; }

    explicit operator bool() const { return object_ != nullptr; }

    template <class U>
    bool operator==(const Reference<U>& other) const {
        return object_ == other.get();
    }

    bool operator==(const T* object) const { return object_ == object; }

private:
    void acquire() {
        if (object_)
            object_->ref();
    }

    T* object_ = nullptr;
};

} // namespace qv
