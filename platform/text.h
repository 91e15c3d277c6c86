// Texts in buffers of a given size.
#pragma once

#include <cstddef>

/// Appends a text, cut so that the result with its terminating zero fits in `limit` bytes.
void strxcat(char* buffer, const char* text, std::size_t limit) noexcept;
