// The path of a filter script in the workstation's script folder.
#include "lumo_legacy.h"
#include "platform/configuration.h"
#include "platform/text.h"

extern "C" void CompleteImoPath(char* path, const char* name) {
    if (path == nullptr || name == nullptr || name[0] == '\0') return;
    Get_RegStr(HKEY_LOCAL_MACHINE, "Software\\Orvel\\scripts", "ScriptDir", path);
    if (path[0] != '\0') strxcat(path, "\\", settingSize);
    strxcat(path, name, settingSize);
}
