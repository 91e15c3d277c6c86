// Parts of the program that are loaded when they are needed.
#pragma once

namespace lumo::cli {

/// The address of a function in a module of the installation, or beside the running program where
/// it was built; null if there is none. The module stays loaded.
[[nodiscard]] void* functionOfModule(const char* module, const char* function);

}  // namespace lumo::cli
