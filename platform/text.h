// Texts in buffers of a given size, and without regard to case.
#pragma once

#include <cstddef>

/// Appends a text, cut so that the result with its terminating zero fits in `limit` bytes.
void strxcat(char* buffer, const char* text, std::size_t limit) noexcept;

namespace lumo {

/// Whether two texts differ in nothing but the case of their letters.
[[nodiscard]] bool equalIgnoringCase(const char* a, const char* b) noexcept;

}  // namespace lumo
