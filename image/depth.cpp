// Conversion between 16-bit pixels and 8-bit square-root codes.
#include "image/depth.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

#include "image/pixel.h"
#include "lumo_legacy.h"

namespace lumo {
namespace {

/// The largest value below 65535 that occurs; 65535 if there is none.
std::uint16_t scaleMaximum(const std::uint16_t* pixels, std::size_t count) {
    // One more wraps 65535 to 0, so that it never counts and 0 still does.
    std::uint16_t largest = 0;
    for (std::size_t i = 0; i < count; ++i)
        largest = std::max(largest, static_cast<std::uint16_t>(pixels[i] + 1));
    return static_cast<std::uint16_t>(largest - 1);
}

std::uint8_t codeOf(std::uint16_t pixel, double factor) {
    const double code = std::sqrt(static_cast<double>(pixel)) * factor;
    return code > 255.0 ? std::uint8_t{255} : static_cast<std::uint8_t>(code);
}

void narrow(const std::uint16_t* pixels, std::uint8_t* codes, std::size_t count, double factor) {
    // A table pays for more pixels than it has entries; without memory for it there is none.
    const std::unique_ptr<std::uint8_t[]> table(
        count > greyValues ? new (std::nothrow) std::uint8_t[greyValues] : nullptr);
    if (!table) {
        for (std::size_t i = 0; i < count; ++i) codes[i] = codeOf(pixels[i], factor);
        return;
    }
    for (std::size_t value = 0; value < greyValues; ++value)
        table[value] = codeOf(static_cast<std::uint16_t>(value), factor);
    for (std::size_t i = 0; i < count; ++i) codes[i] = table[pixels[i]];
}

std::size_t pixelCount(std::int32_t width, std::int32_t height) {
    if (width <= 0 || height <= 0) return 0;
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

}  // namespace

WideningTable::WideningTable(std::uint16_t whiteLevel) {
    const double factor = whiteLevel / 65535.0;
    for (int code = 0; code < 256; ++code)
        values_[static_cast<std::size_t>(code)] = toPixel((code * code) * factor);
}

void WideningTable::widen(const std::uint8_t* codes, std::uint16_t* pixels,
                          std::size_t count) const {
    for (std::size_t i = 0; i < count; ++i) pixels[i] = values_[codes[i]];
}

}  // namespace lumo

extern "C" {

int Convert_Image8_16(const uint8_t* source, uint16_t* target, int32_t width, int32_t height,
                      uint16_t scale) {
    if (source == nullptr || target == nullptr) return LumoErrorParameter;
    lumo::WideningTable(scale).widen(source, target, lumo::pixelCount(width, height));
    return LumoOk;
}

int Convert_Image16_8(const uint16_t* source, uint8_t* target, int32_t width, int32_t height,
                      int32_t, uint16_t* maximum) {
    if (source == nullptr || target == nullptr || maximum == nullptr) return LumoErrorParameter;
    const std::size_t count = lumo::pixelCount(width, height);
    *maximum = lumo::scaleMaximum(source, count);
    if (*maximum == 0)
        std::fill_n(target, count, std::uint8_t{0});
    else
        lumo::narrow(source, target, count, 255 / std::sqrt(static_cast<double>(*maximum)));
    return LumoOk;
}

}  // extern "C"
