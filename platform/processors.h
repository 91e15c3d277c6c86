// How many processors this process may use.
#pragma once

namespace lumo {

/// Processors in the calling thread's affinity mask; 0 when the system does not say.
[[nodiscard]] int processorCount() noexcept;

}  // namespace lumo
