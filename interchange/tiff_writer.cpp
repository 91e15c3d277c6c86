// Writing a TIFF file: one grey page of 16 bits that reads everywhere, the metadata in its
// description.
#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "interchange/metadata_text.h"
#include "interchange/tiff_file.h"
#include "interchange/tiff_files.h"
#include "interchange/tiff_metadata.h"

namespace lumo::interchange {

namespace {

constexpr std::uint64_t largestClassic = 3'900'000'000;  // bytes; offsets have 32 bits
constexpr std::uint32_t stripBytes = 64 << 10;
constexpr double nanometresPerCentimetre = 1e7;

constexpr struct {
    std::string_view name;
    std::uint16_t number;
    bool predicts;  ///< differences of neighbours pack much better
} compressions[] = {{"none", COMPRESSION_NONE, false},
                    {"lzw", COMPRESSION_LZW, true},
                    {"deflate", COMPRESSION_ADOBE_DEFLATE, true},
                    {"packbits", COMPRESSION_PACKBITS, false}};

/// Whole of a file's tags, each checked.
class Tags {
public:
    explicit Tags(const TiffFile& file) : file_(file) {}
    template <class Value>
    void set(std::uint32_t tag, Value value) const {
        if (TIFFSetField(file_.get(), tag, value) != 1) file_.refuseAsDamaged();
    }
    void setText(std::uint32_t tag, const std::string& text) const {
        if (!text.empty()) set(tag, text.c_str());
    }

private:
    const TiffFile& file_;
};

std::string entry(const Picture& picture, std::string_view section, std::string_view key) {
    for (const Entry& entry : picture.entries)
        if (entry.section == section && entry.key == key) return entry.value;
    return "";
}

/// "Mon, 01 Dec 2008 09:05:03 GMT" as "2008:12:01 09:05:03"; empty for anything else.
std::string dateTime(const std::string& stamp) {
    constexpr std::array months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    char name[4] = {};
    unsigned day = 0, year = 0, hour = 0, minute = 0, second = 0;
    if (std::sscanf(stamp.c_str(), "%*3s, %2u %3s %4u %2u:%2u:%2u", &day, name, &year, &hour,
                    &minute, &second) != 6)
        return "";
    const auto month = std::ranges::find(months, std::string_view(name));
    if (month == months.end()) return "";
    char text[32];
    std::snprintf(text, sizeof text, "%04u:%02u:%02u %02u:%02u:%02u", year,
                  static_cast<unsigned>(month - months.begin() + 1), day, hour, minute, second);
    return text;
}

void setGeometry(const Tags& tags, const Picture& picture) {
    tags.set(TIFFTAG_IMAGEWIDTH, picture.width);
    tags.set(TIFFTAG_IMAGELENGTH, picture.height);
    tags.set(TIFFTAG_BITSPERSAMPLE, 16);
    tags.set(TIFFTAG_SAMPLESPERPIXEL, 1);
    tags.set(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    tags.set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    tags.set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    tags.set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
    tags.set(TIFFTAG_XRESOLUTION, nanometresPerCentimetre / picture.pitchX);
    tags.set(TIFFTAG_YRESOLUTION, nanometresPerCentimetre / picture.pitchY);
}

void setTexts(const Tags& tags, const Picture& picture) {
    tags.setText(TIFFTAG_SOFTWARE, entry(picture, "Image", "Software"));
    tags.setText(TIFFTAG_ARTIST, entry(picture, "Image", "Author"));
    tags.setText(TIFFTAG_DATETIME, dateTime(entry(picture, "Image", "Creation Time")));
    tags.setText(TIFFTAG_IMAGEDESCRIPTION,
                 std::string(ownDescription) + '\n' + metadataText(picture.entries));
}

void setCompression(const Tags& tags, const std::string& name) {
    for (const auto& [known, number, predicts] : compressions) {
        if (known != (name.empty() ? "none" : name)) continue;
        tags.set(TIFFTAG_COMPRESSION, number);
        if (predicts) tags.set(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
        return;
    }
    throw Refusal("TIFF knows no compression " + name + "; choose none, lzw, deflate or packbits");
}

/// A note if the pitch does not come back; ratios of whole numbers do not hold every one.
std::vector<std::string> pitchLoss(const Picture& picture, int descriptor) {
    const TiffFile written(descriptor, "r");
    Description back;
    (void)readPitch(written, back);
    if (back.pitchX == picture.pitchX && back.pitchY == picture.pitchY) return {};
    return {"a pitch of " + std::to_string(picture.pitchX) + " x " +
            std::to_string(picture.pitchY) + " nm reads back from TIFF as " +
            std::to_string(back.pitchX) + " x " + std::to_string(back.pitchY) + " nm"};
}

}  // namespace

std::vector<std::string> writeTiff(const Picture& picture, int descriptor, const Request& request) {
    // Both little-endian; the one with offsets of 64 bits is not read everywhere.
    TiffFile file(descriptor, picture.rasterBytes() > largestClassic ? "wl8" : "wl");
    const Tags tags(file);
    setGeometry(tags, picture);
    setTexts(tags, picture);
    setCompression(tags, request.text("compression"));
    const std::uint32_t rows = std::max(stripBytes / (picture.width * 2), 1U);
    tags.set(TIFFTAG_ROWSPERSTRIP, rows);
    std::vector<std::uint16_t> strip;  // libtiff works in place
    for (std::uint32_t top = 0, i = 0; top < picture.height; top += rows, ++i) {
        const std::uint64_t count =
            std::uint64_t{std::min(rows, picture.height - top)} * picture.width;
        const std::uint16_t* const from = picture.raster.get() + std::uint64_t{top} * picture.width;
        strip.assign(from, from + count);
        if (TIFFWriteEncodedStrip(file.get(), i, strip.data(), static_cast<tmsize_t>(count * 2)) <
            0)
            throw Refusal(file.lastMessage());
    }
    file.finish();
    return pitchLoss(picture, descriptor);
}

}  // namespace lumo::interchange
