/// \file
/// A shared pool of a chosen size, for one scope.
#pragma once

#include "qvGeom/foundation/base/ThreadPool.h"

namespace test {

class ScopedThreadCount {
public:
    explicit ScopedThreadCount(int threads)
        : pool_(threads),
          previous_(qvUtil::ThreadPool::setShared(&pool_)) {}

    ScopedThreadCount(const ScopedThreadCount&) = delete;
    ScopedThreadCount& operator=(const ScopedThreadCount&) = delete;

    ~ScopedThreadCount() { qvUtil::ThreadPool::setShared(previous_); }

private:
    qvUtil::ThreadPool pool_;
    qvUtil::ThreadPool* previous_;
};

} // namespace test
