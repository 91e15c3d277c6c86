// A TIFF file open in libtiff: its callbacks over a descriptor, its messages kept, its memory
// bounded.
#pragma once

#include <tiffio.h>

#include <cstdint>
#include <memory>
#include <string>

namespace lumo::interchange {

class TiffFile {
public:
    /// @param mode  as TIFFOpen() takes it; throws Refusal if the file cannot be opened
    TiffFile(int descriptor, const char* mode);
    TiffFile(const TiffFile&) = delete;
    TiffFile& operator=(const TiffFile&) = delete;

    [[nodiscard]] TIFF* get() const { return tiff_.get(); }
    /// Bytes in the file when it was opened.
    [[nodiscard]] std::uint64_t size() const { return size_; }

    /// A numeric tag of 16 or 32 bits, or its default, or the fallback.
    template <class Number>
    [[nodiscard]] Number number(std::uint32_t tag, Number fallback) const {
        Number value{};
        return TIFFGetFieldDefaulted(get(), tag, &value) == 1 ? value : fallback;
    }
    /// A text; empty if it is missing.
    [[nodiscard]] std::string text(std::uint32_t tag) const;

    /// Throws a Refusal with what libtiff said last: "damaged (...)".
    [[noreturn]] void refuseAsDamaged() const;
    [[nodiscard]] const std::string& lastMessage() const { return message_; }

    /// Writes what is pending and closes; throws Refusal if anything was not written.
    void finish();

private:
    struct Close {
        void operator()(TIFF* tiff) const { TIFFClose(tiff); }
    };
    static tmsize_t read(thandle_t self, void* to, tmsize_t count);
    static tmsize_t write(thandle_t self, void* from, tmsize_t count);
    static toff_t seek(thandle_t self, toff_t place, int whence);
    static toff_t sizeNow(thandle_t self);
    static int keepMessage(TIFF*, void* self, const char* module, const char* format, va_list);
    void fail(const std::string& message);

    int descriptor_;
    std::uint64_t size_, place_ = 0;
    bool writeFailed_ = false;
    std::string message_;
    std::unique_ptr<TIFF, Close> tiff_;  // last: closing it may still write
};

}  // namespace lumo::interchange
