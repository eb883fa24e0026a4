/// \file
/// What the library prints during one scope.
#pragma once

#include <string>

namespace test {

/// Switches the debug channel on and keeps its text and the application's from
/// the terminal. Restores the default outputs at the end of the scope.
class CapturedOutput {
public:
    CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;
    ~CapturedOutput();

    const std::string& debug() const { return debug_; }

    /// The debug text with an S in place of every number of six decimals, which are
    /// how seconds are printed.
    std::string debugWithoutSeconds() const;

    const std::string& info() const { return info_; }

    const std::string& error() const { return error_; }

    void clear();

private:
    bool debugWasEnabled_;
    std::string debug_;
    std::string info_;
    std::string error_;
};

} // namespace test
