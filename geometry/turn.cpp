// Quarter turns and mirrorings of image records with their metadata.
#include <cstdio>
#include <cstring>
#include <utility>

#include "frame/call_frame.h"
#include "frame/history.h"
#include "frame/ini2.h"
#include "geometry/reversal.h"
#include "image/lm_image.h"
#include "image/quarter_turn_copy.h"
#include "lumo.h"

namespace lumo {
namespace {

constexpr char imageSection[] = "Image_X";

struct ImageDestroyer {
    void operator()(lmImage* image) const noexcept { LumoDestroyImage(&image); }
};
using WorkImage = std::unique_ptr<lmImage, ImageDestroyer>;

/// 0 to 359 for any angle.
constexpr int normalised(int angle) {
    return (angle % 360 + 360) % 360;
}

/// Adds a step to the history and writes the store back: the last of the changes that can fail, so
/// it comes before any pixel moves.
void finishStep(ini2& store, const char* step) {
    AddPerformedStep(step, &store);
    store.finish();
}

void finishTurn(ini2& store, int angle) {
    char step[64];
    std::snprintf(step, sizeof step, "%s(angle=%i)", "LumoRotateImage", angle);
    store.set(imageSection, "Rotation", long{angle}, nullptr);
    finishStep(store, step);
}

void turnHalf(lmImage& image) {
    ini2 store(&image.metaData, &image.metaSize);
    finishTurn(store, 180);
    if (image.data != nullptr) reverseRaster(viewOf(image));
}

void turnQuarter(lmImage& image, int angle) {
    lmImage* place = nullptr;
    raiseFailure(LumoCreateImage(&place, image.height, image.width));
    const WorkImage work(place);
    ini2 store(&image.metaData, &image.metaSize);
    store.set(imageSection, "Width", long{image.height}, nullptr);
    store.set(imageSection, "Height", long{image.width}, nullptr);
    store.set(imageSection, "PixelsizeX", static_cast<long>(image.pixelsizeY), nullptr);
    store.set(imageSection, "PixelsizeY", static_cast<long>(image.pixelsizeX), nullptr);
    finishTurn(store, angle);

    releaseRowPointers(image);
    if (image.data != nullptr && work->data != nullptr) {
        const Target raster = viewOf(image);
        quarterTurnCopy(asSource(raster), quarterTurn(angle), work->data);
        std::memcpy(raster.pixels, work->data, raster.count() * sizeof *raster.pixels);
    }
    std::swap(image.width, image.height);
    std::swap(image.pixelsizeX, image.pixelsizeY);
}

void turnImage(lmImage* image, int angle) {
    if (image == nullptr) raise(LumoErrorImage);
    const int turn = normalised(angle);
    if (turn == 90 || turn == 270)
        turnQuarter(*image, turn);
    else if (turn == 180)
        turnHalf(*image);
    else
        raise(LumoErrorRange);
}

/// Records a single mirroring, whose flags stand in the history as they came.
void recordMirroring(lmImage& image, const char* direction, int horizontal, int vertical) {
    char step[64];
    std::snprintf(step, sizeof step, "%s(h=%i, v=%i)", "LumoMirrorImage", horizontal, vertical);
    ini2 store(&image.metaData, &image.metaSize);
    store.set(imageSection, "Mirror", direction, nullptr);
    finishStep(store, step);
}

void mirrorHorizontally(lmImage& image, int horizontal) {
    recordMirroring(image, "Horizontal", horizontal, 0);
    reverseRows(viewOf(image));
}

void mirrorVertically(lmImage& image, int vertical) {
    recordMirroring(image, "Vertical", 0, vertical);
    releaseRowPointers(image);
    reverseRowOrder(viewOf(image));
}

}  // namespace
}  // namespace lumo

extern "C" {

int LumoRotateImage(lmImage* image, int angle) {
    const int code = lumo::guarded([=] { lumo::turnImage(image, angle); });
    if (code != LumoOk) slog(3, "%s %d %s", "LumoRotateImage", code, lmtErrorMessage(code));
    return code;
}

int LumoMirrorImage(lmImage* image, int horizontal, int vertical) {
    if (image == nullptr || image->data == nullptr) return LumoErrorParameter;
    if (horizontal != 0 && vertical != 0) return LumoRotateImage(image, 180);
    return lumo::guarded([=] {
        if (vertical != 0) lumo::mirrorVertically(*image, vertical);
        if (horizontal != 0) lumo::mirrorHorizontally(*image, horizontal);
    });
}

}  // extern "C"
