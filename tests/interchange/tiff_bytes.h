// TIFF files made byte by byte, for what no writer makes: every depth, both byte orders and offset
// sizes, contradictions, loops.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "support/support.h"

namespace lumo::test {

class TiffBytes {
public:
    struct Tag {
        std::uint16_t number, type;  ///< 2 text, 3 and 4 whole numbers, 5 ratios, 16 long offsets
        std::vector<std::uint64_t> values;  ///< two for a ratio, a letter each for a text
    };

    explicit TiffBytes(bool bigEndian = false, bool large = false)
        : bigEndian_(bigEndian), large_(large) {
        const char mark = bigEndian ? 'M' : 'I';
        bytes_ = {std::uint8_t(mark), std::uint8_t(mark)};
        number(large ? 43 : 42, 2);
        if (large) {
            number(8, 2);
            number(0, 2);
        }
        link_ = bytes_.size();
        number(0, large ? 8 : 4);
    }

    void number(std::uint64_t value, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i)
            bytes_.push_back(std::uint8_t(value >> 8 * (bigEndian_ ? size - 1 - i : i)));
    }

    /// Appends bytes; returns where they begin.
    std::uint64_t block(const Bytes& data) {
        const std::size_t place = bytes_.size();
        bytes_.insert(bytes_.end(), data.begin(), data.end());
        if (bytes_.size() % 2 != 0) bytes_.push_back(0);
        return place;
    }

    /// Appends a page and links it to the one before; returns where it begins.
    std::uint64_t page(std::vector<Tag> tags) {
        std::ranges::stable_sort(tags, {}, &Tag::number);
        std::vector<std::uint64_t> places;
        for (const Tag& tag : tags) places.push_back(isLong(tag) ? longValues(tag) : 0);
        const std::uint64_t place = bytes_.size();
        setLink(place);
        number(tags.size(), large_ ? 8 : 2);
        for (std::size_t i = 0; i < tags.size(); ++i) {
            number(tags[i].number, 2);
            number(tags[i].type, 2);
            number(tags[i].values.size() / (tags[i].type == 5 ? 2 : 1), wordSize());
            if (isLong(tags[i])) {
                number(places[i], wordSize());
                continue;
            }
            const std::size_t end = bytes_.size() + wordSize();
            values(tags[i]);
            bytes_.resize(end);
        }
        link_ = bytes_.size();
        number(0, wordSize());
        return place;
    }

    /// Where the last page's successor is.
    void setLink(std::uint64_t place) {
        for (std::size_t i = 0; i < wordSize(); ++i)
            bytes_[link_ + i] = std::uint8_t(place >> 8 * (bigEndian_ ? wordSize() - 1 - i : i));
    }

    [[nodiscard]] const Bytes& bytes() const { return bytes_; }
    [[nodiscard]] std::uint16_t placeType() const { return large_ ? 16 : 4; }

private:
    [[nodiscard]] std::size_t wordSize() const { return large_ ? 8 : 4; }
    static std::size_t size(const Tag& tag) {
        return tag.type == 2 ? 1 : tag.type == 3 ? 2 : tag.type == 16 ? 8 : 4;
    }
    [[nodiscard]] bool isLong(const Tag& tag) const {
        return size(tag) * tag.values.size() > wordSize();
    }
    void values(const Tag& tag) {
        for (const std::uint64_t value : tag.values) number(value, size(tag));
    }
    std::uint64_t longValues(const Tag& tag) {
        const std::uint64_t place = bytes_.size();
        values(tag);
        if (bytes_.size() % 2 != 0) bytes_.push_back(0);
        return place;
    }

    bool bigEndian_, large_;
    Bytes bytes_;
    std::size_t link_ = 0;
};

/// A text's letters with its zero.
[[nodiscard]] inline std::vector<std::uint64_t> letters(const std::string& text) {
    std::vector<std::uint64_t> values(text.begin(), text.end());
    for (std::uint64_t& value : values) value &= 0xFF;
    values.push_back(0);
    return values;
}

/// Rows of values as TIFF packs them: those of 16 bits in the file's order, others highest bit
/// first, each row in whole bytes.
[[nodiscard]] inline Bytes packed(const Raster& raster, int bits, bool bigEndian) {
    Bytes bytes;
    for (int y = 0; y < raster.height; ++y) {
        std::uint32_t held = 0;
        int heldBits = 0;
        for (int x = 0; x < raster.width; ++x) {
            const std::uint16_t value = raster.at(x, y);
            if (bits == 16) {
                bytes.push_back(std::uint8_t(bigEndian ? value >> 8 : value));
                bytes.push_back(std::uint8_t(bigEndian ? value : value >> 8));
                continue;
            }
            for (int bit = bits - 1; bit >= 0; --bit) {
                held = held << 1 | (value >> bit & 1);
                if (++heldBits == 8) {
                    bytes.push_back(std::uint8_t(held));
                    held = 0;
                    heldBits = 0;
                }
            }
        }
        if (heldBits > 0) bytes.push_back(std::uint8_t(held << (8 - heldBits)));
    }
    return bytes;
}

}  // namespace lumo::test
