#include "qvmesh/Program.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <optional>
#include <string>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/base/ThreadPool.h"

#include "qvmesh/Command.h"
#include "qvmesh/Failure.h"
#include "qvmesh/Job.h"
#include "qvmesh/Limits.h"
#include "qvmesh/ProgressBar.h"

namespace qvmesh {
namespace {

enum ExitCode : int { Done = 0, Refused = 2, Interrupted = 130 };

constexpr int kMaxThreads = 1024;

/// What every command accepts.
struct CommonOptions {
    int threads = 0; // 0: one per processor
    bool verbose = false;
    bool json = false;
};

void declareCommonOptions(CLI::App& app, CommonOptions& options) {
    app.add_option("--threads", options.threads, "Number of threads (default: one per processor)")
        ->check(wholeNumber(1, kMaxThreads))
        ->type_name("N");
    app.add_flag("--verbose", options.verbose,
                 "Print the library's timing lines on standard error");
    app.add_flag("--json", options.json, "Print the result as JSON, and nothing else");
    app.set_version_flag("--version", "qvmesh " QVMESH_VERSION, "Print the version and exit");
}

bool isCommand(const std::string& name) {
    const Command* command = Command::first();
    while (command && command->name() != name)
        command = command->next();
    return command;
}

qvUtil::Progress* interruptible = nullptr;

/// Makes Ctrl-C and a polite kill cancel `progress` while it lives.
class InterruptScope {
public:
    explicit InterruptScope(qvUtil::Progress& progress) {
        interruptible = &progress;
        struct sigaction action = {};
        action.sa_handler = [](int) { interruptible->cancel(); }; // one lock-free store
        sigaction(SIGINT, &action, nullptr);
        sigaction(SIGTERM, &action, nullptr);
    }

    InterruptScope(const InterruptScope&) = delete;
    InterruptScope& operator=(const InterruptScope&) = delete;

    ~InterruptScope() {
        std::signal(SIGINT, SIG_DFL);
        std::signal(SIGTERM, SIG_DFL);
    }
};

/// Prints one line whatever the text holds: file names may have line ends in them.
int refuse(std::string text) {
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7f; };
    text.erase(std::find_if_not(text.rbegin(), text.rend(), isControl).base(), text.end());
    std::replace_if(text.begin(), text.end(), isControl, ' ');
    std::fprintf(stderr, "qvmesh: %s\n", text.c_str());
    return Refused;
}

int runCommand(Command& command, const CommonOptions& options) {
    qvGeom::debugChannel().setEnabled(options.verbose);
    std::optional<qvUtil::ThreadPool> pool;
    if (options.threads > 0)
        qvUtil::ThreadPool::setShared(&pool.emplace(options.threads));

    qvUtil::Progress progress;
    int result = Done;
    try {
        const InterruptScope interrupts(progress);
        Job job(progress);
        {
            const ProgressBar bar(progress);
            command.run(job);
        }
        job.printReport(options.json ? Report::Style::Json : Report::Style::Text);
    } catch (const Cancelled&) {
        result = Interrupted;
    } catch (const std::bad_alloc&) {
        result = refuse("out of memory");
    } catch (const std::exception& error) {
        // A call that a signal broke off may have failed for that.
        result = progress.cancelled() ? Interrupted : refuse(error.what());
    }
    qvUtil::ThreadPool::setShared(nullptr);
    return result;
}

} // namespace

int runProgram(int argc, char** argv) {
    CLI::App app("Works on triangle meshes.", "qvmesh");
    CommonOptions options;
    Command* chosen = nullptr;

    app.set_version_flag("--version", "qvmesh " QVMESH_VERSION, "Print the version and exit");
    app.require_subcommand(1);
    for (Command* command = Command::first(); command; command = command->next()) {
        CLI::App& sub = *app.add_subcommand(command->name(), command->summary());
        command->declareArguments(sub);
        declareCommonOptions(sub, options);
        sub.footer(std::string("Examples:\n") + command->examples());
        sub.callback([command, &chosen] { chosen = command; });
    }
    app.footer("'qvmesh COMMAND --help' describes a command and shows examples.");

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& wanted) { // help and version
        return app.exit(wanted);
    } catch (const CLI::ParseError& error) {
        std::string use = "qvmesh";
        if (argc > 1) {
            if (!isCommand(argv[1]))
                return refuse(std::string("there is no command ") + argv[1]);
            use += std::string(" ") + argv[1];
        }
        return refuse(std::string(error.what()) + " ('" + use + " --help' shows the use)");
    }
    return runCommand(*chosen, options);
}

} // namespace qvmesh
