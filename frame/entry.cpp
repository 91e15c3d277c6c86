// The library's entry: its logger, and what happens when it is loaded.
#include "frame/version.h"
#include "platform/load_notification.h"
#include "platform/log.h"

namespace {

// The logger's class comes from the support library, and the numbers are the settings that hosts
// and sites know from there. A site's own logger may take them up; ours writes every level to the
// file, whatever the target, unless the environment says otherwise.
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
