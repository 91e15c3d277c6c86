// The entry that says where a pitch comes from, and the option that sets one.
#include "cli/files/pitch.h"

#include <charconv>

#include "cli/metadata.h"

namespace lumo::cli {

namespace {

constexpr const char* extendedHeaderSection = "Image_XHEAD";
constexpr std::uint32_t coarsest = 1'000'000'000;  // nanometres: PNG's one pixel a metre

void setEntry(lmImage* image, const char* section, const char* key, const char* value,
              const std::string& file) {
    check(LumoSetMetaEntry(image, section, key, value), file);
}

}  // namespace

bool isPitchAssumed(lmImage* image, const std::string& file) {
    return metaValue(image, pitchSection, pitchKey, file) == pitchAssumed;
}

void assumePitch(lmImage* image, const std::string& file) {
    setEntry(image, pitchSection, pitchKey, pitchAssumed, file);
}

void setPitch(lmImage* image, const Pitch& pitch, const std::string& file) {
    image->pixelsizeX = pitch.x;
    image->pixelsizeY = pitch.y;
    const struct {
        const char* key;
        std::uint32_t value;
    } entries[] = {{"PixelsizeX", pitch.x},
                   {"PixelsizeY", pitch.y},
                   {"Res_X", pitch.x},
                   {"Res_Y", pitch.y},
                   {"Pixelsize", 0}};  // computed when written as XYZ
    for (const auto& [key, value] : entries)
        if (!metaValue(image, "Image_X", key, file).empty())
            setEntry(image, "Image_X", key, std::to_string(value).c_str(), file);
    if (isPitchAssumed(image, file)) setEntry(image, pitchSection, pitchKey, nullptr, file);
}

std::string pitchText(const Pitch& pitch, bool assumed) {
    const std::string both = std::to_string(pitch.x) + " x " + std::to_string(pitch.y) + " nm";
    if (!assumed) return both;
    return "none (" + (pitch.x == pitch.y ? std::to_string(pitch.x) + " nm" : both) + " assumed)";
}

void addPitchOption(CLI::App& verb, std::string& text) {
    verb.add_option("--pitch", text,
                    "Pitch of the pixels in nanometres, whatever the file says: one number, or "
                    "X,Y along rows and between them");
}

std::optional<Pitch> parsePitch(const std::string& text) {
    if (text.empty()) return {};
    Pitch pitch{};
    const char* end = text.data() + text.size();
    std::from_chars_result result = std::from_chars(text.data(), end, pitch.x);
    pitch.y = pitch.x;
    if (result.ec == std::errc() && result.ptr != end && *result.ptr == ',')
        result = std::from_chars(result.ptr + 1, end, pitch.y);
    const auto inRange = [](std::uint32_t side) { return 1 <= side && side <= coarsest; };
    if (result.ec != std::errc() || result.ptr != end || !inRange(pitch.x) || !inRange(pitch.y))
        throw usageError("--pitch " + text +
                         ": not one or two whole numbers from 1 to 1000000000 (nanometres), with a "
                         "comma between");
    return pitch;
}

PitchInExtendedHeader::PitchInExtendedHeader(lmImage* image, const std::string& file) {
    // A device's own block stays as it is.
    if (!isPitchAssumed(image, file) || !extendedHeader(image, file).empty()) return;
    setEntry(image, extendedHeaderSection, pitchKey, pitchAssumed, file);
    image_ = image;
}

PitchInExtendedHeader::~PitchInExtendedHeader() {
    if (image_ != nullptr) LumoSetMetaEntry(image_, extendedHeaderSection, pitchKey, nullptr);
}

void takePitchFromExtendedHeader(lmImage* image, const std::string& file) {
    if (metaValue(image, extendedHeaderSection, pitchKey, file) != pitchAssumed) return;
    setEntry(image, extendedHeaderSection, pitchKey, nullptr, file);
    assumePitch(image, file);
}

}  // namespace lumo::cli
