// A gain table read once from its file: pixels corrected by it, counts of what it did to them, and
// the file's checksum.
#pragma once

#include <cstdint>
#include <optional>

#include "calibration/gain_table.h"
#include "image/view.h"
#include "platform/file.h"

namespace lumo {

/// Pixels of an image that a table reached.
struct CorrectionCounts {
    std::int64_t corrected, beyondTable, atLowestGain, atHighestGain;
    std::int64_t clamped;  ///< whose product with the gain left the range of grey values
};

class GainTableReader {
public:
    /// Reads the header.
    explicit GainTableReader(FilePtr file);

    /// Whether header and table lie whole in a regular file.
    [[nodiscard]] bool isTable() const { return header_.has_value(); }
    [[nodiscard]] const CalibrationHeader& header() const { return *header_; }

    /// Writes the corrected pixels, those beyond the table as they are. Nothing if the file cannot
    /// be read. Call it once, before checksum().
    [[nodiscard]] std::optional<CorrectionCounts> correct(Source source, Target target);

    /// CRC-32 of the whole file, whose rest is read here.
    [[nodiscard]] std::optional<std::uint32_t> checksum();

private:
    [[nodiscard]] bool read(void* block, std::size_t bytes);
    [[nodiscard]] bool skip(std::size_t bytes);

    FilePtr file_;
    std::optional<CalibrationHeader> header_;
    std::uint64_t left_ = 0;  // bytes of the file that are not read yet
    std::uint32_t sum_ = 0;
};

}  // namespace lumo
