// Flat-field calibration: gains from a reference exposure into a file, and an image corrected by
// such a file.
#include <algorithm>
#include <array>
#include <numeric>
#include <string>
#include <vector>

#include "calibration/gain_table.h"
#include "calibration/smooth_mean.h"
#include "frame/call_frame.h"
#include "frame/history.h"
#include "frame/ini2.h"
#include "frame/written_file.h"
#include "image/map_pixels.h"
#include "image/view.h"
#include "lumo_legacy.h"
#include "platform/file.h"
#include "platform/huge_pages.h"
#include "platform/memory.h"

namespace lumo {
namespace {

/// Rows of gain codes in memory. Raises -8.
class CodeRows {
public:
    CodeRows(int width, int rows)
        : width_(static_cast<std::size_t>(width)),
          codes_(
              static_cast<std::uint16_t*>(std::malloc(std::max(bytesOf(rows), std::size_t{1})))) {
        if (!codes_) raise(LumoErrorMemory);
        preferHugePages(codes_.get(), bytesOf(rows));
    }
    [[nodiscard]] std::uint16_t* row(int index) const {
        return codes_.get() + static_cast<std::size_t>(index) * width_;
    }
    [[nodiscard]] std::size_t bytesOf(int rows) const {
        return static_cast<std::size_t>(rows) * width_ * sizeof(std::uint16_t);
    }

private:
    std::size_t width_;
    MallocPtr<std::uint16_t> codes_;
};

/// Rows of such a table that are written at once: large transfers that stay in the cache.
int rowsAtOnce(int width, int height) {
    constexpr int blockCodes = 1 << 17;  // 256 KiB
    return std::clamp(blockCodes / std::max(width, 1), 1, std::max(height, 1));
}

bool hasRaster(const lmImage* image) {
    return image != nullptr && image->data != nullptr && image->width != 0 && image->height != 0;
}

/// Gain codes of whole rasters. A large one has far more pixels than there are grey values, so the
/// code of each value is found once.
class GainCoder {
public:
    /// Takes what memory it needs for that many pixels.
    explicit GainCoder(std::size_t pixels) : table_(pixels >= 4 * values ? values : 0) {}

    void prepare(float mean, GainRange range) {
        mean_ = mean;
        range_ = range;
        std::array<std::uint16_t, 256> ramp;
        for (std::size_t first = 0; first < table_.size(); first += ramp.size()) {
            std::iota(ramp.begin(), ramp.end(), static_cast<std::uint16_t>(first));
            gainCodes(ramp.data(), mean, range, &table_[first], static_cast<int>(ramp.size()));
        }
    }
    void encode(const std::uint16_t* pixels, std::uint16_t* codes, int count) const {
        if (table_.empty()) return gainCodes(pixels, mean_, range_, codes, count);
        mapPixels(pixels, codes, static_cast<std::size_t>(count), table_.data());
    }

private:
    static constexpr std::size_t values = 65536;
    float mean_ = 1;
    GainRange range_{0, 0};
    std::vector<std::uint16_t> table_;
};

int writeTable(std::FILE* file, Source reference, const GainCoder& coder, const CodeRows& codes) {
    const int most = rowsAtOnce(reference.width, reference.height);
    for (int y = 0; y < reference.height; y += most) {
        const int rows = std::min(most, reference.height - y);
        coder.encode(reference.row(y), codes.row(0), rows * reference.width);
        const int code = writeBlock(file, codes.row(0), codes.bytesOf(rows));
        if (code != LumoOk) return code;
    }
    return LumoOk;
}

void createCalibration(lmImage* reference, std::uint16_t smoothWidth, std::uint16_t smoothHeight,
                       std::uint16_t minPercent, std::uint16_t maxPercent, const char* fileName) {
    if (minPercent >= 100 || maxPercent <= 100) raise(LumoErrorParameter);
    if (!hasRaster(reference)) raise(LumoErrorImage);
    const Source raster = asSource(viewOf(*reference));
    const CodeRows codes(raster.width, rowsAtOnce(raster.width, raster.height));
    GainCoder coder(raster.count());
    Smooth_Mean({reference->width, reference->height, reference->data}, smoothWidth, smoothHeight);
    FilePtr file = openFile(fileName, "wb");
    if (!file) raise(LumoErrorOpen);
    CalibrationHeader header;
    header.width = reference->width;
    header.height = reference->height;
    header.pixelsizeX = reference->pixelsizeX;
    header.pixelsizeY = reference->pixelsizeY;
    header.minPercent = minPercent;
    header.maxPercent = maxPercent;
    const auto bytes = header.bytes();
    coder.prepare(centralMean(raster), {minPercent, maxPercent});
    raiseFailure(writeAndClose(std::move(file), [&](std::FILE* to) {
        const int code = writeBlock(to, bytes.data(), bytes.size());
        return code == LumoOk ? writeTable(to, raster, coder, codes) : code;
    }));
}

/// Reads the header and positions the file at a table that it holds whole.
CalibrationHeader openTable(std::FILE* file) {
    const auto header = CalibrationHeader::read(file);
    if (!header) raise(LumoErrorFile);
    const std::uint64_t tableSize =
        std::uint64_t{header->width} * header->height * sizeof(std::uint16_t);
    if (fileSize(file).value_or(0) < header->length + tableSize) raise(LumoErrorFile);
    if (!seekTo(file, header->length)) raise(LumoErrorFile);
    return *header;
}

void recordCalibration(lmImage& image, const char* fileName) {
    const std::string step =
        std::string("CalibrateImage(calibrationDataFileName=") + fileName + ")";
    ini2 store(&image.metaData, &image.metaSize);
    AddPerformedStep(step.c_str(), &store);
    store.finish();
}

void calibrate(lmImage* image, const char* fileName) {
    if (!hasRaster(image)) raise(LumoErrorImage);
    const FilePtr file = openFile(fileName, "rb");
    if (!file) raise(LumoErrorOpen);
    const CalibrationHeader header = openTable(file.get());
    const int columns = std::min(image->width, header.width);
    const int rows = columns > 0 ? std::min(image->height, header.height) : 0;
    const CodeRows codes(header.width, rows);
    // A read may fail anywhere, and the history may lack memory: pixels come last.
    if (readBytes(file.get(), codes.row(0), codes.bytesOf(rows)) != codes.bytesOf(rows))
        raise(LumoErrorFile);
    recordCalibration(*image, fileName);
    const Target raster = viewOf(*image);
    for (int y = 0; y < rows; ++y)
        applyGains(raster.row(y), {header.minPercent, header.maxPercent}, codes.row(y), columns);
}

}  // namespace
}  // namespace lumo

extern "C" {

int CreateCalibrationData(lmImage* reference, uint16_t smoothWidth, uint16_t smoothHeight,
                          uint16_t minPercent, uint16_t maxPercent, const char* fileName) {
    return lumo::guarded([=] {
        lumo::createCalibration(reference, smoothWidth, smoothHeight, minPercent, maxPercent,
                                fileName);
    });
}

int CalibrateImage(lmImage* image, const char* fileName) {
    return lumo::guarded([=] { lumo::calibrate(image, fileName); });
}

}  // extern "C"
