// A DICOM file's elements, from a file or from memory, and what is wrong with the whole of it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "interchange/dicom/dcmtk.h"
#include "interchange/dicom/transfer_syntaxes.h"

namespace lumo::interchange::dicom {

/// Opens the file from its beginning, each time it is called.
using OpenStream = std::function<std::unique_ptr<DcmInputStream>()>;

/// Long values stay in the file until they are asked for.
[[nodiscard]] OpenStream fileStream(int descriptor);
/// The bytes have to stay.
[[nodiscard]] OpenStream memoryStream(std::span<const std::uint8_t> bytes);

struct DatasetFile {
    DcmFileFormat format;
    const TransferSyntax* syntax = nullptr;  ///< one that is read
    std::uint64_t size = 0;                  ///< bytes of the whole file
    /// Bytes of pixels in a file that ends within them.
    std::optional<std::uint64_t> pixelBytesBeforeEnd;
    bool damagedAfterPixels = false;

    [[nodiscard]] DcmDataset& dataset() { return *format.getDataset(); }
};

/// Throws Refusal if there are no elements to be had, or the transfer syntax is none of those read.
[[nodiscard]] std::unique_ptr<DatasetFile> openDataset(const OpenStream& open);

}  // namespace lumo::interchange::dicom
