// DICOM files made byte by byte, for what no writer makes: contradictions, wrong value
// representations, junk beside the values, no preamble.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace lumo::test {

class DicomBytes {
public:
    using Data = std::vector<std::uint8_t>;
    using Words = std::vector<std::uint16_t>;

    std::string syntax = "1.2.840.10008.1.2.1";  ///< explicit little-endian
    bool hasPreamble = true;                     ///< and the group that names the syntax
    bool bigEndian = false;                      ///< the words and lengths behind that group

    /// A picture of secondary capture without pixels.
    DicomBytes(int width, int height, int bits = 16) {
        text(0x00080016, "UI", "1.2.840.10008.5.1.4.1.1.7");
        text(0x00280004, "CS", "MONOCHROME2");
        for (const auto& [tag, value] : std::map<std::uint32_t, int>{{0x00280002, 1},
                                                                     {0x00280010, height},
                                                                     {0x00280011, width},
                                                                     {0x00280100, 16},
                                                                     {0x00280101, bits},
                                                                     {0x00280102, bits - 1},
                                                                     {0x00280103, 0}})
            word(tag, value);
    }

    DicomBytes& text(std::uint32_t tag, const char* vr, std::string value) {
        const std::string kind = vr;
        if (value.size() % 2 != 0) value += kind == "UI" || kind == "OB" ? '\0' : ' ';
        elements_[tag] = {kind, value};
        return *this;
    }
    DicomBytes& word(std::uint32_t tag, int value, const char* vr = "US") {
        elements_[tag] = {vr, fromWords({std::uint16_t(value)})};
        return *this;
    }
    DicomBytes& pixels(const Words& words) {
        elements_[pixelTag] = {"OW", fromWords(words)};
        return *this;
    }
    /// Compressed pixels: fragments behind a table of offsets.
    DicomBytes& fragments(const std::vector<Data>& all, const Data& offsets = {}) {
        std::string value;
        for (std::size_t i = 0; i <= all.size(); ++i) {
            const Data& data = i == 0 ? offsets : all[i - 1];
            value += number(0xE000FFFE, 4, false) + number(data.size() + data.size() % 2, 4, false);
            value.append(data.begin(), data.end());
            if (data.size() % 2 != 0) value += '\0';
        }
        elements_[pixelTag] = {"fragments",
                               value + number(0xE0DDFFFE, 4, false) + number(0, 4, false)};
        return *this;
    }
    DicomBytes& without(std::uint32_t tag) {
        elements_.erase(tag);
        return *this;
    }

    [[nodiscard]] Data bytes() const {
        std::string all;
        if (hasPreamble) {
            const std::string named = padded(syntax);
            all = std::string(128, '\0') + "DICM" + number(0x00100002, 4, false) + "UI" +
                  number(named.size(), 2, false) + named;
        }
        for (const auto& [tag, element] : elements_) all += encoded(tag, element);
        return {all.begin(), all.end()};
    }

    [[nodiscard]] std::string number(std::uint64_t value, std::size_t size, bool big) const {
        std::string digits;
        for (std::size_t i = 0; i < size; ++i)
            digits += char(value >> 8 * (big ? size - 1 - i : i) & 0xFF);
        return digits;
    }

private:
    static constexpr std::uint32_t pixelTag = 0x7FE00010;
    struct Element {
        std::string vr, value;
    };

    static std::string padded(std::string text) {
        if (text.size() % 2 != 0) text += '\0';
        return text;
    }
    [[nodiscard]] std::string fromWords(const Words& words) const {
        std::string value;
        for (const std::uint16_t word : words) value += number(word, 2, bigEndian);
        return value;
    }
    [[nodiscard]] std::string encoded(std::uint32_t tag, const Element& element) const {
        const std::string head =
            number(tag >> 16, 2, bigEndian) + number(tag & 0xFFFF, 2, bigEndian);
        if (element.vr == "fragments")
            return head + "OB" + number(0, 2, false) + number(0xFFFFFFFF, 4, false) + element.value;
        const std::string &vr = element.vr, &value = element.value;
        const bool isLong =
            vr == "OB" || vr == "OW" || vr == "OF" || vr == "UN" || vr == "SQ" || vr == "UT";
        return head + vr + (isLong ? number(0, 2, false) : "") +
               number(value.size(), isLong ? 4 : 2, bigEndian) + value;
    }

    std::map<std::uint32_t, Element> elements_;
};

}  // namespace lumo::test
