// Pixels into a data set, and a data set into a file.
#include "interchange/dicom/encoder.h"

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "dcmtk/dcmdata/dcostrmb.h"
#include "dcmtk/dcmdata/dcrleerg.h"
#include "dcmtk/dcmdata/dcrlerp.h"
#include "dcmtk/dcmdata/dcwcache.h"
#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpeg/djrplol.h"
#include "dcmtk/dcmjpls/djencode.h"
#include "dcmtk/dcmjpls/djrparam.h"
#include "interchange/dicom/element_writer.h"
#include "interchange/dicom/pixel_words.h"
#include "interchange/helper_main.h"

namespace lumo::interchange::dicom {

namespace {

struct NamedCompression {
    std::string_view name;
    Compression compression;
};

constexpr NamedCompression compressions[] = {
    {"none", Compression::none},
    {"rle", Compression::rle},
    {"jpeg-lossless", Compression::jpegLossless},
    {"jpeg-ls", Compression::jpegLs},
};

void check(const OFCondition& result) {
    if (result.bad()) throw Refusal(std::string("cannot be encoded: ") + result.text());
}

void registerJpegEncoder() {
    // All as it is by default, up to the last: lossless, with no detour over other values.
    DJEncoderRegistration::registerCodecs(ECC_lossyYCbCr, EUC_never, OFFalse, 0, 0, 0, OFTrue,
                                          ESS_444, OFFalse, OFFalse, 0, 0, 0.0, 0.0, 0, 0, 0, 0,
                                          OFTrue, OFFalse, OFFalse, OFFalse, OFTrue);
}

void registerJpegLsEncoder() {
    // The words as they are. The other way, of the stored bits alone, refuses few bits, and of
    // white noise it makes streams now and then that the library itself cannot read.
    DJLSEncoderRegistration::registerCodecs(0, 0, 0, 0, OFFalse, 0, OFTrue, EJLSUC_never);
}

E_TransferSyntax syntaxOf(Compression compression) {
    switch (compression) {
        case Compression::rle:
            return EXS_RLELossless;
        case Compression::jpegLossless:
            return EXS_JPEGProcess14SV1;
        case Compression::jpegLs:
            return EXS_JPEGLSLossless;
        default:
            return EXS_LittleEndianExplicit;
    }
}

const DcmRepresentationParameter* parameterOf(Compression compression) {
    static const DcmRLERepresentationParameter rle;
    static const DJ_RPLossless jpeg;
    static const DJLSRepresentationParameter jpegLs(0, OFTrue);
    switch (compression) {
        case Compression::rle:
            return &rle;
        case Compression::jpegLossless:
            return &jpeg;
        case Compression::jpegLs:
            return &jpegLs;
        default:
            return nullptr;
    }
}

void compress(DcmDataset& dataset, Compression compression) {
    if (compression == Compression::rle) DcmRLEEncoderRegistration::registerCodecs();
    if (compression == Compression::jpegLossless) registerJpegEncoder();
    if (compression == Compression::jpegLs) registerJpegLsEncoder();
    check(dataset.chooseRepresentation(syntaxOf(compression), parameterOf(compression)));
    dataset.removeAllButCurrentRepresentations();
}

void describe(DcmItem& dataset, const WrittenPixels& pixels) {
    put(dataset, "SamplesPerPixel", "1");
    put(dataset, "Rows", std::to_string(pixels.height));
    put(dataset, "Columns", std::to_string(pixels.width));
    put(dataset, "BitsAllocated", "16");
    put(dataset, "BitsStored", std::to_string(pixels.bits));
    put(dataset, "HighBit", std::to_string(pixels.bits - 1));
    put(dataset, "PixelRepresentation", pixels.isSigned ? "1" : "0");
}

void insert(DcmItem& dataset, std::unique_ptr<DcmElement> element) {
    if (dataset.insert(element.get(), OFTrue).bad()) throw std::bad_alloc();
    static_cast<void>(element.release());  // the data set's from now on
}

std::unique_ptr<DcmElement> nativePixels(const WrittenPixels& pixels, const std::uint16_t* raster) {
    const std::size_t count = std::size_t{pixels.width} * pixels.height;
    if (count * 2 >= UINT32_MAX) throw Refusal("its pixels are too many for a DICOM file");
    auto data = std::make_unique<DcmPixelData>(DcmTag(DCM_PixelData, EVR_OW));
    Uint16* words = nullptr;
    if (data->createUint16Array(static_cast<Uint32>(count), words).bad()) throw std::bad_alloc();
    std::copy_n(raster, count, words);
    if (pixels.isSigned) storeSigned(words, count, pixels.bits);
    return data;
}

}  // namespace

Compression compressionNamed(const std::string& name) {
    if (name.empty()) return Compression::none;
    const auto found = std::ranges::find(compressions, name, &NamedCompression::name);
    if (found == std::end(compressions))
        throw Refusal("DICOM files are not compressed by " + name +
                      "; there are none, rle, jpeg-lossless, and jpeg-ls");
    return found->compression;
}

void putPixels(DcmDataset& dataset, const WrittenPixels& pixels, const std::uint16_t* raster,
               Compression compression) {
    // In a data set of their own: encoders write a history of theirs into it.
    DcmDataset bare;
    describe(bare, pixels);
    put(bare, "PhotometricInterpretation", "MONOCHROME2");
    insert(bare, nativePixels(pixels, raster));
    compress(bare, compression);
    describe(dataset, pixels);
    DcmElement* const data = bare.remove(DCM_PixelData);
    if (data == nullptr) throw std::bad_alloc();
    insert(dataset, std::unique_ptr<DcmElement>(data));
}

void writeFile(DcmFileFormat& file, Compression compression, const ByteSink& sink) {
    const E_TransferSyntax syntax = syntaxOf(compression);
    check(file.getDataset()->chooseRepresentation(syntax, parameterOf(compression)));
    std::vector<std::uint8_t> buffer(256 << 10);
    DcmOutputBufferStream stream(buffer.data(), static_cast<offile_off_t>(buffer.size()));
    DcmWriteCache cache;
    const auto flush = [&] {
        void* bytes = nullptr;
        offile_off_t count = 0;
        stream.flushBuffer(bytes, count);
        if (count > 0) sink(bytes, static_cast<std::size_t>(count));
        return count > 0;
    };
    file.transferInit();
    OFCondition result = EC_StreamNotifyClient;
    while (result == EC_StreamNotifyClient) {
        result = file.write(stream, syntax, EET_ExplicitLength, &cache, EGL_withoutGL,
                            EPD_withoutPadding);
        flush();
    }
    check(result);
    stream.flush();
    while (flush()) {
    }
    file.transferEnd();
}

}  // namespace lumo::interchange::dicom
