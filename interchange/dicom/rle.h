// A frame coded in DICOM's run lengths, as words. The DICOM library fills what is missing with
// zeros without a word, and crashes on a frame of no bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace lumo::interchange::dicom {

/// Decodes words of one or two bytes; false if the frame does not hold them all.
[[nodiscard]] bool decodeRle(std::span<const std::uint8_t> frame, std::size_t bytesPerWord,
                             std::uint16_t* words, std::size_t count);

}  // namespace lumo::interchange::dicom
