// A JPEG 2000 stream as words, which the DICOM library does not decode.
#pragma once

#include <cstdint>
#include <span>

namespace lumo::interchange::dicom {

/// What the stream says of its values.
struct Jpeg2000Values {
    int precision;  ///< bits
    bool isSigned;  ///< two's complement in the low bits of the words
};

/// Decodes the stream into width x height words, of which the bits above the precision are 0.
/// Throws Refusal if it is damaged, ends early, or holds another picture than this.
[[nodiscard]] Jpeg2000Values decodeJpeg2000(std::span<const std::uint8_t> stream,
                                            std::uint32_t width, std::uint32_t height,
                                            std::uint16_t* words);

}  // namespace lumo::interchange::dicom
