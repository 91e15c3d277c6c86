// The version text that the library hands out.
#pragma once

namespace lumo {

/// The version buffer: the bare version text until LumoGetVersion() is called first.
[[nodiscard]] const char* versionInUse() noexcept;

}  // namespace lumo
