// The library as the verbs use it: images that free themselves, result codes as errors.
#include "cli/library.h"

namespace lumo::cli {

CommandError libraryError(int code, const std::string& file) {
    return CommandError(file + ": " + std::to_string(code) + ' ' + lmtErrorMessage(code));
}

void check(int code, const std::string& file) {
    if (code < 0) throw libraryError(code, file);
}

ImageHandle readImage(const std::string& file) {
    lmImage* place = nullptr;
    const int code = LumoReadImage(&place, file.c_str());
    ImageHandle image(place);  // also after a failure, which may leave what was read
    check(code, file);
    return image;
}

ImageHandle createImage(int width, int height, const std::string& file) {
    lmImage* place = nullptr;
    const int code = LumoCreateImage(&place, static_cast<std::uint16_t>(width),
                                     static_cast<std::uint16_t>(height));
    ImageHandle image(place);
    check(code, file);
    return image;
}

}  // namespace lumo::cli
