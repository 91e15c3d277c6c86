// The one handler of all signals that end the program.
#include "cli/system/interrupts.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <iterator>

namespace lumo::cli {

namespace {

/// From outside; as under nohup, one that is ignored stays ignored.
constexpr int requests[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGXCPU};
/// Of the program's own making: these cannot wait.
constexpr int faults[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV};

std::atomic<Undo> whatToUndo;
std::atomic<bool> deferring;
std::atomic<int> deferred;
static_assert(std::atomic<Undo>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

extern "C" void undoAndDie(int signal) {
    if (deferring && std::find(std::begin(faults), std::end(faults), signal) == std::end(faults)) {
        deferred = signal;
        return;
    }
    if (const Undo undo = whatToUndo.exchange(nullptr)) undo();
    std::signal(signal, SIG_DFL);
    raise(signal);
}

void handle(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN) return;
    action = {};
    action.sa_handler = undoAndDie;
    sigaction(signal, &action, nullptr);
}

}  // namespace

void onInterrupt(Undo undo) {
    whatToUndo = undo;
    if (undo == nullptr) return;
    for (const int signal : requests) handle(signal);
    for (const int signal : faults) handle(signal);
}

DeferredInterrupts::DeferredInterrupts() {
    deferring = true;
}

DeferredInterrupts::~DeferredInterrupts() {
    deferring = false;
    if (deferred != 0) raise(deferred);
}

void survivePassedLimits() {
    std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace lumo::cli
