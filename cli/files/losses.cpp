// XYZ is read back and compared; for PNG the pitch can be computed.
#include "cli/files/losses.h"

#include <map>
#include <utility>

#include "cli/files/pitch.h"
#include "cli/library.h"
#include "cli/messages.h"
#include "cli/metadata.h"

namespace lumo::cli {

namespace {

/// A stamp without its day name, which XYZ does not hold.
std::string withoutDayName(const MetaEntry& entry, const std::string& value) {
    const bool isStamp = entry.section == "Image" && entry.key == "Creation Time";
    return isStamp && value.size() > 3 ? value.substr(3) : value;
}

/// Compares the metadata with what came back from the file, entry by entry.
void reportLostEntries(lmImage* image, lmImage* back, const std::string& file) {
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
            printNote(file, "changed " + name, name + " becomes \"" + same->second + "\" in XYZ");
        }
    }
    if (!lost.empty()) printNote(file, "lost", "does not travel in XYZ: " + lost);
    if (extendedHeader(image, file) != extendedHeader(back, file))
        printNote(file, "extended header", "the extended header does not travel unchanged");
}

}  // namespace

void reportXyzLosses(lmImage* image, const std::string& staged, const std::string& file) {
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
    else {
        takePitchFromExtendedHeader(back.get(), file);
        reportLostEntries(image, back.get(), file);
    }
}

/// PNG counts whole pixels per metre.
void reportPngLosses(lmImage* image, const std::string& file) {
    if (isPitchAssumed(image, file)) return;
    constexpr std::uint32_t nanometresPerMetre = 1'000'000'000;
    for (const std::uint32_t pitch : {image->pixelsizeX, image->pixelsizeY}) {
        const std::uint32_t back = nanometresPerMetre / (nanometresPerMetre / pitch);
        if (back == pitch) continue;
        printNote(file, "pitch",
                  "a pitch of " + std::to_string(pitch) + " nm reads back from PNG as " +
                      std::to_string(back) + " nm");
        return;
    }
}

}  // namespace lumo::cli
