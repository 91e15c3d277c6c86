// Each rule finds where the name is cut; "txt" follows there.
#include "image/info_name.h"

#include <cstring>

#include "platform/text.h"

namespace lumo {
namespace {

/// The first `length` characters of the name and "txt"; none for a name that is too long.
InfoName withTxt(const char* fileName, std::size_t length) noexcept {
    InfoName name;
    if (length > longestFileName) return name;
    std::memcpy(name.text, fileName, length);
    std::strcpy(name.text + length, "txt");
    return name;
}

}  // namespace

InfoName infoNameForDeleting(const char* fileName) noexcept {
    const char* dot = std::strrchr(fileName, '.');
    if (dot == nullptr || !equalIgnoringCase(dot, ".xyz")) return {};
    return infoNameForWriting(fileName);
}

InfoName infoNameForReading(const char* fileName) noexcept {
    const char* dot = std::strrchr(fileName, '.');
    if (dot == nullptr) return {};
    return withTxt(fileName, static_cast<std::size_t>(dot + 1 - fileName));
}

InfoName infoNameForWriting(const char* fileName) noexcept {
    const std::size_t length = std::strlen(fileName);
    const char* slash = std::strrchr(fileName, '/');
    const char* base = slash != nullptr ? slash + 1 : fileName;
    return std::strlen(base) < 3 ? InfoName{} : withTxt(fileName, length - 3);
}

}  // namespace lumo
