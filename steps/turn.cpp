// What the steps that turn and mirror share.
#include "steps/turn.h"

namespace lumo {

void requireSquarePixels(const StepWork& work) {
    const lmImage& image = work.image;
    if (image.pixelsizeX == image.pixelsizeY) return;
    refuse(work.report, LumoErrorImage,
           std::string(work.arguments.step().name) + ": the pixels are not as wide as high (" +
               std::to_string(image.pixelsizeX) + " and " + std::to_string(image.pixelsizeY) +
               " nm), so only quarter turns keep the picture true");
}

void recordTurn(StepResult& result, int angle) {
    result.settings.push_back({"Image_X", "Rotation", std::to_string(angle)});
}

}  // namespace lumo
