// Quarter-turned copies: a transposition with the source's rows or columns taken backwards.
//
// A block of 32 x 32 pixels is gathered, transposed 8 x 8 in registers, and leaves as whole cache
// lines of target rows, past the caches where these lines are aligned. Gathering first matters: row
// strides that are multiples of a large power of two map all rows of a block to few cache sets.
#include "image/quarter_turn_copy.h"

#include <algorithm>
#include <cstring>

#include "image/transpose.h"
#include "platform/stream_store.h"

namespace lumo {
namespace {

constexpr int block = 32;        // pixels of a cache line, side of a block
constexpr int pair = 2 * block;  // target columns at a time: a line beside another one costs less
constexpr int ahead = 64;        // pixels of a source row, fetched before they are needed
constexpr int band = 1024;       // target rows walked at a time: their pages fit the address cache

/// The source as the target sees it: its columns are source rows, top down or bottom up, its rows
/// are source columns, left to right or right to left.
struct Turned {
    const std::uint16_t* first;          // target pixel (0, 0)
    std::ptrdiff_t columnStep, rowStep;  // to the target's next column and row
    std::uint16_t* target;
    int width, height;  // of the target

    [[nodiscard]] std::uint16_t* targetRow(int j) const {
        return target + std::ptrdiff_t{j} * width;
    }
    [[nodiscard]] bool backwards() const { return rowStep < 0; }
    [[nodiscard]] const std::uint16_t* at(int i, int j) const {
        return first + i * columnStep + j * rowStep;
    }
};

/// Turns a block of the source into `rows`, from row 0 down or from the last one up.
LUMO_INLINE void turnBlock(const Turned& turned, int i, int j, std::uint16_t* rows) {
    alignas(lineBytes) std::uint16_t in[block][block];
    const std::uint16_t* leftmost = turned.at(i, turned.backwards() ? j + block - 1 : j);
    for (int k = 0; k < block; ++k) {
        const std::uint16_t* row = leftmost + k * turned.columnStep;
        __builtin_prefetch(turned.backwards() ? row - ahead : row + ahead);
        std::memcpy(in[k], row, sizeof in[k]);
    }
    for (int y = 0; y < block; y += squareSide)
        for (int x = 0; x < block; x += squareSide)
            transposeSquare(&in[y][x], block, rows + x * pair + y, pair);
}

/// The target's blocks with their corner at column i, row j, side by side.
LUMO_INLINE void turnBlocks(const Turned& turned, int i, int j, int columns, bool stream) {
    alignas(lineBytes) std::uint16_t out[block][pair];
    for (int x = 0; x < columns; x += block) turnBlock(turned, i + x, j, &out[0][x]);
    for (int k = 0; k < block; ++k) {
        std::uint16_t* to = turned.targetRow(turned.backwards() ? j + block - 1 - k : j + k) + i;
        for (int x = 0; x < columns; x += block) {
            if (stream)
                streamLine(to + x, &out[k][x]);
            else
                std::memcpy(to + x, &out[k][x], lineBytes);
        }
    }
}

/// What is too narrow for blocks: target columns i0 to i1 - 1 of rows j0 to j1 - 1.
LUMO_INLINE void turnPixels(const Turned& turned, int i0, int i1, int j0, int j1) {
    for (int j = j0; j < j1; ++j)
        for (int i = i0; i < i1; ++i) turned.targetRow(j)[i] = *turned.at(i, j);
}

void turnAll(const Turned& turned) {
    // Lines of all rows are aligned alike only if a row is a whole number of lines. Lines that
    // leave one here, one there are worth streaming earlier than whole runs.
    const std::size_t bytes =
        sizeof *turned.target * static_cast<std::size_t>(turned.width) * std::size_t(turned.height);
    const bool stream = turned.width % block == 0 && bytes >= leastStreamed / 2;
    const int left = stream ? pixelsToLine(turned.target) : 0;
    const int right = left + (turned.width - left) / block * block;
    for (int top = 0; top < turned.height; top += band) {
        const int end = std::min(top + band, turned.height);
        const int bottom = top + (end - top) / block * block;
        turnPixels(turned, 0, left, top, bottom);
        for (int i = left; i < right; i += pair)
            for (int j = top; j < bottom; j += block)
                turnBlocks(turned, i, j, std::min(pair, right - i), stream);
        turnPixels(turned, right, turned.width, top, bottom);
        turnPixels(turned, 0, turned.width, bottom, end);
    }
}

}  // namespace

void quarterTurnCopy(Source source, QuarterTurn turn, std::uint16_t* target) {
    const std::ptrdiff_t stride = source.width;
    const std::ptrdiff_t last = stride * (source.height - 1);
    if (turn == QuarterTurn::CounterClockwise)
        turnAll({source.pixels + stride - 1, stride, -1, target, source.height, source.width});
    else
        turnAll({source.pixels + last, -stride, 1, target, source.height, source.width});
    finishStreaming();
}

}  // namespace lumo
