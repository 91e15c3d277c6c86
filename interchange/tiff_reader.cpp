// Reading a TIFF file: one page of it, checked, then its pixels as they are stored.
#include <vector>

#include "interchange/system.h"
#include "interchange/tiff_files.h"
#include "interchange/tiff_layout.h"
#include "interchange/tiff_metadata.h"
#include "interchange/tiff_pixels.h"

namespace lumo::interchange {

namespace {

constexpr std::uint32_t signOffset = 32768;  // of 16 bits

/// Where the pages of full size begin.
std::vector<toff_t> pagesOf(const TiffFile& file) {
    std::vector<toff_t> pages;
    for (TIFF* const tiff = file.get();;) {
        const auto kind = file.number<std::uint32_t>(TIFFTAG_SUBFILETYPE, 0);
        if ((kind & FILETYPE_REDUCEDIMAGE) == 0) pages.push_back(TIFFCurrentDirOffset(tiff));
        if (TIFFLastDirectory(tiff) != 0) return pages;
        if (TIFFReadDirectory(tiff) == 1) continue;
        // Of a page that it has seen before, libtiff says nothing.
        if (file.lastMessage().empty()) throw Refusal("damaged (its pages form a loop)");
        file.refuseAsDamaged();
    }
}

/// Makes the wanted page the present one, and records the choice.
void choosePage(const TiffFile& file, std::uint32_t frame, Description& description) {
    const std::vector<toff_t> pages = pagesOf(file);
    const std::string count = std::to_string(pages.size());
    if (pages.empty()) throw Refusal("holds reduced pages only");
    if (frame > pages.size())
        throw Refusal(count + (pages.size() == 1 ? " frame" : " frames") + "; there is no frame " +
                      std::to_string(frame));
    if (pages.size() > 1 && frame == 0)
        throw Refusal(count + " frames; choose one with --frame 1 to " + count);
    if (TIFFSetSubDirectory(file.get(), pages[frame == 0 ? 0 : frame - 1]) != 1)
        file.refuseAsDamaged();
    if (pages.size() == 1) return;
    description.add("Import", "Frame", std::to_string(frame));
    description.add("Import", "Frames", count);
}

/// What was done to the values, or might have been expected.
void describeValues(const TiffLayout& layout, bool turned, Description& description) {
    if (layout.isSigned) {
        description.add("Import", "Offset", std::to_string(signOffset));
        description.add("Import", shiftedMark, "1");
        description.note("signed values; " + std::to_string(signOffset) + " added");
    }
    if (!layout.minIsWhite) return;
    description.add("TIFF", "Photometric", turned ? "min is white, turned" : "min is white");
    if (turned)
        description.add("Import", turnedMark, "1");
    else
        description.note("min is white: small values are meant bright; --monochrome2 turns them");
}

/// Signed values from below, and what is meant the other way round, turned within its bits.
void changeValues(const TiffLayout& layout, bool turned, Picture& picture) {
    std::uint16_t change = layout.isSigned ? signOffset : 0;
    if (turned) change ^= static_cast<std::uint16_t>((1U << layout.bits) - 1);
    if (change == 0) return;
    for (std::uint64_t i = 0; i < picture.pixelCount(); ++i) picture.raster[i] ^= change;
}

}  // namespace

Picture readTiff(int descriptor, const Request& request) {
    const TiffFile file(descriptor, "r");
    Picture picture;
    choosePage(file, request.number("frame"), picture);
    const TiffLayout layout = checkedLayout(file);
    allowRaster(layout.rasterBytes());

    const bool turned = layout.minIsWhite && request.has("monochrome2");
    picture.width = layout.width;
    picture.height = layout.height;
    picture.bits = static_cast<std::uint8_t>(layout.bits);
    picture.add("Import", "Format", "TIFF");
    picture.add("Import", "PitchFrom", readPitch(file, picture));
    // A file of our own brings the record of its first import along.
    if (isOwn(file)) picture.entries.clear();
    describeValues(layout, turned, picture);
    readTexts(file, picture);
    picture.allocate();
    readTiffPixels(file, layout, picture.raster.get());
    changeValues(layout, turned, picture);
    return picture;
}

}  // namespace lumo::interchange
