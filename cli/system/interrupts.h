// Signals that end the program: what it has begun is taken back first.
#pragma once

namespace lumo::cli {

/// Called once, from a signal handler: only calls that are safe there.
using Undo = void (*)();

/// What an interrupt does before it ends the program; null for nothing.
void onInterrupt(Undo undo);

/// While it lives, interrupts wait. A flag and not the thread's signal mask: the library's worker
/// threads take signals too.
class DeferredInterrupts {
public:
    DeferredInterrupts();
    ~DeferredInterrupts();
    DeferredInterrupts(const DeferredInterrupts&) = delete;
    DeferredInterrupts& operator=(const DeferredInterrupts&) = delete;
};

/// A write beyond the limit of a file's size fails from now on, as one onto a full disk does.
void survivePassedLimits();

}  // namespace lumo::cli
