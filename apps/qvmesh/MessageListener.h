/// \file
/// What the library tells its user.
#pragma once

#include <string>

namespace qvmesh {

/// Hears the library's messages while it lives: keeps errors, and prints the rest, if anything is
/// wanted, among its timing lines.
class MessageListener {
public:
    MessageListener();
    MessageListener(const MessageListener&) = delete;
    MessageListener& operator=(const MessageListener&) = delete;
    ~MessageListener();

    bool heardErrors() const { return !errors_.empty(); }

    /// The text without the operation's name before it, which tells the user nothing.
    std::string errors() const;

private:
    std::string errors_;
};

} // namespace qvmesh
