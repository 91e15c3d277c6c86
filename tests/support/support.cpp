// What tests share.
#include "support/support.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <regex.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "image/info_header.h"
#include "platform/cpu_level.h"

namespace lumo::test {
namespace {

const char* logFolder() {
    static const std::string folder = [] {
        std::string name = (std::filesystem::temp_directory_path() / "lumo-log-XXXXXX").string();
        return std::string(mkdtemp(name.data()));
    }();
    return folder.c_str();
}

std::filesystem::path logFile() {
    return std::filesystem::path(logFolder()) / "orvellog.log";
}

/// Removes the log folder of this process when it ends.
struct LogFolderRemoval {
    LogFolderRemoval() { logFolder(); }  // so that the folder's name outlives this object
    ~LogFolderRemoval() {
        std::error_code ignored;
        std::filesystem::remove_all(logFolder(), ignored);
    }
} logFolderRemoval;

}  // namespace

std::uint64_t Random::next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15U);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
}

Raster noise(int width, int height, std::uint64_t seed) {
    constexpr std::uint16_t edges[] = {0, 32767, 32768, 65535};
    Raster raster(width, height);
    Random random(seed * 1000003 + std::uint64_t(width));
    for (auto& pixel : raster.pixels) {
        const std::uint64_t number = random.next();
        pixel = number % 16 == 0 ? edges[(number >> 8) % 4] : std::uint16_t(number >> 16);
    }
    return raster;
}

Raster turned(const Raster& from, int degrees) {
    const int w = from.width, h = from.height, angle = (degrees + 360) % 360;
    Raster to(angle % 180 == 0 ? w : h, angle % 180 == 0 ? h : w);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            if (angle == 0) to.at(x, y) = from.at(x, y);
            if (angle == 90) to.at(y, w - 1 - x) = from.at(x, y);
            if (angle == 180) to.at(w - 1 - x, h - 1 - y) = from.at(x, y);
            if (angle == 270) to.at(h - 1 - y, x) = from.at(x, y);
        }
    return to;
}

void atEverySize(const std::function<void(const Raster&)>& check) {
    std::vector<std::pair<int, int>> sizes = {{64, 64},   {96, 64},   {70, 96}, {64, 33},
                                              {1100, 37}, {37, 1100}, {1037, 5}};
    for (int width = 1; width <= 70; ++width)
        for (const int height : {1, 2, 3, 5 + width * 7 % 13 * 2})
            sizes.emplace_back(width, height);
    for (const auto& [width, height] : sizes) {
        SCOPED_TRACE(testing::Message() << width << " x " << height);
        check(noise(width, height));
        if (testing::Test::HasFailure()) return;
    }
}

void atEveryLevel(const std::function<void()>& check) {
    for (const CpuLevel level : supportedLevels()) {
        const ForcedLevel forced(level);
        SCOPED_TRACE(testing::Message() << "at level " << static_cast<int>(level));
        check();
    }
}

void atEveryLevelAndSize(const std::function<void(const Raster&)>& check) {
    atEverySize([&](const Raster& raster) { atEveryLevel([&] { check(raster); }); });
}

void expectGives(const Operation& operation, const Raster& source, const Raster& expected) {
    atEveryLevel([&] {
        Raster from = source, to(source.width, source.height, 7);
        ASSERT_EQ(operation(from.image(), to.image()), 0);
        ASSERT_EQ(to, expected);
        ASSERT_EQ(from, source);
        ASSERT_EQ(operation(from.image(), from.image()), 0);
        ASSERT_EQ(from, expected) << "in place";
    });
}

void expectCodes(int expected, std::initializer_list<int> codes) {
    for (const int& code : codes) EXPECT_EQ(code, expected) << "call " << &code - codes.begin();
}

OwnedImage::OwnedImage(const Raster& raster) : Image{} {
    EXPECT_EQ(Create_Image(std::uint16_t(raster.width), std::uint16_t(raster.height), this), 0);
    if (data != nullptr) std::ranges::copy(raster.pixels, data);
}

TempFolder::TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "lumo-test-XXXXXX").string();
    path_ = mkdtemp(name.data());
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

Bytes readFile(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& name, const Bytes& bytes) {
    std::error_code ignored;
    // Some file systems flush a file that is cut and written anew to the disk.
    std::filesystem::remove(name, ignored);
    std::ofstream file(name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

void put(Bytes& bytes, std::int64_t value, int size) {
    for (int i = 0; i < size; ++i) bytes.push_back(std::uint8_t(value >> (8 * i)));
}

ImageInfo sampleInfo() {
    ImageInfo info = {108, 2,  3,  80000, 125000, 14, 70000, 3,     2008, 12,  1,     9, 5,
                      3,   {}, {}, 0,     90,     42, 0.1F,  60001, 1234, 200, 65535, 0};
    std::memcpy(info.source, "0123456789ABCDEF0123456789abcdef", sizeof info.source);
    return info;
}

Bytes infoBytes(const ImageInfo& info, const Bytes& extended) {
    const auto header = encodeInfoHeader(info);
    Bytes bytes(header.begin(), header.end());
    bytes.reserve(header.size() + extended.size());
    bytes.insert(bytes.end(), extended.begin(), extended.end());
    return bytes;
}

std::size_t openFiles() {
    std::size_t count = 0;
    DIR* folder = opendir("/proc/self/fd");
    while (readdir(folder) != nullptr) ++count;
    closedir(folder);
    return count;
}

bool matches(const std::string& text, const std::string& pattern) {
    regex_t expression;
    if (regcomp(&expression, ("^(" + pattern + ")$").c_str(), REG_EXTENDED | REG_NOSUB) != 0)
        return false;
    const bool found = regexec(&expression, text.c_str(), 0, nullptr, 0) == 0;
    regfree(&expression);
    return found;
}

LogLines::LogLines() : start_(std::filesystem::file_size(logFile())) {}

std::vector<std::string> LogLines::lines() const {
    constexpr std::size_t timeLength = 24;
    std::ifstream file(logFile(), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(start_));
    std::vector<std::string> found;
    for (std::string line; std::getline(file, line);)
        found.push_back(line.size() > timeLength ? line.substr(timeLength) : line);
    return found;
}

std::vector<std::string> LogLines::upTo(int level) const {
    std::vector<std::string> found = lines();
    std::erase_if(
        found, [level](const std::string& line) { return line.empty() || line[0] - '0' > level; });
    return found;
}

ImageOwner::ImageOwner(const Raster& raster) {
    EXPECT_EQ(LumoCreateImage(&image, std::uint16_t(raster.width), std::uint16_t(raster.height)),
              0);
    if (image != nullptr && image->data != nullptr) std::ranges::copy(raster.pixels, image->data);
}

void ImageOwner::set(const char* section, const char* key, const char* value) const {
    EXPECT_EQ(LumoSetMetaEntry(image, section, key, value), 0) << section << ' ' << key;
}

std::string ImageOwner::entry(const char* section, const char* key) const {
    char value[1024] = "";
    std::int32_t size = sizeof value;
    EXPECT_EQ(LumoGetMetaEntry(image, section, key, value, &size), 0);
    return value;
}

}  // namespace lumo::test

/// Keeps the test program's log out of the current folder.
extern "C" const char* lumoLogDirectory(void) {
    return lumo::test::logFolder();
}
