// The older functions on the information file's header: reading it as a record, writing a record.
#include "frame/written_file.h"
#include "image/info_header.h"
#include "image/info_name.h"
#include "platform/file.h"

extern "C" int Get_ImageInfo(ImageInfo* info, const char* imageFileName) {
    if (info == nullptr) return LumoErrorParameter;
    if (!lumo::openFile(imageFileName, "rb")) return LumoErrorOpen;
    const lumo::FilePtr file = lumo::openFile(lumo::infoNameForWriting(imageFileName).text, "rb");
    if (!file) return LumoErrorOpen;
    const bool whole = lumo::readInfoHeader(file.get(), *info) == lumo::infoHeaderItems;
    return whole && lumo::isValid(*info) ? LumoOk : LumoErrorOpen;
}

int WriteImageInfo(ImageInfo info, const char* infoFileName) {
    lumo::FilePtr file = lumo::openFile(infoFileName, "wb");
    if (!file) return LumoErrorOpen;
    const auto bytes = lumo::encodeInfoHeader(info);
    return lumo::writeAndClose(std::move(file), [&](std::FILE* to) {
        return lumo::writeBlock(to, bytes.data(), bytes.size());
    });
}
