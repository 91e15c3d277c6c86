// A canvas of grey values for charts and sheets, with lettering.
#include "cli/pictures/canvas.h"

#include <algorithm>

namespace lumo::cli {

void Canvas::fill(int x, int y, int width, int height, std::uint16_t grey) {
    const int right = std::min(x + width, width_), bottom = std::min(y + height, height_);
    for (int row = std::max(y, 0); row < bottom; ++row)
        for (int column = std::max(x, 0); column < right; ++column)
            pixels_[static_cast<std::size_t>(std::int64_t{row} * width_ + column)] = grey;
}

void Canvas::write(std::string_view text, int x, int y, int dot) {
    for (const char character : text) {
        for (int row = 0; row < glyphHeight; ++row)
            for (int column = 0; column < glyphWidth; ++column)
                if (glyphDot(character, column, row))
                    fill(x + column * dot, y + row * dot, dot, dot, ink);
        x += (glyphWidth + 1) * dot;
    }
}

void Canvas::place(const Image& picture, int x, int y) {
    for (int row = 0; row < picture.height; ++row)
        std::copy_n(picture.data + std::int64_t{row} * picture.width, picture.width,
                    pixels_.begin() + std::int64_t{y + row} * width_ + x);
}

Image Canvas::image() {
    return {static_cast<std::uint16_t>(width_), static_cast<std::uint16_t>(height_),
            pixels_.data()};
}

}  // namespace lumo::cli
