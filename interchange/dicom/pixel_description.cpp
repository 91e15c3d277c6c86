// What a data set says of its pixels, checked before any of them is touched.
#include "interchange/dicom/pixel_description.h"

#include "interchange/dicom/identifiers.h"
#include "interchange/helper_main.h"

namespace lumo::interchange::dicom {

namespace {

constexpr std::int64_t largestSide = 65535;
constexpr std::uint64_t largestNative = std::uint64_t{4} << 30, largestCoded = 1ULL << 30;  // bytes

bool holds(DcmItem& dataset, const DcmTagKey& tag) {
    return dataset.tagExists(tag) != OFFalse;
}

/// "RTPlanStorage" -> "RT Plan Storage".
std::string spaced(const std::string& name) {
    const auto isCapital = [&](std::size_t i) {
        return i < name.size() && 'A' <= name[i] && name[i] <= 'Z';
    };
    std::string text;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool begins = i > 0 && isCapital(i) &&
                            (!isCapital(i - 1) || (i + 1 < name.size() && !isCapital(i + 1)));
        if (begins) text += ' ';
        text += name[i];
    }
    return text;
}

void requirePixels(DcmItem& dataset, ElementText& text) {
    if (holds(dataset, DcmTagKey(0x7FE0, 0x0008)) || holds(dataset, DcmTagKey(0x7FE0, 0x0009)))
        throw Refusal("floating-point pixels; values would have to be scaled");
    if (holds(dataset, DCM_PixelData)) return;
    if (holds(dataset, DCM_DirectoryRecordSequence))
        throw Refusal("a DICOM directory holds no image");
    const std::string uid = text.of("SOPClassUID");
    const char* const name = isIdentifier(uid) ? dcmFindNameOfUID(uid.c_str()) : nullptr;
    throw Refusal("holds no image" + (name == nullptr ? "" : " (" + spaced(name) + ')'));
}

std::uint32_t side(ElementText& text, const char* keyword) {
    const std::optional<std::int64_t> value = text.number(keyword);
    if (!value) throw Refusal(std::string("the file gives no ") + keyword);
    if (*value < 1 || *value > largestSide)
        throw Refusal(std::string(keyword) + " is " + std::to_string(*value) +
                      "; a picture has 1 to 65535");
    return static_cast<std::uint32_t>(*value);
}

void requireGrey(ElementText& text, PixelDescription& pixels) {
    const std::string meaning = text.of("PhotometricInterpretation");
    pixels.smallIsBright = meaning == "MONOCHROME1";
    const bool isGrey = pixels.smallIsBright || meaning == "MONOCHROME2";
    const std::int64_t samples = text.number("SamplesPerPixel").value_or(1);
    if (meaning.empty() && samples == 1) {
        pixels.notes.emplace_back("gives no PhotometricInterpretation; MONOCHROME2 assumed");
        return;
    }
    const bool isKnown =
        meaning.size() <= 16 &&
        meaning.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_ ") == std::string::npos;
    if (!isGrey)
        throw Refusal("colour (" + (isKnown ? meaning : "?") + "); lumo takes grey images");
    if (samples != 1)
        throw Refusal("the file contradicts itself: " + meaning + " with " +
                      std::to_string(samples) + " samples a pixel");
}

void readLayout(ElementText& text, PixelDescription& pixels) {
    const std::int64_t allocated = text.number("BitsAllocated").value_or(0);
    if (allocated == 0) throw Refusal("the file gives no BitsAllocated");
    if (allocated > 16) throw Refusal(std::to_string(allocated) + " bits a pixel; lumo holds 16");
    if (allocated != 8 && allocated != 16)
        throw Refusal(std::to_string(allocated) + " bits allocated a pixel; lumo takes 8 or 16");
    const std::optional<std::int64_t> given = text.number("BitsStored");
    const std::int64_t stored = given.value_or(allocated);
    const std::int64_t high = text.number("HighBit").value_or(stored - 1);
    if (stored < 1 || stored > allocated || high < stored - 1 || high >= allocated)
        throw Refusal("the file contradicts itself: " + std::to_string(stored) +
                      " bits with high bit " + std::to_string(high));
    if (!given)
        pixels.notes.push_back("gives no BitsStored; " + std::to_string(stored) + " assumed");
    const std::int64_t representation = text.number("PixelRepresentation").value_or(0);
    if (representation != 0 && representation != 1)
        throw Refusal("the file contradicts itself: PixelRepresentation " +
                      std::to_string(representation));
    pixels.allocated = static_cast<int>(allocated);
    pixels.layout = {static_cast<int>(stored), static_cast<int>(high), representation == 1};
}

void chooseFrame(ElementText& text, PixelDescription& pixels, std::uint32_t frame) {
    const std::int64_t frames = text.number("NumberOfFrames").value_or(1);
    if (frames < 0 || frames > INT32_MAX)
        throw Refusal("the file contradicts itself: NumberOfFrames " + std::to_string(frames));
    pixels.frames = frames == 0 ? 1 : static_cast<std::uint32_t>(frames);
    if (frame == 0 && pixels.frames == 1) return;
    const std::string choice = "choose one with --frame 1 to " + std::to_string(pixels.frames);
    if (frame == 0) throw Refusal(std::to_string(pixels.frames) + " frames; " + choice);
    if (frame > pixels.frames)
        throw Refusal("there is no frame " + std::to_string(frame) + "; " + choice);
    pixels.frame = frame;
}

}  // namespace

PixelDescription describePixels(DatasetFile& file, ElementText& text, std::uint32_t frame) {
    PixelDescription pixels;
    requirePixels(file.dataset(), text);
    requireGrey(text, pixels);
    pixels.width = side(text, "Columns");
    pixels.height = side(text, "Rows");
    readLayout(text, pixels);
    chooseFrame(text, pixels, frame);
    const bool coded = file.syntax->coding != Coding::native;
    const std::uint64_t limit = coded ? largestCoded : largestNative, raster = pixels.count() * 2;
    if (raster >= limit)
        throw Refusal(std::to_string(pixels.width) + " x " + std::to_string(pixels.height) +
                      " pixels are too many" + (coded ? " for compressed data" : ""));
    return pixels;
}

}  // namespace lumo::interchange::dicom
