// The transform library's threads: set up once, counted anew for each run.
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

}  // namespace

void Init_FftThreads() {
    static bool ready = false;
    if (!ready) setUp();
    ready = true;
    // The threads that the transform library keeps are not there in a child: it would wait for
    // them.
    fftwf_plan_with_nthreads(isForked() ? 1 : std::max(1, processorCount()));
}

}  // namespace lumo
