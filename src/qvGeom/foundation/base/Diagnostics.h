/// \file
/// The two channels of text output: statistics for developers, messages for users.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "qvGeom/Export.h"

namespace qvOS {

/// Statistics and timing lines. Off until enabled; then written to standard error.
/// Open to every thread.
class QVGEOM_API DebugChannel {
public:
    using Sink = void (*)(void* user, const char* text);

    DebugChannel() = default;
    DebugChannel(const DebugChannel&) = delete;
    DebugChannel& operator=(const DebugChannel&) = delete;
    ~DebugChannel() = default;

    /// Prints like printf when the channel is on and does nothing otherwise.
    __attribute__((format(printf, 2, 3))) void print(const char* format, ...);

    bool enabled() const { return enabled_.load(std::memory_order_relaxed); }

    void setEnabled(bool enabled) { enabled_.store(enabled, std::memory_order_relaxed); }

    /// Sends every text to `sink` as printed, on the thread that prints it; null restores
    /// standard error.
    void setSink(Sink sink, void* user);

private:
    std::atomic<bool> enabled_{false};
    std::mutex mutex_; // of the two below
    Sink sink_ = nullptr;
    void* user_ = nullptr;
};

/// Messages meant for the user: information goes to standard output and errors to
/// standard error, each ended with a line end where the text has none. Open to
/// every thread.
class QVGEOM_API AppOutput {
public:
    using Sink = void (*)(void* user, bool isError, const char* text);

    AppOutput() = default;
    AppOutput(const AppOutput&) = delete;
    AppOutput& operator=(const AppOutput&) = delete;
    ~AppOutput() = default;

    static AppOutput& getInstance();

    __attribute__((format(printf, 2, 3))) void info(const char* format, ...);
    __attribute__((format(printf, 2, 3))) void error(const char* format, ...);

    /// Sends every text to `sink` as given, with no line end added, on the thread that
    /// prints it; null restores the default output.
    void setSink(Sink sink, void* user);

private:
    void write(bool isError, std::string text);

    std::mutex mutex_; // of the two below
    Sink sink_ = nullptr;
    void* user_ = nullptr;
};

} // namespace qvOS

namespace qvGeom {

/// The channel on which the library's algorithms print. It may be used at any
/// time, also while static objects are destroyed.
QVGEOM_API qvOS::DebugChannel& debugChannel();

} // namespace qvGeom
