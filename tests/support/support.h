// What tests share: random rasters, a folder that goes away, the log's new lines.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "image/view.h"
#include "lumo_legacy.h"

namespace lumo::test {

/// The one generator of test data: the same numbers on every machine (splitmix64).
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}
    std::uint64_t next();
    /// A number below `bound`.
    std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(next() % bound); }

private:
    std::uint64_t state_;
};

/// A raster in memory that a test owns.
struct Raster {
    int width = 0, height = 0;
    std::vector<std::uint16_t> pixels;

    Raster(int w, int h, std::uint16_t value = 0)
        : width(w),
          height(h),
          pixels(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), value) {}
    [[nodiscard]] std::uint16_t& at(int x, int y) {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }
    [[nodiscard]] std::uint16_t at(int x, int y) const {
        return const_cast<Raster*>(this)->at(x, y);
    }
    [[nodiscard]] Image image() {
        return {static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height),
                pixels.data()};
    }
    [[nodiscard]] Source source() const { return {pixels.data(), width, height}; }
    [[nodiscard]] Target target() { return {pixels.data(), width, height}; }
    bool operator==(const Raster&) const = default;
};

/// White noise over all grey values, with 0, 32767, 32768 and 65535 among them.
[[nodiscard]] Raster noise(int width, int height, std::uint64_t seed = 1);

/// Calls the check with noise of every awkward size at every instruction-set level: widths 1 to 70
/// and some longer ones, few rows.
void atEveryLevelAndSize(const std::function<void(const Raster&)>& check);

/// A folder of its own for each object, removed with it.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    [[nodiscard]] std::string operator/(const std::string& name) const {
        return (path_ / name).string();
    }

private:
    std::filesystem::path path_;
};

[[nodiscard]] std::vector<std::uint8_t> readFile(const std::string& name);
void writeFile(const std::string& name, const std::vector<std::uint8_t>& bytes);

/// Whether the whole text matches a POSIX extended regular expression.
[[nodiscard]] bool matches(const std::string& text, const std::string& pattern);

/// Lines that the library logs while this object is alive, without their time: "7 message".
class LogLines {
public:
    LogLines();
    [[nodiscard]] std::vector<std::string> lines() const;
    /// Lines of a level and below, in order.
    [[nodiscard]] std::vector<std::string> upTo(int level) const;

private:
    std::uintmax_t start_;
};

/// An image that is destroyed with the object.
struct ImageOwner {
    lmImage* image = nullptr;
    ImageOwner() = default;
    ImageOwner(int width, int height, std::uint64_t seed = 1);
    ~ImageOwner() { LumoDestroyImage(&image); }
    ImageOwner(const ImageOwner&) = delete;
    ImageOwner& operator=(const ImageOwner&) = delete;
    lmImage* operator->() const { return image; }
    [[nodiscard]] std::vector<std::uint16_t> pixels() const;
    [[nodiscard]] std::string entry(const char* section, const char* key) const;
};

}  // namespace lumo::test
