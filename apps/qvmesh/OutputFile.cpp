#include "qvmesh/OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "qvmesh/Failure.h"

namespace qvmesh {

namespace fs = std::filesystem;

OutputFile::OutputFile(const std::string& target) : target_(target), path_(target) {
    std::error_code error;
    const fs::file_status status = fs::status(target, error);
    if (fs::is_directory(status))
        fail("is a directory");
    if (fs::exists(status) && access(target.c_str(), W_OK) != 0)
        fail(std::strerror(errno));
    if (fs::exists(status) && !fs::is_regular_file(status))
        return;

    const fs::path place = fs::weakly_canonical(fs::absolute(target, error), error);
    const fs::path folder = place.parent_path();
    if (error || !fs::is_directory(folder, error))
        fail("there is no such directory");
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        fail(std::strerror(errno));
    place_ = place;
    // Several files of one run may go to one folder.
    static int numFiles = 0;
    path_ = folder / (".qvmesh-" + std::to_string(getpid()) + "-" + std::to_string(numFiles++));
}

OutputFile::~OutputFile() {
    if (!place_.empty())
        unlink(path_.c_str());
}

bool OutputFile::isStandardOutput() const {
    struct stat here = {};
    struct stat output = {};
    return stat(target_.c_str(), &here) == 0 && fstat(STDOUT_FILENO, &output) == 0 &&
           here.st_dev == output.st_dev && here.st_ino == output.st_ino;
}

void OutputFile::write(std::string_view bytes) const {
    std::FILE* const file = std::fopen(path_.c_str(), "wb");
    if (!file)
        fail(std::strerror(errno));
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    // The last bytes may reach a full disk only now.
    if (std::fclose(file) != 0 || !written)
        fail(std::strerror(errno));
}

void OutputFile::commit() {
    if (place_.empty())
        return;
    struct stat old = {};
    if (stat(place_.c_str(), &old) == 0)
        chmod(path_.c_str(), old.st_mode);
    if (std::rename(path_.c_str(), place_.c_str()) != 0)
        fail(std::strerror(errno));
    place_.clear();
}

void OutputFile::fail(const std::string& reason) const {
    throw Failure(target_ + " cannot be written: " + reason);
}

} // namespace qvmesh
