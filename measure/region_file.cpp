// Writing a region to a raw pixel file.
#include <algorithm>
#include <cstring>

#include "frame/written_file.h"
#include "io/pixel_file.h"
#include "measure/region.h"
#include "platform/memory.h"

namespace {

using lumo::Runs;

/// Rows are gathered in blocks of at least this size, and of one row.
constexpr std::size_t blockSize = 256 * 1024;

/// Writes the rows, packed, through a buffer.
int writeRuns(std::FILE* file, const Runs& region) {
    const std::size_t rowSize = region.length * sizeof *region.first;
    const std::size_t rowsAtOnce = std::clamp(blockSize / rowSize, std::size_t{1}, region.rows);
    const lumo::MallocPtr<char> block(static_cast<char*>(std::malloc(rowsAtOnce * rowSize)));
    if (!block) return LumoErrorMemory;
    for (std::size_t y = 0; y < region.rows; y += rowsAtOnce) {
        const std::size_t rows = std::min(rowsAtOnce, region.rows - y);
        for (std::size_t i = 0; i < rows; ++i)
            std::memcpy(block.get() + i * rowSize, region.row(y + i), rowSize);
        if (!lumo::writeBytes(file, block.get(), rows * rowSize)) return LumoErrorWrite;
    }
    return LumoOk;
}

int writeRegion(const char* fileName, const Runs& region) {
    lumo::FilePtr file = lumo::openFile(fileName, "wb");
    if (!file) return LumoErrorOpen;
    const auto header =
        lumo::header16(static_cast<int>(region.length), static_cast<int>(region.rows));
    return lumo::writeAndClose(std::move(file), [&](std::FILE* to) {
        const int code = lumo::writeBlock(to, header.data(), header.size());
        return code == LumoOk ? writeRuns(to, region) : code;
    });
}

}  // namespace

extern "C" int Write_ImageRoi(const char* fileName, Image image, Roi region) {
    Runs runs{};
    const int code = lumo::regionRuns(image, region, runs);
    return code == LumoOk ? writeRegion(fileName, runs) : code;
}
