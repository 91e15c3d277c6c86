// A program that runs beside this one for a single task.
#include "cli/system/child.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <system_error>

namespace lumo::cli {

namespace {

constexpr int pipeSize = 256 << 10;  // bytes; more would not stay in the cache between the two
constexpr int firstFree = 16;        // above all descriptors that a child gets

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

/// A pipe's or a pair's two ends, closed in children that are not given them.
struct Ends {
    Descriptor ours, theirs;
};

Ends makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) fail(errno, "pipe");
    fcntl(ends[0], F_SETPIPE_SZ, pipeSize);  // smaller does too
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// Sockets and no pipe: a child that has gone costs an error, not a signal.
Ends makeSockets() {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        fail(errno, "socketpair");
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// What the child does with descriptors between its birth and the program's start.
class Actions {
public:
    Actions() { check(posix_spawn_file_actions_init(&actions_)); }
    ~Actions() { posix_spawn_file_actions_destroy(&actions_); }
    Actions(const Actions&) = delete;
    Actions& operator=(const Actions&) = delete;

    /// First out of the way of the numbers to come, then to its own number.
    void give(int ours, int theirs) {
        moved_.emplace_back(fcntl(ours, F_DUPFD_CLOEXEC, firstFree));
        if (!moved_.back().valid()) fail(errno, "dup");
        check(posix_spawn_file_actions_adddup2(&actions_, moved_.back().number(), theirs));
    }
    void discard(int theirs) {
        check(posix_spawn_file_actions_addopen(&actions_, theirs, "/dev/null", O_WRONLY, 0));
    }
    /// Whatever else was left open by this program or those that started it.
    void closeFrom(int first) { check(posix_spawn_file_actions_addclosefrom_np(&actions_, first)); }
    [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    static void check(int error) {
        if (error != 0) fail(error, "posix_spawn");
    }
    posix_spawn_file_actions_t actions_{};
    std::vector<Descriptor> moved_;
};

/// Signals as at the start of any program, whatever this one ignores.
class Attributes {
public:
    Attributes() {
        posix_spawnattr_init(&attributes_);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes_, &signals);
        for (const int signal : {SIGPIPE, SIGXCPU, SIGXFSZ, SIGCHLD}) sigaddset(&signals, signal);
        posix_spawnattr_setsigdefault(&attributes_, &signals);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~Attributes() { posix_spawnattr_destroy(&attributes_); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    [[nodiscard]] const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

}  // namespace

std::string programFolder() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0) return "";
    const std::string program(path, static_cast<std::size_t>(length));
    return program.substr(0, program.rfind('/') + 1);
}

bool isProgram(const std::string& file) {
    struct stat status {};
    return stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           access(file.c_str(), X_OK) == 0;
}

Child::Child(const std::string& program, const std::vector<std::string>& arguments,
             const std::vector<Handover>& handovers, std::chrono::milliseconds longestSilence)
    : longestSilence_(longestSilence) {
    // Where children are ignored their endings are lost.
    struct sigaction action {};
    if (sigaction(SIGCHLD, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
        std::signal(SIGCHLD, SIG_DFL);
    Ends output = makePipe(), input = makeSockets();
    Actions actions;
    actions.give(input.theirs.number(), STDIN_FILENO);  // a handover may replace it
    actions.give(output.theirs.number(), STDOUT_FILENO);
    actions.discard(STDERR_FILENO);
    int highest = STDERR_FILENO;
    for (const auto& [ours, theirs] : handovers) {
        actions.give(ours, theirs);
        highest = std::max(highest, theirs);
    }
    actions.closeFrom(highest + 1);
    std::vector<char*> texts{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments)
        texts.push_back(const_cast<char*>(argument.c_str()));
    texts.push_back(nullptr);
    const Attributes attributes;
    const int error = posix_spawn(&process_, program.c_str(), actions.get(), attributes.get(),
                                  texts.data(), environ);
    if (error != 0) fail(error, program);
    input_ = std::move(input.ours);
    output_ = std::move(output.ours);
}

Child::~Child() {
    if (process_ < 0) return;
    kill();
    wait();
}

bool Child::ready(const Descriptor& descriptor, short event) {
    pollfd waiting{descriptor.number(), event, 0};
    int found = -1;
    do {
        found = poll(&waiting, 1, static_cast<int>(longestSilence_.count()));
    } while (found < 0 && errno == EINTR);
    silent_ |= found == 0;
    return found > 0;
}

std::size_t Child::read(void* to, std::size_t count) {
    char* const place = static_cast<char*>(to);
    std::size_t got = 0;
    while (got < count && !finished_) {
        const bool more = !silent_ && ready(output_, POLLIN);
        const ssize_t step = more ? ::read(output_.number(), place + got, count - got) : 0;
        if (step < 0 && errno == EINTR) continue;
        finished_ = step <= 0;
        if (step > 0) got += static_cast<std::size_t>(step);
    }
    return got;
}

bool Child::send(const void* from, std::size_t count) {
    const char* const place = static_cast<const char*>(from);
    std::size_t sent = 0;
    while (sent < count) {
        if (silent_ || !ready(input_, POLLOUT)) return false;
        const ssize_t step =
            ::send(input_.number(), place + sent, count - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (step < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (step <= 0) return false;
        sent += static_cast<std::size_t>(step);
    }
    return true;
}

void Child::kill() {
    if (process_ > 0) ::kill(process_, SIGKILL);
}

Ending Child::wait() {
    // It may have closed its output and work on.
    const Descriptor ended(static_cast<int>(syscall(SYS_pidfd_open, process_, 0)));
    if (!silent_ && ended.valid()) ready(ended, POLLIN);
    if (silent_) kill();
    int status = 0;
    pid_t found = -1;
    do {
        found = waitpid(process_, &status, 0);
    } while (found < 0 && errno == EINTR);
    process_ = -1;
    Ending ending;
    ending.overTime = silent_;
    if (found < 0) return ending;
    if (WIFSIGNALED(status)) ending.signal = WTERMSIG(status);
    if (WIFEXITED(status)) ending.status = WEXITSTATUS(status);
    ending.overTime |= ending.signal == SIGXCPU;
    return ending;
}

}  // namespace lumo::cli
