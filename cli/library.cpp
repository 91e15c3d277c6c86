// Codes of the library become exceptions with its own sentence.
#include "cli/library.h"

#include "cli/system/input_file.h"

namespace lumo::cli {

CommandError libraryError(int code, const std::string& file) {
    return CommandError(file + ": " + std::to_string(code) + ' ' + lmtErrorMessage(code), failed,
                        code);
}

void check(int code, const std::string& file) {
    if (code < 0) throw libraryError(code, file);
}

void checkRead(int code, const std::string& file) {
    if (code >= 0) return;
    std::string reason;
    if (code == LumoErrorOpen) reason = whyNotOpened(file);
    if (code == LumoErrorFile) reason = "cut short, or of another kind";
    const std::string text = libraryError(code, file).what();
    throw CommandError(reason.empty() ? text : text + " (" + reason + ')', failed, code);
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
