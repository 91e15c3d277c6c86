// Child processes, a pipe from each, and one loop that listens to all of them.
#include "cli/system/workers.h"

#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <system_error>
#include <vector>

#include "cli/system/input_file.h"
#include "cli/system/interrupts.h"

namespace lumo::cli {

namespace {

constexpr int mostJobs = 256;

/// Process numbers of the children, for the signal handler; 0 for none.
std::atomic<pid_t> children[mostJobs];
static_assert(std::atomic<pid_t>::is_always_lock_free);

void endChildren() {
    for (const auto& child : children)
        if (child != 0) kill(child, SIGTERM);
    for (const auto& child : children)
        if (child != 0) waitpid(child, nullptr, 0);
}

struct Running {
    std::size_t item;
    pid_t process;
    Descriptor pipe;
    std::string result;
    int slot;
};

/// Blocks all signals, so that a child has no chance to act as its parent.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, &previous_);
    }
    ~BlockedSignals() { sigprocmask(SIG_SETMASK, &previous_, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t previous_;
};

class Pool {
public:
    Pool(int jobs, const std::function<std::string(std::size_t)>& work)
        : jobs_(std::clamp(jobs, 1, mostJobs)), work_(work) {}

    [[nodiscard]] bool isFull() const { return running_.size() == static_cast<std::size_t>(jobs_); }
    [[nodiscard]] bool isEmpty() const { return running_.empty(); }

    /// False if the system has no place for one more process beside those that run.
    [[nodiscard]] bool start(std::size_t item) {
        int ends[2];
        if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category());
        Descriptor from(ends[0]), to(ends[1]);
        const auto* const free = std::find(std::begin(children), std::end(children), 0);
        const auto slot = static_cast<int>(free - std::begin(children));
        const pid_t parent = getpid();
        const BlockedSignals blocked;
        const pid_t process = fork();
        if (process < 0 && !running_.empty()) return false;
        if (process < 0) throw std::system_error(errno, std::generic_category());
        if (process == 0) beChild(item, to.number(), parent);
        children[slot] = process;
        running_.push_back({item, process, std::move(from), {}, slot});
        return true;
    }

    /// Listens until one has ended, and takes it out.
    std::pair<std::size_t, Ended> next() {
        while (true) {
            std::vector<pollfd> pipes;
            for (const Running& each : running_) pipes.push_back({each.pipe.number(), POLLIN, 0});
            if (poll(pipes.data(), pipes.size(), -1) < 0 && errno != EINTR)
                throw std::system_error(errno, std::generic_category());
            for (std::size_t i = 0; i < pipes.size(); ++i)
                if (pipes[i].revents != 0 && !take(running_[i])) return end(i);
        }
    }

private:
    [[noreturn]] void beChild(std::size_t item, int pipe, pid_t parent) {
        onInterrupt(nullptr);
        for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
            struct sigaction action {};
            sigaction(signal, nullptr, &action);
            if (action.sa_handler != SIG_IGN) std::signal(signal, SIG_DFL);
        }
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent) _exit(1);
        // What a filter runs on is shared among the workers.
        const int threads = std::max(1, processors() / jobs_);
        setenv("OMP_NUM_THREADS", std::to_string(threads).c_str(), 1);
        try {
            const std::string result = work_(item);
            _exit(writeAll(pipe, result.data(), result.size()) ? 0 : 1);
        } catch (...) {  // no memory for the result: an empty one says so
            _exit(1);
        }
    }

    /// Reads what a child has written; false at its end.
    static bool take(Running& child) {
        char block[1 << 16];
        const ssize_t count = read(child.pipe.number(), block, sizeof block);
        if (count < 0) return errno == EINTR;
        child.result.append(block, static_cast<std::size_t>(count));
        return count > 0;
    }

    std::pair<std::size_t, Ended> end(std::size_t index) {
        Running ended = std::move(running_[index]);
        running_.erase(running_.begin() + static_cast<std::ptrdiff_t>(index));
        int status = 0;
        while (waitpid(ended.process, &status, 0) < 0 && errno == EINTR) {
        }
        children[ended.slot] = 0;
        return {ended.item, {std::move(ended.result), WIFSIGNALED(status) ? WTERMSIG(status) : 0}};
    }

    int jobs_;
    const std::function<std::string(std::size_t)>& work_;
    std::vector<Running> running_;
};

/// No child outlives the work, however it ends.
class EndingChildren {
public:
    EndingChildren() { onInterrupt(endChildren); }
    ~EndingChildren() {
        endChildren();
        onInterrupt(nullptr);
    }
    EndingChildren(const EndingChildren&) = delete;
    EndingChildren& operator=(const EndingChildren&) = delete;
};

}  // namespace

int processors() {
    cpu_set_t set;
    const int count = sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 1;
    return std::max(count, 1);
}

void runSideBySide(std::size_t count, int jobs, const std::function<std::string(std::size_t)>& work,
                   const std::function<void(std::size_t, const Ended&)>& report) {
    Pool pool(jobs, work);
    const EndingChildren ending;
    std::map<std::size_t, Ended> ended;  // of items whose turn has not come
    std::size_t started = 0, reported = 0;
    while (reported < count) {
        while (started < count && !pool.isFull() && pool.start(started)) ++started;
        ended.insert(pool.next());
        for (auto first = ended.begin(); first != ended.end() && first->first == reported;
             first = ended.erase(first))
            report(reported++, first->second);
    }
}

std::string signalName(int signal) {
    const char* name = strsignal(signal);
    return name != nullptr ? name : std::to_string(signal);
}

}  // namespace lumo::cli
