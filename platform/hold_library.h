// Keeping another library's code in the process.
#pragma once

namespace lumo {

/// Holds the shared library that the address lies in until the process ends, so that unloading what
/// uses it leaves none of its threads in unmapped code.
void holdLibraryOf(const void* address) noexcept;

}  // namespace lumo
