// The transfer syntaxes, by name: those that are read, and those that are refused.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace lumo::interchange::dicom {

/// Who decodes the pixels.
enum class Coding : std::uint8_t { native, rle, jpeg, jpegLs, jpeg2000, unsupported };

struct TransferSyntax {
    const char* uid;
    const char* name;
    Coding coding;
    bool mayLose;  ///< values need not be the detector's
};

/// None for one that nobody knows.
[[nodiscard]] const TransferSyntax* findTransferSyntax(std::string_view uid);

/// Without a group that names it: implicit little-endian, unless the elements say otherwise.
inline constexpr char implicitLittleEndian[] = "1.2.840.10008.1.2";
/// Packed as a whole, so that no place in the file is a place among the elements.
inline constexpr char deflated[] = "1.2.840.10008.1.2.1.99";

}  // namespace lumo::interchange::dicom
