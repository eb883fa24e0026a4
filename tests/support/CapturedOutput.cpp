#include "support/CapturedOutput.h"

#include <regex>

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
    return std::regex_replace(debug_, std::regex(R"(\b\d+\.\d{6}\b)"), "S");
}

void CapturedOutput::clear() {
    debug_.clear();
    info_.clear();
    error_.clear();
}

} // namespace test
