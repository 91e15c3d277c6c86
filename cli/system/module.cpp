// Modules lie where the running program is, or where the installation puts them beside it.
#include "cli/system/module.h"

#include <dlfcn.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace lumo::cli {

void* functionOfModule(const char* module, const char* function) {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) return nullptr;
    for (const char* folder : {LUMO_HELPER_FOLDER, "."}) {
        const std::string file = program.parent_path() / folder / module;
        if (void* loaded = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL))
            return dlsym(loaded, function);
    }
    return nullptr;
}

}  // namespace lumo::cli
