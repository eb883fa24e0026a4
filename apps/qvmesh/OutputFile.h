/// \file
/// Files that appear whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace qvmesh {

/// A file to be written. Regular ones are written beside their place and moved there when complete,
/// so that a run that fails leaves what was there before; devices and pipes are written directly.
class OutputFile {
public:
    /// Throws Failure when the place can be seen not to take a file.
    explicit OutputFile(const std::string& target);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    /// Removes what was not moved to its place.
    ~OutputFile();

    /// Where to write.
    const std::string& path() const { return path_; }

    /// Whether this is where standard output goes.
    bool isStandardOutput() const;

    /// Writes all of the file. Throws Failure.
    void write(std::string_view bytes) const;
    /// Moves the file to its place. Throws Failure.
    void commit();

    [[noreturn]] void fail(const std::string& reason) const;

private:
    std::string target_; // as the user calls it
    std::string place_;  // with links resolved; empty when written directly
    std::string path_;
};

} // namespace qvmesh
