// What tests share.
#include "support/support.h"

#include <gtest/gtest.h>
#include <regex.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iterator>

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
    Random random(seed * 1000003 + static_cast<std::uint64_t>(width));
    for (auto& pixel : raster.pixels) {
        const std::uint64_t number = random.next();
        pixel =
            number % 16 == 0 ? edges[(number >> 8) % 4] : static_cast<std::uint16_t>(number >> 16);
    }
    return raster;
}

void atEveryLevelAndSize(const std::function<void(const Raster&)>& check) {
    std::vector<int> widths{200, 1037};
    for (int width = 1; width <= 70; ++width) widths.push_back(width);
    for (const CpuLevel level : supportedLevels())
        for (const int width : widths)
            for (const int height : {1, 2, 3, 7, 13}) {
                const ForcedLevel forced(level);
                SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height) + " at level " +
                             std::to_string(static_cast<int>(level)));
                check(noise(width, height, static_cast<std::uint64_t>(height)));
                if (testing::Test::HasFailure()) return;
            }
}

TempFolder::TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "lumo-test-XXXXXX").string();
    path_ = mkdtemp(name.data());
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::uint8_t> readFile(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& name, const std::vector<std::uint8_t>& bytes) {
    std::error_code ignored;
    // Some file systems flush a file that is cut and written anew to the disk.
    std::filesystem::remove(name, ignored);
    std::ofstream file(name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
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

ImageOwner::ImageOwner(int width, int height, std::uint64_t seed) {
    LumoCreateImage(&image, static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height));
    if (image != nullptr && image->data != nullptr)
        std::ranges::copy(noise(width, height, seed).pixels, image->data);
}

std::vector<std::uint16_t> ImageOwner::pixels() const {
    return {image->data, image->data + std::size_t{image->width} * image->height};
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
