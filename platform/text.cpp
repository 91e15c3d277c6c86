// Bounded appending: a text that does not fit is cut, never overrun.
#include "platform/text.h"

#include <strings.h>

#include <cstring>

void strxcat(char* buffer, const char* text, std::size_t limit) noexcept {
    const std::size_t length = strnlen(buffer, limit);
    if (length + 1 >= limit) return;
    const std::size_t count = strnlen(text, limit - length - 1);
    std::memcpy(buffer + length, text, count);
    buffer[length + count] = '\0';
}

bool lumo::equalIgnoringCase(const char* a, const char* b) noexcept {
    return strcasecmp(a, b) == 0;
}
