// A frame coded in DICOM's run lengths, as words.
#include "interchange/dicom/rle.h"

#include <algorithm>
#include <array>

namespace lumo::interchange::dicom {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t headerNumbers = 16, headerSize = headerNumbers * 4;  // count, offsets

std::array<std::uint32_t, headerNumbers> headerOf(Bytes frame) {
    std::array<std::uint32_t, headerNumbers> numbers{};
    for (std::size_t i = 0; i < headerSize; ++i)
        numbers[i / 4] |= std::uint32_t{frame[i]} << i % 4 * 8;
    return numbers;
}

/// One byte of every word: runs of the same byte and of different ones.
bool decodeSegment(Bytes segment, int shift, std::uint16_t* words, std::size_t count) {
    const auto put = [&](std::uint8_t byte) {
        *words = static_cast<std::uint16_t>(*words | byte << shift);
        ++words;
    };
    std::size_t at = 0;
    while (count > 0) {
        if (at == segment.size()) return false;
        const std::uint8_t control = segment[at++];
        if (control == 128) continue;  // says nothing
        const bool isRun = control > 128;
        const std::size_t length =
            std::min<std::size_t>(isRun ? 257 - control : control + 1, count);
        const std::size_t stored = isRun ? 1 : length;
        if (segment.size() - at < stored) return false;
        for (std::size_t i = 0; i < length; ++i) put(segment[isRun ? at : at + i]);
        at += stored;
        count -= length;
    }
    return true;
}

}  // namespace

bool decodeRle(Bytes frame, std::size_t bytesPerWord, std::uint16_t* words, std::size_t count) {
    if (frame.size() < headerSize) return false;
    const std::array<std::uint32_t, headerNumbers> header = headerOf(frame);
    if (header[0] != bytesPerWord) return false;
    std::fill_n(words, count, std::uint16_t{0});
    for (std::size_t i = 0; i < bytesPerWord; ++i) {
        const std::size_t begin = header[i + 1],
                          end = i + 1 < bytesPerWord ? header[i + 2] : frame.size();
        if (begin < headerSize || begin > end || end > frame.size()) return false;
        const int shift = static_cast<int>(bytesPerWord - 1 - i) * 8;  // the highest byte first
        if (!decodeSegment(frame.subspan(begin, end - begin), shift, words, count)) return false;
    }
    return true;
}

}  // namespace lumo::interchange::dicom
