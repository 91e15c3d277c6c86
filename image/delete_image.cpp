// Removing an image's files.
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "frame/call_frame.h"
#include "image/info_name.h"

namespace lumo {
namespace {

void deleteImage(const char* fileName) {
    const bool fits =
        fileName != nullptr && strnlen(fileName, longestFileName + 1) <= longestFileName;
    if (!fits || unlink(fileName) != 0) raise(LumoErrorFile);
    const InfoName infoName = infoNameForDeleting(fileName);
    if (infoName.exists() && unlink(infoName.text) != 0)
        slog(4, "%s failed: %s LumoDeleteImage", infoName.text, std::strerror(errno));
}

}  // namespace
}  // namespace lumo

extern "C" int LumoDeleteImage(const char* fileName) {
    return lumo::callFrame("LumoDeleteImage", [=] { lumo::deleteImage(fileName); });
}
