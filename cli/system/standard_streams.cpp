// The three descriptors that every program is started with, or should be, and the last word of one
// that ends for lack of memory.
#include "cli/system/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <new>

#include "cli/system/input_file.h"

namespace {

/// A descriptor 0 to 2 that is closed at the start would be given to the next file opened, and the
/// program's data would land in it. Fills them so that using them fails.
void holdStandardDescriptors() {
    for (const int descriptor : {0, 1, 2})
        if (fcntl(descriptor, F_GETFD) < 0)
            open("/dev/null", descriptor == 0 ? O_WRONLY : O_RDONLY);
}

/// Memory may be short before main() begins, for what is initialised there.
[[noreturn]] void reportAndEnd() {
    try {
        if (std::current_exception()) throw;
    } catch (const std::bad_alloc&) {
        lumo::cli::writeToErrors("lumo: -8 out of memory\n");
        _exit(1);
    } catch (...) {
    }
    std::abort();
}

void prepare() {
    holdStandardDescriptors();
    std::set_terminate(reportAndEnd);
}

// Before all initialisers; those of the library open its log.
[[gnu::used, gnu::section(".preinit_array")]] void (*const first)() = prepare;

}  // namespace

namespace lumo::cli {

bool errorsGoToTerminal() {
    return isatty(STDERR_FILENO) != 0;
}

void writeToErrors(const char* text) noexcept {
    (void)writeAll(STDERR_FILENO, text, std::strlen(text));
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
