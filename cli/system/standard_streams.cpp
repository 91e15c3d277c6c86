// The three descriptors that every program is started with, or should be.
#include "cli/system/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <iostream>

#include "cli/system/input_file.h"

namespace {

/// A descriptor 0 to 2 that is closed at the start would be given to the next file opened, and the
/// program's data would land in it. Fills them so that using them fails.
void holdStandardDescriptors() {
    for (const int descriptor : {0, 1, 2})
        if (fcntl(descriptor, F_GETFD) < 0)
            open("/dev/null", descriptor == 0 ? O_WRONLY : O_RDONLY);
}

// Before the library's initialisers, which open its log.
[[gnu::used, gnu::section(".preinit_array")]] void (*const first)() = holdStandardDescriptors;

}  // namespace

namespace lumo::cli {

bool errorsGoToTerminal() {
    return isatty(STDERR_FILENO) != 0;
}

bool writeToOutput(std::string_view bytes) {
    std::cout.flush();
    return std::cout.good() && writeAll(STDOUT_FILENO, bytes.data(), bytes.size());
}

bool finishOutput() {
    std::cout.flush();
    return std::cout.good();
}

}  // namespace lumo::cli
