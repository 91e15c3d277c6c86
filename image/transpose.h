// Turning squares of 16-bit pixels over in registers: rows become columns.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "platform/vectors.h"

namespace lumo {

/// Side of the square, the pixels of a register.
constexpr int squareSide = 8;

/// Pixel (i, j) of `to` = pixel (j, i) of `from`. Each round puts the pixels of two rows side by
/// side in turn, which moves the highest bit of a row's number to the lowest of the column's: after
/// three of them rows and columns have changed places.
/// @param fromStride  pixels from a row to the next
LUMO_INLINE void transposeSquare(const std::uint16_t* from, std::ptrdiff_t fromStride,
                                 std::uint16_t* to, std::ptrdiff_t toStride) {
    using Row = Vector<std::uint16_t, squareSide * sizeof(std::uint16_t)>;
    Row rows[squareSide], mixed[squareSide];
    for (int i = 0; i < squareSide; ++i) load(rows[i], from + i * fromStride);
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < squareSide / 2; ++i) {
            const Row &a = rows[i], &b = rows[i + squareSide / 2];
            mixed[2 * i] = __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
            mixed[2 * i + 1] = __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
        }
        std::copy_n(mixed, squareSide, rows);
    }
    for (int i = 0; i < squareSide; ++i) store(rows[i], to + i * toStride);
}

}  // namespace lumo
