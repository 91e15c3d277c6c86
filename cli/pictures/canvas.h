// A canvas of grey values for charts and sheets, with lettering.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "cli/pictures/font.h"
#include "lumo_legacy.h"

namespace lumo::cli {

constexpr std::uint16_t white = 65535, ink = 0;

/// What a text takes, letters of `dot` x `dot` pixels a dot.
constexpr int textWidth(std::string_view text, int dot) {
    return static_cast<int>(text.size()) * (glyphWidth + 1) * dot;
}

class Canvas {
public:
    Canvas(int width, int height, std::uint16_t paper)
        : width_(width),
          height_(height),
          pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), paper) {}

    void fill(int x, int y, int width, int height, std::uint16_t grey);
    /// From x, y on to the right; what leaves the canvas is cut.
    void write(std::string_view text, int x, int y, int dot);
    /// Copies a picture that fits.
    void place(const Image& picture, int x, int y);
    [[nodiscard]] Image image();

private:
    int width_, height_;
    std::vector<std::uint16_t> pixels_;
};

}  // namespace lumo::cli
