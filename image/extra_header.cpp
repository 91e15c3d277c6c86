// The extended header that follows an information file's fixed one, for the older functions: read
// beside an image, or kept for the process.
#include <algorithm>
#include <cstring>

#include "image/info_header.h"
#include "image/info_name.h"
#include "platform/file.h"
#include "platform/memory.h"

namespace lumo {
namespace {

/// The process's one kept extended header.
struct KeptHeader {
    MallocPtr<char> block;
    std::uint32_t size = 0;
} keptHeader;

/// The information file of an image with its position at the extended header, and the bytes of it
/// that can be delivered: what the header claims and the file holds.
struct ExtendedHeaderFile {
    FilePtr file;
    std::size_t size = 0;
};

ExtendedHeaderFile openExtendedHeader(const char* imageFileName) {
    if (imageFileName == nullptr) return {};
    ExtendedHeaderFile found{openFile(infoNameForWriting(imageFileName).text, "rb")};
    ImageInfo info{};
    if (!found.file || readInfoHeader(found.file.get(), info) < infoHeaderItems) return {};
    const std::uint64_t held = fileSize(found.file.get()).value_or(0);
    if (held > infoHeaderSize && info.extHeaderSize > 0)
        found.size = std::min<std::uint64_t>(held - infoHeaderSize,
                                             static_cast<std::uint32_t>(info.extHeaderSize));
    return found;
}

}  // namespace
}  // namespace lumo

extern "C" {

int Get_ImageExtraHeader(const char* imageFileName, void* block) {
    if (block == nullptr) return 0;
    const lumo::ExtendedHeaderFile header = lumo::openExtendedHeader(imageFileName);
    if (header.size == 0) return 0;
    return static_cast<int>(lumo::readBytes(header.file.get(), block, header.size));
}

int Get_ImageExtraHeaderSize(const char* imageFileName) {
    return static_cast<int>(lumo::openExtendedHeader(imageFileName).size);
}

int Set_ImageExtraHeader(uint32_t size, const void* block) {
    lumo::keptHeader = {};
    if (size == 0 || block == nullptr) return LumoOk;
    lumo::keptHeader.block.reset(static_cast<char*>(std::malloc(size)));
    if (!lumo::keptHeader.block) return LumoErrorMemory;
    std::memcpy(lumo::keptHeader.block.get(), block, size);
    lumo::keptHeader.size = size;
    return LumoOk;
}

}  // extern "C"
