// Pixels into a data set, and a data set into a file.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "interchange/dicom/dcmtk.h"

namespace lumo::interchange::dicom {

/// Takes all bytes or throws.
using ByteSink = std::function<void(const void* from, std::size_t count)>;

/// How the words of a file to be written hold the picture's values.
struct WrittenPixels {
    std::uint32_t width, height;
    int bits;
    bool isSigned;  ///< half the range is taken off each value
};

/// How pixels are compressed, without loss; all are exact on 16 bits.
enum class Compression : std::uint8_t { none, rle, jpegLossless, jpegLs };
/// Throws Refusal for a name that is none; none for no name.
[[nodiscard]] Compression compressionNamed(const std::string& name);

/// Puts pixels, compressed, and their description. Throws Refusal.
void putPixels(DcmDataset& dataset, const WrittenPixels& pixels, const std::uint16_t* raster,
               Compression compression);

/// Writes the file; its pixels are there, compressed in this way. Throws Refusal.
void writeFile(DcmFileFormat& file, Compression compression, const ByteSink& sink);

}  // namespace lumo::interchange::dicom
