// The transform library's threads, set up once per process, and their number, set per run.
#include <dlfcn.h>
#include <fftw3.h>

#include "platform/processors.h"
#include "scripts/band_filter.h"

namespace lumo {
namespace {

/// The transform library keeps its threads between runs. Its code is held in the process, so that
/// unloading this library leaves no thread in unmapped code.
void holdInProcess() {
    Dl_info info;
    if (dladdr(reinterpret_cast<const void*>(&fftwf_init_threads), &info) != 0)
        dlopen(info.dli_fname, RTLD_NOW | RTLD_NODELETE);  // the handle is kept on purpose
}

bool setUp() {
    holdInProcess();
    fftwf_init_threads();
    fftwf_make_planner_thread_safe();
    return true;
}

/// Whether the transform library is ready for plans, made in any thread.
bool isReady() {
    static const bool ready = setUp();
    return ready;
}

}  // namespace

void Init_FftThreads() {
    const bool ready = isReady();
    const int processors = processorCount();
    if (!ready || processors <= 1) return;
    fftwf_init_threads();
    fftwf_plan_with_nthreads(processors);
}

void Init_FftPlanner() {
    // The number is the process's: a band filter that plans at this moment may get one thread, too.
    if (isReady()) fftwf_plan_with_nthreads(1);
}

}  // namespace lumo
