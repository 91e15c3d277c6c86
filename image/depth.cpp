// Where whole numbers give the law's values all codes are widened in them, else by a table of 256;
// pixels are narrowed by a table of all grey values once there are more pixels than that.
#include "image/depth.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "image/pixel.h"
#include "lumo_legacy.h"
#include "platform/cpu_level.h"

namespace lumo {
namespace {

LUMO_INLINE std::uint16_t scaleMaximumBody(const std::uint16_t* pixels, std::size_t count) {
    // One more wraps 65535 to 0, so that it never counts and 0 still does.
    std::uint16_t largest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const auto wrapped = static_cast<std::uint16_t>(pixels[i] + 1);
        largest = wrapped > largest ? wrapped : largest;
    }
    return static_cast<std::uint16_t>(largest - 1);
}
/// The largest value below 65535 that occurs; 65535 if there is none.
LUMO_LEVELS(std::uint16_t, scaleMaximum, scaleMaximumBody,
            (const std::uint16_t* pixels, std::size_t count), (pixels, count))

/// v * v * whiteLevel / 65535 in 16-bit whole numbers: for a product x = 65536 * high + low in
/// range, x / 65535 = (x + high + 1) / 65536, which is high and a carry of low + high + 1.
LUMO_INLINE std::uint16_t widenExactly(std::uint8_t code, std::uint16_t whiteLevel) {
    const auto square = static_cast<std::uint16_t>(code * code);
    const auto high = static_cast<std::uint16_t>((std::uint32_t{square} * whiteLevel) >> 16);
    const auto low = static_cast<std::uint16_t>(std::uint32_t{square} * whiteLevel);
    const auto carryFrom = static_cast<std::uint16_t>(~high);
    return static_cast<std::uint16_t>(high + (low >= carryFrom ? 1 : 0));
}

LUMO_INLINE void widenBody(const std::uint8_t* codes, std::uint16_t* pixels, std::size_t count,
                           std::uint16_t whiteLevel) {
    for (std::size_t i = 0; i < count; ++i) pixels[i] = widenExactly(codes[i], whiteLevel);
}
LUMO_LEVELS(void, widenInWholeNumbers, widenBody,
            (const std::uint8_t* codes, std::uint16_t* pixels, std::size_t count,
             std::uint16_t whiteLevel),
            (codes, pixels, count, whiteLevel))

std::uint8_t codeOf(std::uint16_t pixel, double factor) {
    const double code = std::sqrt(static_cast<double>(pixel)) * factor;
    return code > 255.0 ? std::uint8_t{255} : static_cast<std::uint8_t>(code);
}

/// Four pixels come with one load, which is what bounds the plain loop.
void lookUp(const std::uint8_t* table, const std::uint16_t* pixels, std::uint8_t* codes,
            std::size_t count) {
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        std::uint64_t four;
        std::memcpy(&four, pixels + i, sizeof four);
        const auto code = [&](int pixel) -> std::uint32_t {
            return std::uint32_t{table[four >> 16 * pixel & 0xFFFF]} << 8 * pixel;
        };
        const std::uint32_t packed = code(0) | code(1) | code(2) | code(3);
        std::memcpy(codes + i, &packed, sizeof packed);
    }
    for (; i < count; ++i) codes[i] = table[pixels[i]];
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
    lookUp(table.get(), pixels, codes, count);
}

std::size_t pixelCount(std::int32_t width, std::int32_t height) {
    if (width <= 0 || height <= 0) return 0;
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

}  // namespace

WideningTable::WideningTable(std::uint16_t whiteLevel) : whiteLevel_(whiteLevel) {
    const double factor = whiteLevel / 65535.0;
    for (int code = 0; code < 256; ++code) {
        const std::uint16_t value = toPixel((code * code) * factor);
        values_[static_cast<std::size_t>(code)] = value;
        inWholeNumbers_ &= value == widenExactly(static_cast<std::uint8_t>(code), whiteLevel);
    }
}

void WideningTable::widen(const std::uint8_t* codes, std::uint16_t* pixels,
                          std::size_t count) const {
    if (inWholeNumbers_) return widenInWholeNumbers(codes, pixels, count, whiteLevel_);
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
