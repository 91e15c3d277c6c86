// The library's entry: its logger, and what happens when it is loaded.
#include "frame/version.h"
#include "platform/load_notification.h"
#include "platform/log.h"

namespace {

Log logger(3, 5, "orvellog.log", 0, 29);

bool libraryEntry(void*, lumo::LoadReason reason, void*) {
    if (reason != lumo::LoadReason::ProcessAttach) return true;
    logger.set(6, 5, "127.0.0.1", 0, 29);
    logger.libCatchlog();
    slog(5, "lumo Start %s", lumo::versionInUse());
    return true;
}

// Stays behind the logger, which it uses.
const lumo::LoadNotification notification(libraryEntry);

}  // namespace
