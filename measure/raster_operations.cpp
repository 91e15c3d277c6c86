// Whole-raster operations: inverting, copying, cropping.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "image/size_check.h"
#include "measure/region.h"
#include "platform/cpu_level.h"
#include "platform/prefetch.h"
#include "platform/stream_store.h"

namespace {

std::size_t byteCount(const Image& image) {
    return lumo::viewOf(image).count() * sizeof *image.data;
}

constexpr std::size_t lineLength = lumo::lineBytes / sizeof(std::uint16_t);

LUMO_INLINE void invertPixels(const std::uint16_t* from, std::uint16_t* to, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) to[i] = static_cast<std::uint16_t>(~from[i]);
}

/// Whole cache lines of the target, which starts one.
LUMO_INLINE void invertLines(const std::uint16_t* from, std::uint16_t* to, std::size_t lines) {
    for (const std::uint16_t* end = from + lines * lineLength; from < end;
         from += lineLength, to += lineLength) {
        lumo::prefetchAhead(from, lumo::farAhead);
        invertPixels(from, to, lineLength);
    }
}
LUMO_LEVELS(void, invertLinesAtLevel, invertLines,
            (const std::uint16_t* from, std::uint16_t* to, std::size_t lines), (from, to, lines))

/// The same past the caches.
void invertLinesStreaming(const std::uint16_t* from, std::uint16_t* to, std::size_t lines) {
    for (const std::uint16_t* end = from + lines * lineLength; from < end;
         from += lineLength, to += lineLength) {
        lumo::prefetchAhead(from, lumo::farAhead);
        std::uint16_t inverted[lineLength];
        invertPixels(from, inverted, lineLength);
        lumo::streamLine(to, inverted);
    }
    lumo::finishStreaming();
}

void invert(const std::uint16_t* from, std::uint16_t* to, std::size_t count) {
    const std::size_t head = std::min(std::size_t(lumo::pixelsToLine(to)), count);
    const std::size_t lines = (count - head) / lineLength, tail = head + lines * lineLength;
    invertPixels(from, to, head);
    if (from != to && count * sizeof *to >= lumo::leastStreamed)
        invertLinesStreaming(from + head, to + head, lines);
    else
        invertLinesAtLevel(from + head, to + head, lines);
    invertPixels(from + tail, to + tail, count - tail);
}

/// Makes room for the region in the caller's record.
int prepareTarget(std::uint16_t width, std::uint16_t height, Image& target) {
    if (target.data == nullptr) return Create_Image(width, height, &target);
    if (target.width < width || target.height < height) return LumoErrorImage;
    target.width = width;
    target.height = height;
    return LumoOk;
}

/// Copies the region, packed. Onto the same raster no row lands behind where it is read.
void copyRuns(const lumo::Runs& region, std::uint16_t* to) {
    const auto ahead = static_cast<std::ptrdiff_t>(2 * region.stride * sizeof *to);
    for (std::size_t y = 0; y < region.rows; ++y) {
        for (std::size_t x = 0; x < region.length; x += lineLength)
            lumo::prefetchAhead(region.row(y) + x, ahead);
        std::memmove(to + y * region.length, region.row(y), region.length * sizeof *to);
    }
}

/// Gives back what a crop in place left over; if that fails the larger block stays.
void shrink(Image& image) {
    if (void* block = std::realloc(image.data, byteCount(image)))
        image.data = static_cast<std::uint16_t*>(block);
}

}  // namespace

extern "C" {

int Invert_Image(Image source, Image destination) {
    const int code = lumo::Check_SameSize(source, destination);
    if (code == LumoOk) invert(source.data, destination.data, lumo::viewOf(source).count());
    return code;
}

int Copy_Image(Image source, Image destination) {
    const int code = lumo::Check_SameSize(source, destination);
    if (code == LumoOk) std::memmove(destination.data, source.data, byteCount(source));
    return code;
}

int Crop_Image(Image* source, Image* destination, Roi region) {
    lumo::Runs runs{};
    if (source == nullptr || lumo::pixelRuns(*source, runs) != LumoOk) return LumoErrorImage;
    lumo::Normalize_Roi(region);
    runs = lumo::runsOf(*source, lumo::Clip_Roi(*source, region));
    Image& target = destination != nullptr ? *destination : *source;
    const int code = prepareTarget(static_cast<std::uint16_t>(runs.length),
                                   static_cast<std::uint16_t>(runs.rows), target);
    if (code != LumoOk) return code;
    copyRuns(runs, target.data);
    if (destination == nullptr) shrink(target);
    return LumoOk;
}

}  // extern "C"
