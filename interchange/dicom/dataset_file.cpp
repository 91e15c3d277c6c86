// A DICOM file's elements, from a file or from memory, and what is wrong with the whole of it.
#include "interchange/dicom/dataset_file.h"

#include "interchange/dicom/element_text.h"
#include "interchange/dicom/identifiers.h"
#include "interchange/helper_main.h"

namespace lumo::interchange::dicom {

namespace {

constexpr Uint32 longestHeldInMemory = 4096;  // bytes; longer values are read when asked for

/// The library's message for an unknown transfer syntax misleads: it is looked at first.
const TransferSyntax& checkedSyntax(const std::string& uid) {
    const TransferSyntax* const syntax = findTransferSyntax(uid);
    if (syntax != nullptr && syntax->coding != Coding::unsupported) return *syntax;
    const std::string shown = isIdentifier(uid) ? uid : "no identifier";
    const std::string name = syntax != nullptr ? syntax->name : "the transfer syntax";
    throw Refusal(name + " (" + shown + ") is not supported");
}

/// The transfer syntax that the file's first group names; none without that group.
const TransferSyntax* namedSyntax(const OpenStream& open) {
    const std::unique_ptr<DcmInputStream> stream = open();
    DcmMetaInfo header;
    header.transferInit();
    const OFCondition result = header.read(*stream, EXS_Unknown, EGL_noChange, longestHeldInMemory);
    header.transferEnd();
    if (result.bad()) return nullptr;
    if (plainText(header, DCM_MediaStorageSOPClassUID) == UID_MediaStorageDirectoryStorage)
        throw Refusal("a DICOM directory holds no image");
    const std::string uid = plainText(header, DCM_TransferSyntaxUID);
    return uid.empty() ? nullptr : &checkedSyntax(uid);
}

/// How many bytes there are from the pixels' beginning to the file's end.
std::optional<std::uint64_t> bytesFromPixels(const OpenStream& open) {
    const std::unique_ptr<DcmInputStream> stream = open();
    const auto end = static_cast<std::uint64_t>(stream->avail());
    DcmFileFormat format;
    format.transferInit();
    const OFCondition result =
        format.readUntilTag(*stream, EXS_Unknown, EGL_noChange, longestHeldInMemory, DCM_PixelData);
    format.transferEnd();
    const auto begin = static_cast<std::uint64_t>(stream->tell());
    if (result.bad() || begin > end) return std::nullopt;
    return end - begin;
}

DcmPixelData* pixelsOf(DcmItem& dataset) {
    DcmElement* element = nullptr;
    if (dataset.findAndGetElement(DCM_PixelData, element).bad()) return nullptr;
    return dynamic_cast<DcmPixelData*>(element);
}

/// Reading has failed: what is left may do, if the pixels are whole.
void judgeDamage(DatasetFile& file, const OpenStream& open) {
    constexpr char damaged[] = "damaged: its elements cannot be read";
    DcmPixelData* const pixels = pixelsOf(file.dataset());
    const bool isDeflated =
        file.syntax != nullptr && std::string_view(file.syntax->uid) == deflated;
    if (pixels == nullptr || isDeflated) throw Refusal(damaged);
    const bool isLast = file.dataset().getElement(file.dataset().card() - 1) == pixels;
    const std::optional<std::uint64_t> there = bytesFromPixels(open);
    if (isLast && !there) throw Refusal(damaged);
    const bool isCoded = file.syntax != nullptr && file.syntax->coding != Coding::native;
    const bool isShort = isCoded || (there && *there < pixels->getLength());
    if (isLast && isShort)
        file.pixelBytesBeforeEnd = there;
    else
        file.damagedAfterPixels = true;
}

}  // namespace

OpenStream fileStream(int descriptor) {
    return [name = "/dev/fd/" + std::to_string(descriptor)] {
        return std::make_unique<DcmInputFileStream>(OFFilename(name.c_str()));
    };
}

OpenStream memoryStream(std::span<const std::uint8_t> bytes) {
    return [bytes] {
        auto stream = std::make_unique<DcmInputBufferStream>();
        stream->setBuffer(bytes.data(), static_cast<offile_off_t>(bytes.size()));
        stream->setEos();
        return stream;
    };
}

std::unique_ptr<DatasetFile> openDataset(const OpenStream& open) {
    auto file = std::make_unique<DatasetFile>();
    file->syntax = namedSyntax(open);
    const std::unique_ptr<DcmInputStream> stream = open();
    file->size = static_cast<std::uint64_t>(stream->avail());
    file->format.transferInit();
    const OFCondition result =
        file->format.read(*stream, EXS_Unknown, EGL_noChange, longestHeldInMemory);
    file->format.transferEnd();
    if (file->dataset().card() == 0) throw Refusal("no DICOM file: it holds no elements");
    if (result.bad()) judgeDamage(*file, open);
    if (file->syntax == nullptr)
        file->syntax = &checkedSyntax(DcmXfer(file->dataset().getOriginalXfer()).getXferID());
    return file;
}

}  // namespace lumo::interchange::dicom
