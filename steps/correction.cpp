// A gain table read once from its file: pixels corrected by it, counts of what it did to them, and
// the file's checksum. Gains are single precision, products double, as the correction itself has
// them.
#include "steps/correction.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "frame/call_frame.h"
#include "platform/cpu_level.h"

namespace lumo {
namespace {

constexpr std::size_t blockBytes = 1 << 18;  // large transfers that stay in the cache

/// Counts of one row; 32 bits are enough.
struct RowCounts {
    std::uint32_t lowest, highest, clamped;
};

/// What the highest gain is coded as: 65535, or 65534 by a rounding before the cut.
int topCodeOf(GainRange range) {
    constexpr int largest = 65535;
    if (range.span() <= 0) return largest;
    const double scale = largest / range.span();
    return static_cast<int>(range.span() * scale);
}

LUMO_INLINE void count(const std::uint16_t* pixels, const std::uint16_t* codes, GainRange range,
                       int topCode, int width, RowCounts& counts) {
    const double step = range.span() / 65535.0;
    const auto lowest = static_cast<double>(range.lowest);
    std::uint32_t low = 0, high = 0, clamped = 0;
    for (int x = 0; x < width; ++x) {
        const int code = codes[x];
        const auto gain = static_cast<float>(code * step + lowest);
        clamped += pixels[x] * static_cast<double>(gain) >= 65536.0 ? 1U : 0U;
        low += code == 0 ? 1U : 0U;
        high += code >= topCode ? 1U : 0U;
    }
    counts = {low, high, clamped};
}

LUMO_LEVELS(void, countRow, count,
            (const std::uint16_t* pixels, const std::uint16_t* codes, GainRange range, int topCode,
             int width, RowCounts& counts),
            (pixels, codes, range, topCode, width, counts))

}  // namespace

GainTableReader::GainTableReader(FilePtr file) : file_(std::move(file)) {
    const std::optional<std::uint64_t> size = fileSize(file_.get());
    std::uint8_t bytes[CalibrationHeader::size];
    if (!size || *size < sizeof bytes || !seekTo(file_.get(), 0)) return;
    const std::optional<CalibrationHeader> header = CalibrationHeader::read(file_.get());
    if (!header || header->length < sizeof bytes || !seekTo(file_.get(), 0)) return;
    const std::uint64_t table = std::uint64_t{header->width} * header->height * 2;
    if (table == 0 || *size < header->length + table) return;
    left_ = *size;
    if (read(bytes, sizeof bytes) && skip(header->length - sizeof bytes)) header_ = header;
}

bool GainTableReader::read(void* block, std::size_t bytes) {
    if (bytes > left_ || readBytes(file_.get(), block, bytes) != bytes) return false;
    left_ -= bytes;
    sum_ =
        static_cast<std::uint32_t>(crc32_z(sum_, static_cast<const std::uint8_t*>(block), bytes));
    return true;
}

bool GainTableReader::skip(std::size_t bytes) {
    std::vector<std::uint8_t> block(std::min(bytes, blockBytes));
    for (; bytes > 0; bytes -= std::min(bytes, blockBytes))
        if (!read(block.data(), std::min(bytes, blockBytes))) return false;
    return true;
}

std::optional<CorrectionCounts> GainTableReader::correct(Source source, Target target) {
    const int width = std::min<int>(source.width, header_->width);
    const int height = std::min<int>(source.height, header_->height);
    const GainRange range(header_->minPercent, header_->maxPercent);
    const int topCode = topCodeOf(range);
    const std::size_t rowCodes = header_->width;
    const int rows = std::max(1, static_cast<int>(blockBytes / (2 * rowCodes)));
    std::vector<std::uint16_t> codes(rowCodes * static_cast<std::size_t>(rows));
    CorrectionCounts counts{};
    counts.corrected = std::int64_t{width} * height;
    counts.beyondTable = static_cast<std::int64_t>(source.count()) - counts.corrected;
    for (int y = 0; y < height; ++y) {
        const int place = y % rows;
        const int read_ = std::min(rows, height - y);
        if (place == 0 && !read(codes.data(), 2 * rowCodes * static_cast<std::size_t>(read_)))
            return std::nullopt;
        const std::uint16_t* row = codes.data() + rowCodes * static_cast<std::size_t>(place);
        RowCounts ofRow{};
        countRow(source.row(y), row, range, topCode, width, ofRow);
        counts.atLowestGain += ofRow.lowest;
        counts.atHighestGain += ofRow.highest;
        counts.clamped += ofRow.clamped;
        std::memcpy(target.row(y), source.row(y),
                    sizeof(std::uint16_t) * std::size_t(source.width));
        applyGains(target.row(y), range, row, width);
    }
    for (int y = height; y < source.height; ++y)
        std::memcpy(target.row(y), source.row(y),
                    sizeof(std::uint16_t) * std::size_t(source.width));
    return counts;
}

std::optional<std::uint32_t> GainTableReader::checksum() {
    if (!skip(left_)) return std::nullopt;
    return sum_;
}

}  // namespace lumo
