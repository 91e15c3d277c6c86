// The grey values in the words of a DICOM file: right-aligned, masked, and without a sign.
#include "interchange/dicom/pixel_words.h"

namespace lumo::interchange::dicom {

namespace {

/// A signed value is taken from its bits alone: those above may hold anything. Adding half the
/// range to a number in two's complement turns its highest bit over.
std::uint16_t valueOf(std::uint16_t word, int shift, std::uint16_t mask, std::uint16_t offset) {
    return static_cast<std::uint16_t>(((word >> shift) & mask) ^ offset);
}

/// All bits that are set anywhere.
std::uint16_t unionOf(const std::uint16_t* words, std::size_t count) {
    std::uint16_t all = 0;
    for (std::size_t i = 0; i < count; ++i) all |= words[i];
    return all;
}

}  // namespace

bool extractValues(std::uint16_t* words, std::size_t count, const WordLayout& layout) {
    if (!layout.isSigned && layout.highBit == layout.bits - 1) {
        const std::uint16_t all = unionOf(words, count);
        if (all <= layout.largest()) return false;  // as nearly always
    }
    const int shift = layout.highBit + 1 - layout.bits, unusedAbove = 15 - layout.highBit;
    const std::uint16_t mask = layout.largest(), offset = layout.offset();
    const auto above = static_cast<std::uint16_t>(~0U << layout.highBit << 1);
    const auto below = static_cast<std::uint16_t>((1U << shift) - 1);
    std::uint16_t setAbove = 0, notTheSign = 0, setBelow = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint16_t word = words[i];
        const auto extended = static_cast<std::uint16_t>(
            static_cast<std::int16_t>(word << unusedAbove) >> unusedAbove);
        setAbove |= word & above;
        notTheSign |= (word ^ extended) & above;
        setBelow |= word & below;
        words[i] = valueOf(word, shift, mask, offset);
    }
    return setBelow != 0 || (setAbove != 0 && (!layout.isSigned || notTheSign != 0));
}

void storeSigned(std::uint16_t* values, std::size_t count, int bits) {
    const auto half = static_cast<std::uint16_t>(1U << (bits - 1));
    for (std::size_t i = 0; i < count; ++i)
        values[i] = static_cast<std::uint16_t>(values[i] - half);
}

void turnValues(std::uint16_t* values, std::size_t count, std::uint16_t largest) {
    for (std::size_t i = 0; i < count; ++i)
        values[i] = static_cast<std::uint16_t>(largest - values[i]);
}

}  // namespace lumo::interchange::dicom
