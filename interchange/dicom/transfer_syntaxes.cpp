// The transfer syntaxes, by name: those that are read, and those that are refused.
#include "interchange/dicom/transfer_syntaxes.h"

#include <algorithm>
#include <iterator>

namespace lumo::interchange::dicom {

namespace {

constexpr TransferSyntax known[] = {
    {implicitLittleEndian, "implicit little-endian", Coding::native, false},
    {"1.2.840.10008.1.2.1", "explicit little-endian", Coding::native, false},
    {"1.2.840.10008.1.2.2", "explicit big-endian", Coding::native, false},
    {deflated, "deflated explicit little-endian", Coding::native, false},
    {"1.2.840.10008.1.2.5", "RLE", Coding::rle, false},
    {"1.2.840.10008.1.2.4.51", "JPEG, 12 bits", Coding::jpeg, true},
    {"1.2.840.10008.1.2.4.57", "JPEG lossless", Coding::jpeg, false},
    {"1.2.840.10008.1.2.4.70", "JPEG lossless, first-order prediction", Coding::jpeg, false},
    {"1.2.840.10008.1.2.4.80", "JPEG-LS lossless", Coding::jpegLs, false},
    {"1.2.840.10008.1.2.4.81", "JPEG-LS near-lossless", Coding::jpegLs, true},
    {"1.2.840.10008.1.2.4.90", "JPEG 2000 lossless", Coding::jpeg2000, false},
    {"1.2.840.10008.1.2.4.91", "JPEG 2000", Coding::jpeg2000, true},
    {"1.2.840.10008.1.2.4.50", "JPEG, 8 bits", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.92", "lossless JPEG 2000 of several components", Coding::unsupported,
     false},
    {"1.2.840.10008.1.2.4.93", "JPEG 2000 of several components", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.94", "JPIP", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.95", "JPIP deflated", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.100", "MPEG-2 video", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.101", "MPEG-2 video", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.102", "MPEG-4 video", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.103", "MPEG-4 video", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.104", "MPEG-4 video", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.105", "MPEG-4 video", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.106", "MPEG-4 video", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.107", "HEVC video", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.108", "HEVC video", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.110", "JPEG XL lossless", Coding::unsupported, false},
    {"1.2.840.10008.1.2.4.111", "JPEG XL from JPEG", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.112", "JPEG XL", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.201", "HTJ2K", Coding::unsupported, false},
    {"1.2.840.10008.1.2.4.202", "HTJ2K", Coding::unsupported, false},
    {"1.2.840.10008.1.2.4.203", "HTJ2K", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.204", "JPIP HTJ2K", Coding::unsupported, true},
    {"1.2.840.10008.1.2.4.205", "JPIP HTJ2K deflated", Coding::unsupported, true},
};

}  // namespace

const TransferSyntax* findTransferSyntax(std::string_view uid) {
    const auto found = std::ranges::find(known, uid, &TransferSyntax::uid);
    return found != std::end(known) ? &*found : nullptr;
}

}  // namespace lumo::interchange::dicom
