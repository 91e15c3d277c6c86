// The dynamic loader is asked for the library once more, and the handle kept.
#include "platform/hold_library.h"

#include <dlfcn.h>

void lumo::holdLibraryOf(const void* address) noexcept {
    Dl_info info;
    if (dladdr(address, &info) != 0)
        dlopen(info.dli_fname, RTLD_NOW | RTLD_NODELETE);  // the handle is kept on purpose
}
