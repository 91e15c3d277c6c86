// Rasters as operations see them: pixels, width and height, row by row, stride equal to the width.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace lumo {

template <class Pixel>
struct View {
    Pixel* pixels;
    int width, height;

    [[nodiscard]] Pixel* row(int y) const {
        assert(0 <= y && y < height);
        return pixels + std::ptrdiff_t{y} * width;
    }
    [[nodiscard]] std::size_t count() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
};
using Source = View<const std::uint16_t>;
using Target = View<std::uint16_t>;

/// A view of a record (lmImage, Image, FImage) that has a raster.
template <class Record>
[[nodiscard]] auto viewOf(const Record& record) {
    return View<std::remove_pointer_t<decltype(record.data)>>{record.data, record.width,
                                                              record.height};
}

/// The same for an operation that only reads.
[[nodiscard]] inline Source asSource(Target target) {
    return {target.pixels, target.width, target.height};
}

}  // namespace lumo
