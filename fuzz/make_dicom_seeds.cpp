// Makes the inputs that the DICOM fuzz targets start from: a small file of each transfer syntax and
// of each odd kind, and entries of every section. Usage: make_dicom_seeds FOLDER
#include <filesystem>

#include "interchange/dicom/files.h"
#include "support.h"
#include "tests/interchange/dicom_bytes.h"
#include "tests/interchange/jpeg2000_bytes.h"

namespace {

using namespace lumo::fuzz;
using namespace lumo::interchange;
using lumo::test::DicomBytes;

constexpr int width = 6, height = 4;

std::filesystem::path folder;

void seed(const char* target, const std::string& name, const Bytes& bytes) {
    std::filesystem::create_directories(folder / target);
    writeFile((folder / target / name).string(), bytes);
}

std::vector<std::uint16_t> values() {
    std::vector<std::uint16_t> all;
    for (int i = 0; i < width * height; ++i)
        all.push_back(static_cast<std::uint16_t>(i * 4099 >> 4));
    return all;
}

/// Behind a byte for the compression on the way back and one for the options.
void readSeed(const std::string& name, const Bytes& file, std::uint8_t options = 16) {
    Bytes bytes = {static_cast<std::uint8_t>(name.size() % 4), options};
    bytes.insert(bytes.end(), file.begin(), file.end());
    seed("dicom_read_fuzz", name, bytes);
}

DicomBytes sample() {
    DicomBytes file(width, height, 12);
    return file.pixels(values())
        .text(0x00080005, "CS", "ISO_IR 100")
        .text(0x00080070, "LO", "R\xF6ntgen")
        .text(0x00100010, "PN", "Somebody^Else")
        .text(0x00180060, "DS", "70")
        .text(0x00181164, "DS", "0.139\\0.143")
        .text(0x00280030, "DS", "0.1\\0.1")
        .text(0x00281050, "DS", "2000")
        .text(0x00281051, "DS", "400")
        .text(0x00281053, "DS", "2");
}

void writtenSeeds() {
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.bits = 12;
    picture.allocate();
    for (int i = 0; i < width * height; ++i)
        picture.raster[static_cast<std::size_t>(i)] = values()[static_cast<std::size_t>(i)];
    picture.add("PerformedSteps", "Step0", "invert");
    picture.add("Odd", "key", " value ");
    for (const char* const compression : {"none", "rle", "jpeg-lossless", "jpeg-ls"}) {
        std::vector<std::string> notes;
        const std::map<std::string, std::string> options = {{"compression", compression}};
        readSeed(compression, writeDicom(picture, Request(options), {}, notes));
    }
}

void oddSeeds() {
    readSeed("native", sample().bytes());
    DicomBytes bare = sample();
    bare.hasPreamble = false;
    readSeed("no_preamble", bare.bytes());
    readSeed("signed", sample().word(0x00280103, 1).bytes());
    readSeed("turned", sample().text(0x00280004, "CS", "MONOCHROME1").bytes(), 4);
    readSeed("object", sample().bytes(), 8);
    readSeed("frames", sample().text(0x00280008, "IS", "2").bytes(), 2);
    readSeed("overlay", sample().text(0x60003000, "OW", "ab").word(0x60000102, 13).bytes());
    readSeed("private", sample()
                            .text(0x00110010, "LO", "astm.org/diconde/iod/Component")
                            .text(0x00111030, "DS", "12.5")
                            .text(0x00990010, "LO", "LUMO 1")
                            .text(0x00991001, "UT", "[PerformedSteps]\nStep0=invert\n")
                            .bytes());
    readSeed("component", sample().text(0x00140030, "DS", "12.5").bytes());
    DicomBytes wavelets = sample();
    wavelets.syntax = "1.2.840.10008.1.2.4.90";
    readSeed(
        "jpeg2000",
        wavelets.fragments({lumo::test::jpeg2000(width, height, values(), 12, false)}).bytes());
}

void writeSeeds() {
    Bytes bytes = {0, 3, 1, 5, 3, 11, 0, 0, 1, 0, 0, 0, 1, 0, 7};
    const auto entry = [&](Bytes name, const char* value) {
        bytes.insert(bytes.end(), name.begin(), name.end());
        for (; *value != '\0'; ++value) bytes.push_back(static_cast<std::uint8_t>(*value));
        bytes.push_back(0);
    };
    entry({0, 9, 0}, "70");
    entry({2, 2, 0}, "12.5");
    entry({3, 40, 0}, "Somebody^Else");
    entry({4, 0}, "2048");
    entry({4, 1}, "1");
    entry({5, 0}, "convert");
    entry({7, 'S', 0, 'k', 0}, "any\ntext");
    bytes.resize(bytes.size() + 48, 0x5A);
    for (std::uint8_t compression = 0; compression < 4; ++compression) {
        bytes[0] = compression;
        seed("dicom_write_fuzz", "entries" + std::to_string(compression), bytes);
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    folder = arguments[1];
    writtenSeeds();
    oddSeeds();
    writeSeeds();
    return 0;
}
