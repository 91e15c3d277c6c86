// The transform library's threads, set up once per process and told the processor count per run.
#include <fftw3.h>

#include "platform/hold_library.h"
#include "platform/processors.h"
#include "scripts/band_filter.h"

namespace lumo {
namespace {

bool setUp() {
    // The transform library keeps its threads between runs.
    holdLibraryOf(reinterpret_cast<const void*>(&fftwf_init_threads));
    fftwf_init_threads();
    fftwf_make_planner_thread_safe();
    return true;
}

}  // namespace

void Init_FftThreads() {
    static const bool ready = setUp();
    const int processors = processorCount();
    if (!ready || processors <= 1) return;
    fftwf_init_threads();
    fftwf_plan_with_nthreads(processors);
}

}  // namespace lumo
