// What a file format does not hold of an image, told on standard error as notes about the file.
#include "cli/files/losses.h"

#include <map>
#include <utility>

#include "cli/library.h"
#include "cli/messages.h"
#include "cli/metadata.h"

namespace lumo::cli {

namespace {

void tell(const std::string& file, const std::string& note) {
    printMessage(file + ": note: " + note);
}

/// A stamp without its day name, which XYZ does not hold.
std::string withoutDayName(const MetaEntry& entry, const std::string& value) {
    const bool isStamp = entry.section == "Image" && entry.key == "Creation Time";
    return isStamp && value.size() > 3 ? value.substr(3) : value;
}

/// Compares the metadata with what came back from the file, entry by entry.
void tellLostEntries(lmImage* image, lmImage* back, const std::string& file) {
    std::map<std::pair<std::string, std::string>, std::string> kept;
    for (auto& [section, key, value] : readMetadata(back, file)) kept[{section, key}] = value;
    std::string lost;
    for (const MetaEntry& entry : readMetadata(image, file)) {
        const std::string name = entry.section + '/' + entry.key;
        const auto same = kept.find({entry.section, entry.key});
        if (same == kept.end()) {
            if (entry.value.empty()) continue;  // reads the same
            if (!lost.empty()) lost += ", ";
            lost += name;
        } else if (withoutDayName(entry, same->second) != withoutDayName(entry, entry.value)) {
            tell(file, name + " becomes \"" + same->second + "\" in XYZ");
        }
    }
    if (!lost.empty()) tell(file, "does not travel in XYZ: " + lost);
    if (extendedHeader(image, file) != extendedHeader(back, file))
        tell(file, "the extended header does not travel unchanged");
}

}  // namespace

void tellXyzLosses(lmImage* image, const std::string& staged, const std::string& file) {
    lmImage* place = nullptr;
    const int code = LumoReadImage(&place, staged.c_str());
    const ImageHandle back(place);
    if (code == LumoErrorInfoInvalid)
        printMessage(file +
                     ": warning: cannot be read back: an XYZ image needs a pitch of 1000 to "
                     "1000000 nm and a Creation Time of 1997 or later");
    else if (code < 0)
        printMessage("warning: cannot be read back: " +
                     std::string(libraryError(code, file).what()));
    else
        tellLostEntries(image, back.get(), file);
}

/// PNG counts whole pixels per metre.
void tellPngLosses(const lmImage& image, const std::string& file) {
    constexpr std::uint32_t nanometresPerMetre = 1'000'000'000;
    for (const std::uint32_t pitch : {image.pixelsizeX, image.pixelsizeY}) {
        const std::uint32_t back = nanometresPerMetre / (nanometresPerMetre / pitch);
        if (back == pitch) continue;
        tell(file, "a pitch of " + std::to_string(pitch) + " nm reads back from PNG as " +
                       std::to_string(back) + " nm");
        return;
    }
}

}  // namespace lumo::cli
