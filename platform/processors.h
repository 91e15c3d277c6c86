// How many processors this process may use.
#pragma once

namespace lumo {

/// Processors that the calling thread may run on, at most OMP_NUM_THREADS where that is set, as it
/// is for the workers of a cluster; 0 when the system does not say.
[[nodiscard]] int processorCount() noexcept;

}  // namespace lumo
