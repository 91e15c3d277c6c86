// What a TIFF page says beside its pixels.
#include "interchange/tiff_metadata.h"

#include <cmath>
#include <optional>
#include <string_view>

#include "interchange/helper_main.h"
#include "interchange/metadata_text.h"

namespace lumo::interchange {

namespace {

constexpr double nanometresPerInch = 25.4e6, nanometresPerCentimetre = 1e7;

/// Units as ImageJ writes them into its descriptions.
constexpr struct {
    std::string_view name;
    double nanometres;
} imageJUnits[] = {{"nm", 1},
                   {"um", 1e3},
                   {"micron", 1e3},
                   {"\xC2\xB5m", 1e3},
                   {"\xCE\xBCm", 1e3},
                   {"\xB5m", 1e3},
                   {"\\u00B5m", 1e3},
                   {"mm", 1e6},
                   {"cm", nanometresPerCentimetre},
                   {"inch", nanometresPerInch}};

constexpr struct {
    std::uint32_t tag;
    const char* key;
} texts[] = {{TIFFTAG_MAKE, "Make"},         {TIFFTAG_MODEL, "Model"},
             {TIFFTAG_SOFTWARE, "Software"}, {TIFFTAG_DATETIME, "DateTime"},
             {TIFFTAG_ARTIST, "Artist"},     {TIFFTAG_IMAGEDESCRIPTION, "ImageDescription"}};

/// The value of a line "key=value" of an ImageJ description.
std::string_view lineOf(std::string_view text, std::string_view key) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.starts_with(key) && line.substr(key.size()).starts_with('='))
            return line.substr(key.size() + 1);
    }
    return {};
}

/// A unit of length, and who says so; none if the resolution is a mere ratio.
struct Unit {
    double nanometres;
    const char* source;
};
std::optional<Unit> unitOf(const TiffFile& file) {
    switch (file.number<std::uint16_t>(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH)) {
        case RESUNIT_INCH:
            return Unit{nanometresPerInch, "resolution"};
        case RESUNIT_CENTIMETER:
            return Unit{nanometresPerCentimetre, "resolution"};
        default:
            break;
    }
    const std::string description = file.text(TIFFTAG_IMAGEDESCRIPTION);
    if (!description.starts_with("ImageJ=")) return std::nullopt;
    const std::string_view name = lineOf(description, "unit");
    for (const auto& unit : imageJUnits)
        if (unit.name == name) return Unit{unit.nanometres, "ImageJ unit"};
    return std::nullopt;
}

/// Whole nanometres of a pixel; 0 for a resolution that makes no sense.
std::uint32_t pitchFor(double unit, float resolution) {
    const double pitch = std::round(unit / static_cast<double>(resolution));
    return pitch >= 1 && pitch <= largestPitch ? static_cast<std::uint32_t>(pitch) : 0;
}

}  // namespace

bool isOwn(const TiffFile& file) {
    return file.text(TIFFTAG_IMAGEDESCRIPTION).starts_with(ownDescription);
}

std::string readPitch(const TiffFile& file, Description& description) {
    float x = 0, y = 0;
    const bool hasX = TIFFGetField(file.get(), TIFFTAG_XRESOLUTION, &x) == 1;
    const bool hasY = TIFFGetField(file.get(), TIFFTAG_YRESOLUTION, &y) == 1;
    const std::optional<Unit> unit = unitOf(file);
    if (unit && (hasX || hasY)) {
        const std::uint32_t pitchX = pitchFor(unit->nanometres, hasX ? x : y);
        const std::uint32_t pitchY = pitchFor(unit->nanometres, hasY ? y : x);
        if (pitchX != 0 && pitchY != 0) {
            description.pitchX = pitchX;
            description.pitchY = pitchY;
            if (hasX != hasY)
                description.note("tells the resolution of one side only; taken for both");
            return unit->source;
        }
    }
    return pitchAssumed;
}

void readTexts(const TiffFile& file, Description& description) {
    if (isOwn(file)) {
        for (Entry& entry : parseMetadata(file.text(TIFFTAG_IMAGEDESCRIPTION)))
            description.entries.push_back(std::move(entry));
        return;
    }
    for (const auto& [tag, key] : texts) {
        std::string value = file.text(tag);
        if (!value.empty()) description.add("TIFF", key, std::move(value));
    }
    const std::string make = file.text(TIFFTAG_MAKE), model = file.text(TIFFTAG_MODEL);
    const std::string source = make + (make.empty() || model.empty() ? "" : " ") + model;
    if (!source.empty()) description.add("Image", "Source", source);
}

}  // namespace lumo::interchange
