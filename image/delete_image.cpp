// Removing an image's files.
#include <cerrno>
#include <cstring>

#include "frame/call_frame.h"
#include "image/info_name.h"
#include "platform/file.h"

namespace lumo {
namespace {

void deleteImage(const char* fileName) {
    if (!removeFile(fileName)) raise(LumoErrorFile);
    const InfoName infoName = infoNameForDeleting(fileName);
    if (infoName.exists() && !removeFile(infoName.text))
        slog(4, "%s failed: %s LumoDeleteImage", infoName.text, std::strerror(errno));
}

}  // namespace
}  // namespace lumo

extern "C" int LumoDeleteImage(const char* fileName) {
    return lumo::callFrame("LumoDeleteImage", [=] { lumo::deleteImage(fileName); });
}
