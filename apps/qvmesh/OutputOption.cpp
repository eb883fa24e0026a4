#include "qvmesh/OutputOption.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>

#include "qvmesh/Failure.h"
#include "qvmesh/Job.h"
#include "qvmesh/Limits.h"
#include "qvmesh/OutputFile.h"
#include "qvmesh/formats/TextLines.h"

namespace qvmesh {
namespace {

namespace fs = std::filesystem;

/// In small letters and without dot.
std::string plainExtension(const std::string& extension) {
    return inSmallLetters(extension.starts_with('.') ? extension.substr(1) : extension);
}

std::string listOf(const std::vector<std::string>& extensions) {
    std::string list;
    for (const std::string& extension : extensions)
        list += (list.empty() ? "." : ", .") + extension;
    return list;
}

} // namespace

std::string extensionOf(const std::string& path) {
    return plainExtension(fs::path(path).extension().string());
}

OutputOption::OutputOption() = default;
OutputOption::~OutputOption() = default;

CLI::Option* OutputOption::declare(CLI::App& app, const std::string& what,
                                   const std::vector<std::string>& extensions) {
    extensions_ = extensions;
    CLI::Option* const option =
        app.add_option("-o,--output", path_, what + " to write (" + listOf(extensions) + ")")
            ->check(fileName())
            ->type_name("FILE");
    app.add_option("--format", extension_, "Format to write, if the file's name does not say it")
        ->type_name("EXTENSION")
        ->needs(option);
    return option;
}

CLI::Option* OutputOption::declare(CLI::App& app, const char* name, const std::string& what,
                                   const std::string& extension) {
    extensions_ = {extension};
    return app.add_option(name, path_, what + " to write (." + extension + ")")
        ->check(fileName())
        ->type_name("FILE");
}

void OutputOption::prepare(Job& job) {
    if (!isGiven())
        return;
    extension_ = extension_.empty() ? extensionOf(path_) : plainExtension(extension_);
    if (std::find(extensions_.begin(), extensions_.end(), extension_) == extensions_.end())
        throw Failure(path_ + ": is of no format that can be written (which are " +
                      listOf(extensions_) + ")");
    file_ = std::make_unique<OutputFile>(path_);
    if (file_->isStandardOutput())
        job.reportToStandardError();
}

void OutputOption::keepApartFrom(const std::string& input) const {
    std::error_code error;
    if (fs::equivalent(input, path_, error))
        throw Failure(path_ + ": is a mesh that is read; the output would replace it");
}

void OutputOption::write(Job& job, double share, const Writer& writer) {
    store(job, share, writer);
    commit(); // from here on it is too late to stop
}

void OutputOption::store(Job& job, double share, const Writer& writer) {
    if (isGiven())
        job.stage("write", share, [&](qvUtil::Progress&) { writer(*file_); });
}

void OutputOption::commit() {
    if (isGiven())
        file_->commit();
}

} // namespace qvmesh
