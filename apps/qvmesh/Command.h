/// \file
/// What a command of the program is.
#pragma once

namespace CLI {
class App;
}

namespace qvmesh {

class Job;

/// One command. To add one, derive from this class in a file of its own and define there one static
/// object: its construction puts it in the list.
class Command {
public:
    /// The texts are kept as pointers. `examples` holds whole lines.
    Command(const char* name, const char* summary, const char* examples);
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /// The first command in the order of names, or null; next() goes on from there.
    static Command* first();

    Command* next() const { return next_; }

    const char* name() const { return name_; }

    const char* summary() const { return summary_; }

    const char* examples() const { return examples_; }

    /// Declares the arguments of this command, beside those that all have.
    virtual void declareArguments(CLI::App& app) = 0;
    /// Throws Failure or Cancelled when it cannot finish; all files are then as before.
    virtual void run(Job& job) = 0;

protected:
    ~Command() = default; // commands are static objects: nobody deletes one

private:
    const char* name_;
    const char* summary_;
    const char* examples_;
    Command* next_ = nullptr;
};

} // namespace qvmesh
