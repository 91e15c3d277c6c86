// The library's entry: its logger, what happens when it is loaded, and the version texts.
#include <png.h>

#include <cstdio>
#include <cstring>

#include "lumo_legacy.h"
#include "platform/load_notification.h"
#include "platform/log.h"

namespace {

constexpr char versionText[] = "2.2.1.176 from 'R2.2.1'";
constexpr char libpngBuiltAgainst[] = "1.2.14beta2";

constexpr std::size_t versionBufferSize = 1024;
/// Handed out by LumoGetVersion; until its first call it holds the bare version text.
char versionBuffer[versionBufferSize] = "2.2.1.176 from 'R2.2.1'";

Log logger(3, 5, "orvellog.log", 0, 29);

bool libraryEntry(void*, lumo::LoadReason reason, void*) {
    if (reason != lumo::LoadReason::ProcessAttach) return true;
    logger.set(6, 5, "127.0.0.1", 0, 29);
    logger.libCatchlog();
    slog(5, "lumo Start %s", versionBuffer);
    return true;
}

// Stays behind the logger, which it uses.
const lumo::LoadNotification notification(libraryEntry);

}  // namespace

extern "C" {

int Get_Version(char* text) {
    if (text == nullptr) return LumoOk;
    std::strcpy(text, versionText);
    std::strcat(text, " " __DATE__ " " __TIME__);
    return LumoOk;
}

const char* LumoGetVersion(void) {
    std::snprintf(versionBuffer, sizeof versionBuffer,
                  "%s compiled with libpng %s - using libpng %s", versionText, libpngBuiltAgainst,
                  png_get_header_ver(nullptr));
    slog(7, "LumoGetVersion return %s", versionBuffer);
    return versionBuffer;
}

}  // extern "C"
