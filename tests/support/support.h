// What tests share: rasters, awkward sizes at every level, files, the log's new lines.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "image/view.h"
#include "lumo_legacy.h"

namespace lumo::test {

using Bytes = std::vector<std::uint8_t>;
using Pixels = std::vector<std::uint16_t>;

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
    Pixels pixels;

    Raster(int w, int h, std::uint16_t value = 0)
        : Raster(w, h, Pixels(std::size_t(w) * std::size_t(h), value)) {}
    Raster(int w, int h, Pixels all) : width(w), height(h), pixels(std::move(all)) {}
    /// What a record holds.
    explicit Raster(const Image& image)
        : Raster(image.width, image.height,
                 Pixels(image.data, image.data + std::size_t{image.width} * image.height)) {}
    [[nodiscard]] std::uint16_t& at(int x, int y) {
        return pixels[std::size_t(y) * std::size_t(width) + std::size_t(x)];
    }
    [[nodiscard]] std::uint16_t at(int x, int y) const {
        return const_cast<Raster*>(this)->at(x, y);
    }
    [[nodiscard]] Image image() {
        return {std::uint16_t(width), std::uint16_t(height), pixels.data()};
    }
    [[nodiscard]] Source source() const { return {pixels.data(), width, height}; }
    [[nodiscard]] Target target() { return {pixels.data(), width, height}; }
    bool operator==(const Raster&) const = default;
};

/// A plain record whose raster is freed with it.
struct OwnedImage : Image {
    OwnedImage() : Image{} {}
    explicit OwnedImage(const Raster& raster);
    ~OwnedImage() { Destroy_Image(this); }
    OwnedImage(const OwnedImage&) = delete;
    OwnedImage& operator=(const OwnedImage&) = delete;
};

/// White noise over all grey values, with 0, 32767, 32768 and 65535 among them.
[[nodiscard]] Raster noise(int width, int height, std::uint64_t seed = 1);

/// The raster turned by a multiple of 90 degrees, counter-clockwise where positive, pixel by pixel.
[[nodiscard]] Raster turned(const Raster& from, int degrees);

/// Calls the check with noise of every awkward size: widths 1 to 70, each with one row, two, three
/// and more; rows that are whole cache lines or long, both ways.
void atEverySize(const std::function<void(const Raster&)>& check);

/// Calls the check at every instruction-set level that the processor has.
void atEveryLevel(const std::function<void()>& check);
void atEveryLevelAndSize(const std::function<void(const Raster&)>& check);

/// From a raster to one of the same size, or in place; returns a code.
using Operation = std::function<int(Image from, Image to)>;

/// Compares an operation with the raster it should give: at every level, in two rasters, of which
/// the first stays, and in place.
void expectGives(const Operation& operation, const Raster& source, const Raster& expected);

/// Compares what calls have returned with the one code that all should.
void expectCodes(int expected, std::initializer_list<int> codes);

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

[[nodiscard]] Bytes readFile(const std::string& name);
void writeFile(const std::string& name, const Bytes& bytes);

/// Writes numbers, lowest byte first.
void put(Bytes& bytes, std::int64_t value, int size);

/// The fixed header of 1 December 2008, 9:05:03, no two values equal.
[[nodiscard]] ImageInfo sampleInfo();

/// An information file: the header and what follows it.
[[nodiscard]] Bytes infoBytes(const ImageInfo& info, const Bytes& extended = {});

/// Files that the process has open.
[[nodiscard]] std::size_t openFiles();

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
    ImageOwner(int width, int height) : ImageOwner(noise(width, height)) {}
    explicit ImageOwner(const Raster& raster);
    ~ImageOwner() { LumoDestroyImage(&image); }
    ImageOwner(const ImageOwner&) = delete;
    ImageOwner& operator=(const ImageOwner&) = delete;
    lmImage* operator->() const { return image; }
    /// Its pixels as a plain record, not owned.
    [[nodiscard]] Image plain() const { return {image->width, image->height, image->data}; }
    [[nodiscard]] Pixels pixels() const { return Raster(plain()).pixels; }
    /// Sets an entry of the metadata.
    void set(const char* section, const char* key, const char* value) const;
    [[nodiscard]] std::string entry(const char* section, const char* key) const;
};

}  // namespace lumo::test
