// One frame of a data set as grey values.
#include "interchange/dicom/pixels.h"

#include <algorithm>
#include <vector>

#include "dcmtk/dcmjpeg/djdecode.h"
#include "dcmtk/dcmjpls/djdecode.h"
#include "interchange/dicom/jpeg2000.h"
#include "interchange/dicom/numbers.h"
#include "interchange/dicom/rle.h"
#include "interchange/helper_main.h"

namespace lumo::interchange::dicom {

namespace {

using Bytes = std::vector<std::uint8_t>;

DcmPixelData& pixelData(DcmDataset& dataset) {
    DcmElement* element = nullptr;
    dataset.findAndGetElement(DCM_PixelData, element);
    auto* const pixels = dynamic_cast<DcmPixelData*>(element);
    if (pixels == nullptr) throw Refusal("its pixels are stored as something else");
    return *pixels;
}

void registerDecoder(Coding coding) {
    if (coding == Coding::jpeg) DJDecoderRegistration::registerCodecs();
    if (coding == Coding::jpegLs) DJLSDecoderRegistration::registerCodecs();
}

/// Where the words of a frame go: into the raster, or first into bytes.
class FrameBuffer {
public:
    FrameBuffer(const PixelDescription& pixels, std::uint16_t* raster)
        : raster_(raster), count_(pixels.count()), size_(pixels.frameBytes()) {
        size_ += size_ % 2;  // the library pads frames
        if (pixels.allocated == 8) bytes_.resize(size_);
    }
    [[nodiscard]] void* place() {
        return bytes_.empty() ? raster_ : static_cast<void*>(&bytes_[0]);
    }
    [[nodiscard]] std::uint64_t size() const { return size_; }
    void finish() {
        if (!bytes_.empty()) std::copy_n(bytes_.begin(), count_, raster_);
    }

private:
    std::uint16_t* raster_;
    std::uint64_t count_, size_;
    Bytes bytes_;
};

void readNative(DatasetFile& file, const PixelDescription& pixels, std::uint16_t* raster) {
    FrameBuffer buffer(pixels, raster);
    const std::uint64_t frame = pixels.frameBytes(), offset = frame * (pixels.frame - 1);
    const OFCondition result =
        pixelData(file.dataset())
            .getPartialValue(buffer.place(), static_cast<Uint32>(offset),
                             static_cast<Uint32>(frame), nullptr, gLocalByteOrder);
    if (result.bad()) throw Refusal("its pixels cannot be read");
    buffer.finish();
}

[[noreturn]] void refuseDamaged(const DatasetFile& file) {
    throw Refusal(std::string("its pixels (") + file.syntax->name + ") are damaged or end early");
}

void decode(DatasetFile& file, PixelDescription& pixels, std::uint16_t* raster) {
    registerDecoder(file.syntax->coding);
    FrameBuffer buffer(pixels, raster);
    Uint32 firstFragment = 0;
    OFString colourModel;
    const OFCondition result =
        pixelData(file.dataset())
            .getUncompressedFrame(&file.dataset(), pixels.frame - 1, firstFragment, buffer.place(),
                                  static_cast<Uint32>(buffer.size()), colourModel);
    if (result.bad()) refuseDamaged(file);
    buffer.finish();
}

DcmPixelItem& fragment(DcmPixelSequence& sequence, unsigned long index) {
    DcmPixelItem* item = nullptr;
    if (sequence.getItem(item, index).bad() || item == nullptr)
        throw Refusal("its compressed pixels cannot be read");
    return *item;
}

/// The library makes room for what a fragment claims before it sees that the file ends.
std::span<const std::uint8_t> bytesOf(DcmPixelItem& item, std::uint64_t fileSize) {
    Uint8* bytes = nullptr;
    if (item.getLength() == 0) return {};
    if (item.getLength() > fileSize)
        throw Refusal("ends early: its compressed pixels are not all there");
    if (item.getUint8Array(bytes).bad() || bytes == nullptr)
        throw Refusal("its compressed pixels cannot be read");
    return {bytes, item.getLength()};
}

/// The offsets of the frames' first fragments, which a table before the fragments may give.
std::vector<std::uint64_t> frameOffsets(DcmPixelSequence& sequence, std::uint64_t fileSize) {
    const std::span<const std::uint8_t> table = bytesOf(fragment(sequence, 0), fileSize);
    std::vector<std::uint64_t> offsets;
    for (std::size_t i = 0; i + 4 <= table.size(); i += 4)
        offsets.push_back(table[i] | std::uint64_t{table[i + 1]} << 8 |
                          std::uint64_t{table[i + 2]} << 16 | std::uint64_t{table[i + 3]} << 24);
    return offsets;
}

DcmPixelSequence& fragmentsOf(DatasetFile& file) {
    DcmPixelSequence* sequence = nullptr;
    const OFCondition result =
        pixelData(file.dataset())
            .getEncapsulatedRepresentation(file.dataset().getOriginalXfer(), nullptr, sequence);
    if (result.bad() || sequence == nullptr || sequence->card() < 2)
        throw Refusal("its compressed pixels are not there");
    return *sequence;
}

/// The fragments of one frame, joined.
Bytes joinedFrame(DatasetFile& file, const PixelDescription& pixels) {
    DcmPixelSequence& sequence = fragmentsOf(file);
    constexpr std::uint64_t itemHeader = 8;  // bytes
    const unsigned long fragments = sequence.card() - 1;
    const std::vector<std::uint64_t> offsets = pixels.frames == 1 || fragments == pixels.frames
                                                   ? std::vector<std::uint64_t>()
                                                   : frameOffsets(sequence, file.size);
    const bool byOffset = offsets.size() == pixels.frames && pixels.frames > 1;
    if (pixels.frames > 1 && fragments != pixels.frames && !byOffset)
        throw Refusal("its frames cannot be told apart: " + counted(fragments, "fragment") +
                      " for " + counted(pixels.frames, "frame"));
    const std::uint64_t begin = byOffset ? offsets[pixels.frame - 1] : 0;
    const std::uint64_t end =
        byOffset && pixels.frame < pixels.frames ? offsets[pixels.frame] : UINT64_MAX;
    Bytes joined;
    std::uint64_t place = 0;
    for (unsigned long i = 1; i <= fragments; ++i) {
        const bool taken =
            byOffset ? begin <= place && place < end : pixels.frames == 1 || i == pixels.frame;
        DcmPixelItem& item = fragment(sequence, i);
        place += item.getLength() + itemHeader;
        if (!taken) continue;
        const std::span<const std::uint8_t> bytes = bytesOf(item, file.size);
        joined.insert(joined.end(), bytes.begin(), bytes.end());
    }
    return joined;
}

void decodeRuns(DatasetFile& file, const PixelDescription& pixels, std::uint16_t* raster) {
    const Bytes frame = joinedFrame(file, pixels);
    const std::size_t bytesPerWord = pixels.allocated == 8 ? 1 : 2;
    if (!decodeRle(frame, bytesPerWord, raster, pixels.count())) refuseDamaged(file);
}

void decodeStream(DatasetFile& file, PixelDescription& pixels, std::uint16_t* raster) {
    const Bytes stream = joinedFrame(file, pixels);
    const Jpeg2000Values values = decodeJpeg2000(stream, pixels.width, pixels.height, raster);
    if (values.isSigned && !pixels.layout.isSigned)
        throw Refusal("the file contradicts itself: unsigned pixels in a signed JPEG 2000 stream");
    if (values.precision != pixels.layout.bits)
        pixels.notes.push_back("the JPEG 2000 stream has " + std::to_string(values.precision) +
                               " bits a pixel, the file says " +
                               std::to_string(pixels.layout.bits));
    pixels.layout.bits = values.precision;
    pixels.layout.highBit = values.precision - 1;
}

}  // namespace

void requireWhole(DatasetFile& file, PixelDescription& pixels) {
    if (file.syntax->coding != Coding::native) {
        if (file.pixelBytesBeforeEnd)
            throw Refusal("ends early: its compressed pixels are not all there");
        return;
    }
    const std::uint64_t needed = pixels.frameBytes() * pixels.frames;
    const std::uint64_t there =
        file.pixelBytesBeforeEnd.value_or(pixelData(file.dataset()).getLength());
    if (there < needed)
        throw Refusal("ends early: " + std::to_string(there) + " of " + std::to_string(needed) +
                      " bytes of pixels");
    if (there > needed + needed % 2)
        pixels.notes.push_back(counted(there - needed, "byte") + " behind the pixels left out");
}

void readFrame(DatasetFile& file, PixelDescription& pixels, std::uint16_t* raster) {
    if (file.syntax->coding == Coding::native)
        readNative(file, pixels, raster);
    else if (file.syntax->coding == Coding::rle)
        decodeRuns(file, pixels, raster);
    else if (file.syntax->coding == Coding::jpeg2000)
        decodeStream(file, pixels, raster);
    else
        decode(file, pixels, raster);
    if (extractValues(raster, pixels.count(), pixels.layout))
        pixels.notes.push_back("bits beside the " + std::to_string(pixels.layout.bits) +
                               " of the values are set; they are left out");
}

}  // namespace lumo::interchange::dicom
