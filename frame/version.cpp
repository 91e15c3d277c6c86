// The version texts, and the one buffer in which they are handed out.
#include "frame/version.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "lumo_legacy.h"
#include "platform/log.h"

namespace {

constexpr std::string_view versionText = "2.2.1.176 from 'R2.2.1'";
constexpr char libpngBuiltAgainst[] = "1.2.14beta2";

constexpr std::size_t versionBufferSize = 1024;
/// Handed out by LumoGetVersion; until its first call it holds the bare version text.
constinit std::array<char, versionBufferSize> versionBuffer = [] {
    std::array<char, versionBufferSize> buffer{};
    std::ranges::copy(versionText, buffer.begin());
    return buffer;
}();

}  // namespace

const char* lumo::versionInUse() noexcept {
    return versionBuffer.data();
}

extern "C" {

int Get_Version(char* text) {
    if (text == nullptr) return LumoOk;
    text[versionText.copy(text, versionText.size())] = '\0';
    std::strcat(text, " " __DATE__ " " __TIME__);
    return LumoOk;
}

const char* LumoGetVersion(void) {
    char text[versionBufferSize] = "";
    std::snprintf(text, sizeof text, "%s compiled with libpng %s - using libpng %s",
                  versionText.data(), libpngBuiltAgainst, png_get_header_ver(nullptr));
    // Several threads may write the same bytes at once.
    for (std::size_t i = 0; i <= std::strlen(text); ++i)
        std::atomic_ref(versionBuffer[i]).store(text[i], std::memory_order_relaxed);
    slog(7, "LumoGetVersion return %s", text);
    return versionBuffer.data();
}

}  // extern "C"
