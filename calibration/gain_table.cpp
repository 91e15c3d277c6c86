// Gains: from pixels to codes, from codes to corrected pixels. Formulas keep the written order of
// operations; gains are single precision, codes and products double.
#include "calibration/gain_table.h"

#include "frame/bytes.h"
#include "image/pixel.h"
#include "platform/cpu_level.h"
#include "platform/file.h"
#include "platform/prefetch.h"

namespace lumo {
namespace {

LUMO_INLINE void encode(const std::uint16_t* __restrict pixels, float mean, GainRange range,
                        std::uint16_t* __restrict codes, int count) {
    const double scale = 65535.0 / range.span();
    const auto lowest = static_cast<double>(range.lowest);
    for (int i = 0; i < count; ++i) {
        const bool none = pixels[i] == 0;
        float gain = (none ? 1.0F : mean) / (none ? 1.0F : static_cast<float>(pixels[i]));
        gain = gain < range.lowest ? range.lowest : gain;
        gain = gain > range.highest ? range.highest : gain;
        // The limits give 0 and 65535, or 65534 where the product falls short of it.
        const double code = (static_cast<double>(gain) - lowest) * scale;
        codes[i] = static_cast<std::uint16_t>(static_cast<std::int32_t>(code));
    }
}

LUMO_INLINE void correct(std::uint16_t* __restrict pixels, GainRange range,
                         const std::uint16_t* __restrict codes, int count) {
    const double step = range.span() / 65535.0;
    forEachPixel(pixels, count, [=](int i) {
        const auto gain = static_cast<float>(codes[i] * step + static_cast<double>(range.lowest));
        // At most 65535 * 655.35.
        pixels[i] = positiveToPixel(pixels[i] * static_cast<double>(gain));
    });
}

LUMO_INLINE std::uint32_t sumOf(const std::uint16_t* pixels, int count) {
    std::uint32_t sum = 0;  // enough for the longest row
    forEachPixel(pixels, count, [&](int i) { sum += pixels[i]; });
    return sum;
}

LUMO_LEVELS(void, encodeAtLevel, encode,
            (const std::uint16_t* pixels, float mean, GainRange range, std::uint16_t* codes,
             int count),
            (pixels, mean, range, codes, count))
LUMO_LEVELS(void, correctAtLevel, correct,
            (std::uint16_t * pixels, GainRange range, const std::uint16_t* codes, int count),
            (pixels, range, codes, count))
LUMO_LEVELS(std::uint32_t, sumAtLevel, sumOf, (const std::uint16_t* pixels, int count),
            (pixels, count))

}  // namespace

void gainCodes(const std::uint16_t* pixels, float mean, GainRange range, std::uint16_t* codes,
               int count) {
    encodeAtLevel(pixels, mean, range, codes, count);
}

void applyGains(std::uint16_t* pixels, GainRange range, const std::uint16_t* codes, int count) {
    correctAtLevel(pixels, range, codes, count);
}

float centralMean(Source reference) {
    constexpr float rim = 0.15F;
    const int left = static_cast<int>(static_cast<double>(rim) * reference.width);
    const int top = static_cast<int>(static_cast<double>(rim) * reference.height);
    const int width = reference.width - 2 * left, height = reference.height - 2 * top;
    std::uint64_t sum = 0;
    for (int y = top; y < top + height; ++y) sum += sumAtLevel(reference.row(y) + left, width);
    const double count = static_cast<double>(width) * height;
    return static_cast<float>(static_cast<double>(sum) / count);
}

std::array<std::uint8_t, CalibrationHeader::size> CalibrationHeader::bytes() const {
    std::array<std::uint8_t, size> block{};
    ByteWriter out(block);
    for (const std::uint16_t field : {version, width, height, length}) out.put(field);
    for (const std::uint32_t field : {pixelsizeX, pixelsizeY}) out.put(field);
    for (const std::uint16_t field : {minPercent, maxPercent}) out.put(field);
    return block;
}

std::optional<CalibrationHeader> CalibrationHeader::read(std::FILE* file) {
    std::array<std::uint8_t, size> block{};
    if (readBytes(file, block.data(), size) != size) return std::nullopt;
    CalibrationHeader header;
    ByteReader in(block);
    for (std::uint16_t* field : {&header.version, &header.width, &header.height, &header.length})
        in.take(*field);
    for (std::uint32_t* field : {&header.pixelsizeX, &header.pixelsizeY}) in.take(*field);
    for (std::uint16_t* field : {&header.minPercent, &header.maxPercent}) in.take(*field);
    return header;
}

}  // namespace lumo
