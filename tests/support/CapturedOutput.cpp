#include "support/CapturedOutput.h"

#include <algorithm>

#include "qvGeom/foundation/base/Diagnostics.h"

namespace test {

CapturedOutput::CapturedOutput() : debugWasEnabled_(qvGeom::debugChannel().enabled()) {
    qvGeom::debugChannel().setSink(
        [](void* user, const char* text) { static_cast<CapturedOutput*>(user)->debug_ += text; },
        this);
    qvGeom::debugChannel().setEnabled(true);
    qvOS::AppOutput::getInstance().setSink(
        [](void* user, bool isError, const char* text) {
            auto* const captured = static_cast<CapturedOutput*>(user);
            (isError ? captured->error_ : captured->info_) += text;
        },
        this);
}

CapturedOutput::~CapturedOutput() {
    qvGeom::debugChannel().setEnabled(debugWasEnabled_);
    qvGeom::debugChannel().setSink(nullptr, nullptr);
    qvOS::AppOutput::getInstance().setSink(nullptr, nullptr);
}

std::string CapturedOutput::debugWithoutSeconds() const {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    std::string text;
    for (std::size_t i = 0; i < debug_.size();) {
        const auto end = std::find_if_not(debug_.begin() + i, debug_.end(),
                                          [&](char c) { return isDigit(c) || c == '.'; });
        const std::string word(debug_.begin() + i, end);
        const bool isSeconds = word.size() > 7 && word.find('.') == word.size() - 7;
        text += isSeconds ? "S" : word.empty() ? std::string(1, debug_[i]) : word;
        i += word.empty() ? 1 : word.size();
    }
    return text;
}

void CapturedOutput::clear() {
    debug_.clear();
    info_.clear();
    error_.clear();
}

} // namespace test
