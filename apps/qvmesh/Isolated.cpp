#include "qvmesh/Isolated.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "qvGeom/foundation/base/Progress.h"

#include "qvmesh/Failure.h"

namespace qvmesh {
namespace {

// What the child sends: one of these, then the arrays of the mesh or the text of the failure.
enum class Answer : char { Mesh, Failure };

// Ample for sound files: text formats take some fifty times their size while being read.
constexpr rlim_t kMemory = 2ull << 30;
constexpr rlim_t kMemoryPerByte = 100;
constexpr rlim_t kSeconds = 3;
constexpr rlim_t kBytesPerSecond = 100 * 1000;

void limitResource(decltype(RLIMIT_AS) resource, rlim_t limit) {
    struct rlimit limits = {};
    getrlimit(resource, &limits);
    limits.rlim_cur = std::min(limits.rlim_max, limit);
    setrlimit(resource, &limits);
}

/// The address space in use; sanitizers start with terabytes of it.
rlim_t usedMemory() {
    unsigned long pages = 0;
    if (std::FILE* const file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%lu", &pages) != 1)
            pages = 0;
        std::fclose(file);
    }
    return static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

/// The child's end of the pipe.
class Sender {
public:
    explicit Sender(int pipe) : pipe_(pipe) {}

    void sendMesh(const MeshData& data) {
        send(Answer::Mesh);
        sendArray(data.vertices);
        sendArray(data.normals);
        sendArray(data.uvs);
        sendArray(data.triangles);
    }

    void sendFailure(const char* text) {
        send(Answer::Failure);
        sendArray(std::string(text));
    }

private:
    template <class Value>
    void send(const Value& value) {
        sendBytes(&value, sizeof value);
    }

    template <class Sequence>
    void sendArray(const Sequence& sequence) {
        send(static_cast<std::uint64_t>(sequence.size()));
        sendBytes(sequence.data(), sequence.size() * sizeof *sequence.data());
    }

    void sendBytes(const void* bytes, std::size_t size) {
        const char* next = static_cast<const char*>(bytes);
        while (size > 0) {
            const ssize_t sent = write(pipe_, next, size);
            if (sent < 0)
                _exit(1); // nobody listens any more
            next += sent;
            size -= static_cast<std::size_t>(sent);
        }
    }

    int pipe_;
};

[[noreturn]] void runChild(Reader reader, const std::string& path, int pipe) {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO); // the failure is told by the parent

    const rlim_t size = std::filesystem::file_size(path);
    limitResource(RLIMIT_AS, usedMemory() + kMemory + kMemoryPerByte * size);
    limitResource(RLIMIT_CPU, kSeconds + size / kBytesPerSecond);
    limitResource(RLIMIT_CORE, 0);

    Sender sender(pipe);
    try {
        sender.sendMesh(reader(path));
    } catch (const std::bad_alloc&) {
        sender.sendFailure((path + ": takes more memory than a file of its size should").c_str());
    } catch (const std::exception& error) {
        sender.sendFailure(error.what());
    }
    _exit(0);
}

/// The parent's end of the pipe, and the child at the other.
class Receiver {
public:
    Receiver(pid_t child, int pipe, const std::string& path, qvUtil::Progress& progress)
        : child_(child),
          pipe_(pipe),
          path_(path),
          progress_(progress) {}

    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    ~Receiver() {
        close(pipe_);
        if (child_ > 0) {
            kill(child_, SIGKILL);
            reap();
        }
    }

    MeshData receive() {
        Answer answer = Answer::Failure;
        receiveBytes(&answer, sizeof answer);
        if (answer == Answer::Failure)
            throw Failure(receiveArray<std::string>());
        MeshData data;
        data.vertices = receiveArray<decltype(data.vertices)>();
        data.normals = receiveArray<decltype(data.normals)>();
        data.uvs = receiveArray<decltype(data.uvs)>();
        data.triangles = receiveArray<decltype(data.triangles)>();
        return data;
    }

private:
    template <class Sequence>
    Sequence receiveArray() {
        std::uint64_t size = 0;
        receiveBytes(&size, sizeof size);
        Sequence sequence(static_cast<std::size_t>(size), typename Sequence::value_type());
        receiveBytes(sequence.data(), sequence.size() * sizeof *sequence.data());
        return sequence;
    }

    void receiveBytes(void* bytes, std::size_t size) {
        char* next = static_cast<char*>(bytes);
        while (size > 0) {
            waitForBytes();
            const ssize_t got = read(pipe_, next, size);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                throw Failure(path_ + ": " + explainDeath());
            next += got;
            size -= static_cast<std::size_t>(got);
        }
    }

    /// Wakes up now and then: to draw a bar, and since a signal that comes just before the wait
    /// does not end it.
    void waitForBytes() {
        constexpr int kMilliseconds = 50;
        struct pollfd poll = {pipe_, POLLIN, 0};
        do {
            if (progress_.cancelled())
                throw Cancelled();
            progress_.set(progress_.getFraction());
        } while (::poll(&poll, 1, kMilliseconds) <= 0);
    }

    const char* explainDeath() {
        const int status = reap();
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU)
            return "takes longer to read than a file of its size should";
        return "is damaged in a way that crashes its reader";
    }

    int reap() {
        int status = 0;
        while (waitpid(child_, &status, 0) < 0 && errno == EINTR) {
        }
        child_ = 0;
        return status;
    }

    pid_t child_;
    int pipe_;
    const std::string& path_;
    qvUtil::Progress& progress_;
};

} // namespace

MeshData readIsolated(Reader reader, const std::string& path, qvUtil::Progress& progress) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw Failure(std::string("no pipe to a reader: ") + std::strerror(errno));
    constexpr int kPipeBytes = 1 << 20; // sixteen times the default: fewer hand-overs
    fcntl(ends[1], F_SETPIPE_SZ, kPipeBytes);

    const pid_t child = fork();
    if (child == 0)
        runChild(reader, path, ends[1]);
    close(ends[1]);
    if (child < 0) {
        close(ends[0]);
        throw Failure(std::string("no process for a reader: ") + std::strerror(errno));
    }
    return Receiver(child, ends[0], path, progress).receive();
}

} // namespace qvmesh
