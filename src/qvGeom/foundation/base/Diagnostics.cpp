#include "qvGeom/foundation/base/Diagnostics.h"

#include <cstdarg>
#include <cstdio>
#include <string>

namespace qvOS {
namespace {

__attribute__((format(printf, 1, 0))) std::string formatted(const char* format, va_list arguments) {
    va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);

    std::string text(length > 0 ? length : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

} // namespace

void DebugChannel::print(const char* format, ...) {
    if (!enabled())
        return;

    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);

    // The sink runs outside the lock, so that it may print and set sinks itself.
    std::unique_lock lock(mutex_);
    const Sink sink = sink_;
    void* const user = user_;
    lock.unlock();
    if (sink)
        sink(user, text.c_str());
    else
        std::fputs(text.c_str(), stderr);
}

void DebugChannel::setSink(Sink sink, void* user) {
    const std::scoped_lock lock(mutex_);
    sink_ = sink;
    user_ = user;
}

AppOutput& AppOutput::getInstance() {
    // Never destroyed: destructors of static objects may still print.
    static AppOutput* const instance = new AppOutput;
    return *instance;
}

void AppOutput::info(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    write(false, text);
}

void AppOutput::error(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    write(true, text);
}

void AppOutput::setSink(Sink sink, void* user) {
    const std::scoped_lock lock(mutex_);
    sink_ = sink;
    user_ = user;
}

void AppOutput::write(bool isError, std::string text) {
    std::unique_lock lock(mutex_);
    const Sink sink = sink_;
    void* const user = user_;
    lock.unlock();
    if (sink) {
        sink(user, isError, text.c_str());
        return;
    }
    if (!text.ends_with('\n'))
        text += '\n';
    std::fputs(text.c_str(), isError ? stderr : stdout);
}

} // namespace qvOS

namespace qvGeom {

qvOS::DebugChannel& debugChannel() {
    static qvOS::DebugChannel* const channel = new qvOS::DebugChannel; // never destroyed
    return *channel;
}

} // namespace qvGeom
