// Headerless dumps: rasters as detectors and their programs leave them, with nothing in the file
// that says what it is. The user does, or a sidecar file; the size has to agree to the byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cli/library.h"
#include "cli/system/descriptor.h"
#include "interchange/picture.h"

namespace lumo::cli {

/// What is said of a dump: values by the names of the options and of the sidecar's section [Dump]:
/// width, height, bits, high-bit, endian, offset, stride, signed, pitch. An empty value is none.
using DumpSettings = std::map<std::string, std::string>;

/// How the words of a file become pixels.
struct DumpLayout {
    std::uint32_t width = 0, height = 0;    ///< 1 to 65535
    std::uint32_t bits = 16, highBit = 15;  ///< the value's, counted from bit 0
    bool bigEndian = false, isSigned = false;
    std::uint64_t offset = 0, stride = 0;  ///< bytes before the first row, and from row to row
    std::uint32_t pitchX = 0, pitchY = 0;  ///< nanometres; 0: not told

    [[nodiscard]] std::uint32_t wordSize() const { return bits <= 8 ? 1 : 2; }
    [[nodiscard]] std::uint64_t rowBytes() const { return std::uint64_t{width} * wordSize(); }
    [[nodiscard]] std::uint64_t frameBytes() const { return stride * height; }
    /// What is added to signed values.
    [[nodiscard]] std::uint32_t signOffset() const { return isSigned ? 1U << (bits - 1) : 0; }
    /// As options of the command line.
    [[nodiscard]] std::string text() const;
};

/// Throws an error of this status that begins with `origin` for what is no layout; width and height
/// may be missing.
[[nodiscard]] DumpLayout parseLayout(const DumpSettings& settings, const std::string& origin,
                                     Status status);

/// "NM" or "NM,NM", along a row and between rows, each 1 to 1000000000. False for anything else.
[[nodiscard]] bool parseNanometres(const std::string& text, std::uint32_t& x, std::uint32_t& y);

/// How many frames the file holds; throws a CommandError if its size is not that of whole frames.
[[nodiscard]] std::uint64_t framesIn(const DumpLayout& layout, std::uint64_t fileSize,
                                     const std::string& file);

/// Options for a file whose name holds sizes that fit it: " (the name suggests ...)", or nothing.
[[nodiscard]] std::string proposalFor(const DumpLayout& layout, std::uint64_t fileSize,
                                      const std::string& file);

/// Decodes the words of a row. Returns the first column whose word has bits outside the value's;
/// the width if there is none.
std::size_t decodeRow(const DumpLayout& layout, const std::uint8_t* row, std::uint16_t* to);

/// A sidecar file: its section [Dump], and the metadata that follows.
struct Sidecar {
    DumpSettings settings;
    std::vector<interchange::Entry> entries;
};
[[nodiscard]] Sidecar readSidecar(const std::string& file);
[[nodiscard]] std::string sidecarText(const lmImage& image, std::uint32_t bits,
                                      const std::vector<interchange::Entry>& entries);

/// A frame's pixels; `frame` counts from 1, 0 is a choice that has to be made if there are several.
[[nodiscard]] ImageHandle readDumpFrame(const DumpLayout& layout, const Descriptor& input,
                                        std::uint64_t frame, const std::string& file);

/// The raster as 16-bit little-endian words without anything else.
void writeDump(const lmImage& image, const Descriptor& output, const std::string& file);

}  // namespace lumo::cli
