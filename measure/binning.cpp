// Binning: a smaller image of the means of blocks of pixels.
#include "measure/region.h"
#include "platform/cpu_level.h"

namespace {

using lumo::Source;
using lumo::Target;

/// Blocks are whole: what remains at the right and at the bottom belongs to none.
void bin(Source source, Target target, int factorX, int factorY) {
    const auto area = static_cast<std::uint32_t>(factorX * factorY);
    for (int y = 0; y < target.height; ++y)
        for (int x = 0; x < target.width; ++x) {
            std::uint32_t sum = 0;
            for (int dy = 0; dy < factorY; ++dy)
                for (int dx = 0; dx < factorX; ++dx)
                    sum += source.row(y * factorY + dy)[x * factorX + dx];
            target.row(y)[x] = static_cast<std::uint16_t>(sum / area);
        }
}

}  // namespace

extern "C" {

int Bin_Image(Image source, Image* destination, uint8_t factorX, uint8_t factorY) {
    if (source.data == nullptr) return LumoErrorImage;
    if (destination == nullptr || factorX == 0 || factorY == 0) return LumoErrorParameter;
    const int code = Create_Image(static_cast<std::uint16_t>(source.width / factorX),
                                  static_cast<std::uint16_t>(source.height / factorY), destination);
    if (code != LumoOk) return code;
    bin(lumo::asSource(lumo::viewOf(source)), lumo::viewOf(*destination), factorX, factorY);
    return LumoOk;
}

}  // extern "C"
