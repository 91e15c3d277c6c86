// The transform library's threads: set up once, counted anew for each run. Which plan it makes, and
// so how it rounds, depends on that count; a child process therefore plans for as many threads as
// its parent.
#include <fftw3.h>

#include <algorithm>

#include "platform/fork.h"
#include "platform/hold_library.h"
#include "platform/processors.h"
#include "scripts/band_filter.h"

namespace lumo {
namespace {

void setUp() {
    // The transform library keeps its threads between runs.
    holdLibraryOf(reinterpret_cast<const void*>(&fftwf_init_threads));
    fftwf_init_threads();
    fftwf_make_planner_thread_safe();
}

/// The parts of a transform one after the other, on the calling thread.
void runInTurn(void* (*work)(char*), char* parts, std::size_t size, int count, void*) {
    for (int i = 0; i < count; ++i) work(parts + static_cast<std::size_t>(i) * size);
}

/// The threads that the transform library kept are not there in a child, where it would wait for
/// them: everybody's transforms do without, until this library is unloaded.
class WithoutThreads {
public:
    void begin() {
        if (!begun_) fftwf_threads_set_callback(runInTurn, nullptr);
        begun_ = true;
    }
    ~WithoutThreads() {
        if (begun_) fftwf_threads_set_callback(nullptr, nullptr);
    }

private:
    bool begun_ = false;
} withoutThreads;

}  // namespace

void Init_FftThreads() {
    static bool ready = false;
    if (!ready) setUp();
    ready = true;
    if (isForked()) withoutThreads.begin();
    fftwf_plan_with_nthreads(std::max(1, processorCount()));
}

}  // namespace lumo
