// How many processors this process may use.
#include "platform/processors.h"

#include <sched.h>

namespace lumo {

int processorCount() noexcept {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return 0;
    return CPU_COUNT(&allowed);
}

}  // namespace lumo
