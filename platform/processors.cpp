// The affinity mask says it, and the limit that users of many programs set in their environment.
#include "platform/processors.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace lumo {
namespace {

/// Processors in the mask of the calling thread; 0 when the system does not say.
int allowedProcessors() noexcept {
    cpu_set_t sets[16];  // for more processors than any machine has yet
    if (sched_getaffinity(0, sizeof sets, sets) == 0) return CPU_COUNT_S(sizeof sets, sets);
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<int>(online) : 0;
}

/// OMP_NUM_THREADS, of a list its first number; no limit where it holds none.
int environmentLimit() noexcept {
    const char* text = secure_getenv("OMP_NUM_THREADS");
    const long limit = text != nullptr ? std::strtol(text, nullptr, 10) : 0;
    return limit > 0 ? static_cast<int>(std::min<long>(limit, INT_MAX)) : INT_MAX;
}

}  // namespace

int processorCount() noexcept {
    return std::min(allowedProcessors(), environmentLimit());
}

}  // namespace lumo
