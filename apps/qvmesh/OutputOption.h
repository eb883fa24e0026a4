/// \file
/// The options with which a command is told what file to write.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace qvmesh {

class Job;
class OutputFile;

/// The extension of the file's name, in small letters and without dot.
std::string extensionOf(const std::string& path);

/// A file that a command writes if it is told to.
class OutputOption {
public:
    OutputOption();
    OutputOption(const OutputOption&) = delete;
    OutputOption& operator=(const OutputOption&) = delete;
    ~OutputOption();

    /// Declares the options that name the file, of which `what` says the kind, and its format: one
    /// of `extensions`. Returns the first of them, which need not be given unless the caller says
    /// so.
    CLI::Option* declare(CLI::App& app, const std::string& what,
                         const std::vector<std::string>& extensions);

    /// Declares an option of this name for a file of one format.
    CLI::Option* declare(CLI::App& app, const char* name, const std::string& what,
                         const std::string& extension);

    bool isGiven() const { return !path_.empty(); }

    const std::string& path() const { return path_; }

    /// What was chosen; known once it is prepared.
    const std::string& extension() const { return extension_; }

    /// Refuses at once what could only fail in the end. Throws Failure.
    void prepare(Job& job);
    /// Refuses a file that is read as well. Throws Failure.
    void keepApartFrom(const std::string& input) const;

    using Writer = std::function<void(const OutputFile&)>;
    /// Has the file written as the last stage of `job`, if one is given. Throws Failure or
    /// Cancelled, and then whatever the file held is still there.
    void write(Job& job, double share, const Writer& writer);

    // The two steps of it, for commands that write several files.

    /// Has the file written beside its place.
    void store(Job& job, double share, const Writer& writer);
    /// Moves it there.
    void commit();

private:
    std::string path_;
    std::string extension_;
    std::vector<std::string> extensions_;
    std::unique_ptr<OutputFile> file_;
};

} // namespace qvmesh
