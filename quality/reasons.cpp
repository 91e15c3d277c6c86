// A sentence for every reason to refuse a measurement and for every note beside a figure.
#include <algorithm>
#include <iterator>

#include "lumo_quality.h"

namespace {

struct Sentence {
    std::uint32_t number;
    const char* text;
};

constexpr Sentence reasons[] = {
    {LumoReasonNone, "not refused"},
    {LumoReasonRegionOutside, "the region leaves the image"},
    {LumoReasonRegionSmall, "the region is too small"},
    {LumoReasonClipped, "more than 0.1 % of the pixels are clipped"},
    {LumoReasonNoSignal, "the mean signal is not above 0"},
    {LumoReasonNoNoise, "there is no noise to measure, the pixels are equal"},
    {LumoReasonResponseTable, "the response table is not strictly monotone or has under 2 rows"},
    {LumoReasonResponseRange, "a grey value lies outside the response table"},
    {LumoReasonSizes, "the images differ in size"},
    {LumoReasonAssumedPitch, "the pitch is not known, its value is one that files without it get"},
    {LumoReasonStripOutside, "the strip along the line leaves the image"},
    {LumoReasonStripNarrow, "the strip holds fewer than 21 lines of pixels"},
    {LumoReasonLineShort, "the line is too short"},
    {LumoReasonGaugeSpacing,
     "the distance of the wires contradicts the pitch, the magnification or the first pair"},
    {LumoReasonNoEdge, "no edge: the contrast is below 20 times the noise"},
    {LumoReasonTiltSmall, "the edge is not tilted enough, it crosses fewer than 2 pixels"},
    {LumoReasonTiltLarge, "the edge is tilted by more than 15 degrees"},
    {LumoReasonEdgeBent, "the edge is not straight"},
    {LumoReasonEdgeNearBorder, "there are fewer than 16 pixels beside the edge"},
    {LumoReasonFewFrames, "there are too few frames"},
    {LumoReasonNoGoodPixel, "the map leaves no good pixel"},
};

constexpr Sentence notes[] = {
    {LumoNoteRounding, "the noise is below half a grey value, which is rounding"},
    {LumoNoteOnGrid, "the gauge is not tilted against the pixels, the profile is coarse"},
    {LumoNotePitchRatio, "the distance of the wires is off by more than 2 %"},
    {LumoNoteNoPair, "no pair of wires is resolved"},
    {LumoNoteAllResolved, "all pairs of wires are resolved, the image is sharper than they show"},
    {LumoNoteStraightLine, "by a straight line between two pairs"},
    {LumoNoteLowContrast, "the contrast is below 50 times the noise"},
    {LumoNoteOvershoot, "the edge overshoots by more than 5 %, as sharpened images do"},
    {LumoNoteEmptyBins, "the tilt leaves more than a fifth of the bins empty"},
    {LumoNoteFewPixels, "fewer than 4 million pixels"},
    {LumoNoteNoisyLeftOut,
     "noisy pixels were not looked for, there are too few dark frames or they do not vary"},
    {LumoNoteTooManyPairs, "there are more groups of wires than pairs on the gauge"},
};

template <class Sentences>
const char* textOf(const Sentences& sentences, std::uint32_t number) {
    const auto* found = std::find_if(std::begin(sentences), std::end(sentences),
                                     [=](const Sentence& one) { return one.number == number; });
    return found != std::end(sentences) ? found->text : "unknown";
}

}  // namespace

extern "C" {

const char* LumoQualityReasonText(uint32_t reason) {
    return textOf(reasons, reason);
}

const char* LumoQualityNoteText(uint32_t note) {
    return textOf(notes, note);
}

}  // extern "C"
