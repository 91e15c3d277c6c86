// A TIFF file open in libtiff. No exception may pass through its C code, so failures are kept.
#include "interchange/tiff_file.h"

#include <algorithm>
#include <cstdio>
#include <exception>

#include "interchange/helper_main.h"
#include "interchange/system.h"

namespace lumo::interchange {

namespace {

/// For one of libtiff's own allocations; a strip of packed data may be as long as the file.
constexpr std::uint64_t usualAllocation = std::uint64_t{64} << 20;

int ignoreMessage(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}
int closeNothing(thandle_t) {
    return 0;
}
int mapNothing(thandle_t, void**, toff_t*) {
    return 0;
}
void unmapNothing(thandle_t, void*, toff_t) {}

}  // namespace

TiffFile::TiffFile(int descriptor, const char* mode)
    : descriptor_(descriptor), size_(fileSize(descriptor)) {
    const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(
        TIFFOpenOptionsAlloc(), TIFFOpenOptionsFree);
    if (options == nullptr) throw std::bad_alloc();
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(),
                                        static_cast<tmsize_t>(std::max(usualAllocation, size_)));
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepMessage, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignoreMessage, nullptr);
    tiff_.reset(TIFFClientOpenExt("", mode, this, read, write, seek, closeNothing, sizeNow,
                                  mapNothing, unmapNothing, options.get()));
    if (tiff_ == nullptr) refuseAsDamaged();
}

std::string TiffFile::text(std::uint32_t tag) const {
    const char* value = nullptr;
    return TIFFGetField(get(), tag, &value) == 1 && value != nullptr ? value : "";
}

void TiffFile::refuseAsDamaged() const {
    throw Refusal(message_.empty() ? "damaged" : "damaged (" + message_ + ')');
}

void TiffFile::finish() {
    const bool flushed = TIFFFlush(get()) == 1;
    tiff_.reset();
    if (!flushed || writeFailed_) throw Refusal(message_.empty() ? "cannot be written" : message_);
}

void TiffFile::fail(const std::string& message) {
    if (message_.empty()) message_ = message;
}

tmsize_t TiffFile::read(thandle_t handle, void* to, tmsize_t count) {
    auto* const self = static_cast<TiffFile*>(handle);
    try {
        const std::size_t got =
            readAt(self->descriptor_, to, static_cast<std::size_t>(count), self->place_);
        self->place_ += got;
        return static_cast<tmsize_t>(got);
    } catch (const std::exception& error) {
        self->fail(error.what());
        return -1;
    }
}

tmsize_t TiffFile::write(thandle_t handle, void* from, tmsize_t count) {
    auto* const self = static_cast<TiffFile*>(handle);
    try {
        writeAt(self->descriptor_, from, static_cast<std::size_t>(count), self->place_);
        self->place_ += static_cast<std::uint64_t>(count);
        return count;
    } catch (const std::exception& error) {
        self->fail(error.what());
        self->writeFailed_ = true;
        return -1;
    }
}

toff_t TiffFile::seek(thandle_t handle, toff_t place, int whence) {
    auto* const self = static_cast<TiffFile*>(handle);
    if (whence == SEEK_CUR) place += self->place_;
    if (whence == SEEK_END) place += sizeNow(handle);
    self->place_ = place;
    return place;
}

toff_t TiffFile::sizeNow(thandle_t handle) {
    auto* const self = static_cast<TiffFile*>(handle);
    try {
        return fileSize(self->descriptor_);
    } catch (const std::exception& error) {
        self->fail(error.what());
        return 0;
    }
}

/// @param format  the library's
[[gnu::format(printf, 4, 0)]] int TiffFile::keepMessage(TIFF*, void* handle, const char*,
                                                        const char* format, va_list values) {
    char text[256];
    if (std::vsnprintf(text, sizeof text, format, values) > 0)
        static_cast<TiffFile*>(handle)->fail(text);
    return 1;
}

}  // namespace lumo::interchange
