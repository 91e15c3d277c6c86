// The affinity mask says it; without one, the count of processors online.
#include "platform/processors.h"

#include <sched.h>
#include <unistd.h>

namespace lumo {

int processorCount() noexcept {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) == 0) return CPU_COUNT(&allowed);
    // More processors than the mask has room for.
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<int>(online) : 0;
}

}  // namespace lumo
