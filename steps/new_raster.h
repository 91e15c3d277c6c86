// The raster that a step makes, freed unless an image takes it over.
#pragma once

#include <cstdlib>
#include <utility>

#include "frame/call_frame.h"
#include "lumo_legacy.h"
#include "platform/huge_pages.h"

namespace lumo {

class NewRaster {
public:
    NewRaster() = default;
    ~NewRaster() { std::free(image_.data); }
    NewRaster(const NewRaster&) = delete;
    NewRaster& operator=(const NewRaster&) = delete;

    /// Pixels that are not initialised. Raises -8.
    Image make(std::uint16_t width, std::uint16_t height) {
        const std::size_t bytes = std::size_t{width} * height * sizeof *image_.data;
        auto* data = static_cast<std::uint16_t*>(std::malloc(bytes));
        if (data == nullptr) raise(LumoErrorMemory);
        preferHugePages(data, bytes);
        std::free(image_.data);
        image_ = {width, height, data};
        return image_;
    }
    /// For calls that allocate the raster themselves; empty before.
    [[nodiscard]] Image* place() { return &image_; }
    [[nodiscard]] const Image& image() const { return image_; }
    /// Hands the pixels over.
    [[nodiscard]] std::uint16_t* release() { return std::exchange(image_.data, nullptr); }

private:
    Image image_ = {};
};

}  // namespace lumo
