// The library as the verbs use it: images that free themselves, result codes as errors.
#include "cli/library.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string_view>
#include <system_error>

namespace lumo::cli {

namespace {

/// What the library's code leaves open about a file that it could not read.
std::string reasonFor(int code, const std::string& file) {
    struct stat status {};
    const bool found = stat(file.c_str(), &status) == 0;
    if (code == LumoErrorOpen) {
        if (found && S_ISDIR(status.st_mode)) return " (a folder)";
        if (access(file.c_str(), R_OK) == 0) return "";
        return " (" + std::generic_category().message(errno) + ')';
    }
    if (code == LumoErrorFile) return " (cut short, or of another kind)";
    const bool strange = code == LumoErrorImage || code == LumoErrorInfoMissing;
    // A pipe is not opened again, which could wait for ever.
    return strange && found && S_ISREG(status.st_mode) && !isPng(file)
               ? " (read as XYZ, as it is no PNG file)"
               : "";
}

}  // namespace

CommandError libraryError(int code, const std::string& file) {
    return CommandError(file + ": " + std::to_string(code) + ' ' + lmtErrorMessage(code));
}

void check(int code, const std::string& file) {
    if (code < 0) throw libraryError(code, file);
}

void checkRead(int code, const std::string& file) {
    if (code < 0) throw CommandError(libraryError(code, file).what() + reasonFor(code, file));
}

bool isPng(const std::string& file) {
    constexpr std::string_view signature = "\x89PNG\r\n\x1A\n";
    char start[signature.size()] = {};
    std::ifstream(file, std::ios::binary).read(start, sizeof start);
    return std::string_view(start, sizeof start) == signature;
}

ImageHandle readImage(const std::string& file) {
    lmImage* place = nullptr;
    const int code = LumoReadImage(&place, file.c_str());
    ImageHandle image(place);  // also after a failure, which may leave what was read
    checkRead(code, file);
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
