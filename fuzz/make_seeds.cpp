// Makes the inputs that fuzz targets start from: small valid files and texts, a folder of them for
// each target. Usage: make_seeds FOLDER
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "support.h"

namespace {

using namespace lumo::fuzz;

std::filesystem::path target;

void seed(const char* name, const Bytes& bytes) {
    std::filesystem::create_directories(target);
    writeFile((target / name).string(), bytes);
}

void append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

void append(Bytes& bytes, std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

void put(Bytes& bytes, std::uint32_t value, std::size_t size) {
    bytes.resize(bytes.size() + size);
    setLittleEndian(bytes, bytes.size() - size, size, value);
}

/// A small image with metadata in every section.
struct Sample : ImageOwner {
    Sample(std::uint16_t width, std::uint16_t height) {
        require(LumoCreateImage(&image, width, height) == 0, "an image can be created");
        for (std::uint32_t i = 0; i < std::uint32_t{width} * height; ++i)
            image->data[i] = static_cast<std::uint16_t>(i * 4099);
        set("Image", "Creation Time", "Mon, 01 Dec 2008 09:05:03 GMT");
        set("Image", "Source", "Detector 7");
        set("Image", "Author", "two\nlines");
        set("Image_X", "MaxPix", "60000");
        set("Image_X", "Scale", "0.5");
        set("Image_XHEAD", "kV", "110");
        LumoAddPerformedStep(image, "invert");
    }
    void set(const char* section, const char* key, const char* value) {
        require(LumoSetMetaEntry(image, section, key, value) == 0, "an entry can be set");
    }
    [[nodiscard]] Bytes file(const char* name, int format) const {
        require(LumoWriteImage(image, fileNamed(name).c_str(), format) == 0, "it can be written");
        return readFile(fileNamed(name));
    }
};

Bytes infoAndPixels(const Bytes& start, const Bytes& info, const Bytes& pixels) {
    Bytes bytes = start;
    put(bytes, static_cast<std::uint32_t>(info.size()), 2);
    append(bytes, info);
    append(bytes, pixels);
    return bytes;
}

void xyzSeeds() {
    const Sample sample(5, 3);
    const Bytes pixels = sample.file("a.xyz", FormatXyz), codes = sample.file("b.xyz", FormatXyz8);
    const Bytes info = readFile(fileNamed("a.txt"));
    const Bytes bare(info.begin(), info.begin() + 101);
    seed("pixels16", infoAndPixels({0}, info, pixels));
    seed("pixels8", infoAndPixels({128}, info, codes));
    seed("no_extended_header", infoAndPixels({128}, bare, pixels));
    seed("no_info", infoAndPixels({1}, {}, pixels));
    seed("short_pixels", infoAndPixels({0}, info, {pixels.begin(), pixels.end() - 3}));
}

void rawSeeds() {
    const Sample sample(4, 3);
    const Bytes pixels = sample.file("a.xyz", FormatXyz), codes = sample.file("b.xyz", FormatXyz8);
    const Bytes info = readFile(fileNamed("a.txt"));
    for (std::uint8_t rotation = 0; rotation < 8; ++rotation)
        seed(("turn" + std::to_string(rotation)).c_str(),
             infoAndPixels({rotation, 0}, info, rotation % 2 == 0 ? pixels : codes));
    seed("any_angle", infoAndPixels({45, 1}, info, pixels));
}

/// Texts for the step that puts a PNG file together: kind, keyword, length, text.
Bytes builtText(std::uint8_t kind, std::uint8_t keyword, std::string_view text) {
    Bytes bytes = {kind, keyword};
    put(bytes, static_cast<std::uint32_t>(text.size()), 2);
    append(bytes, text);
    if (kind == 3) bytes.push_back(1);
    return bytes;
}

void pngSeeds() {
    const Sample sample(6, 4);
    for (const std::uint8_t way : std::initializer_list<std::uint8_t>{0, 1, 129}) {
        Bytes bytes = {way};
        append(bytes, sample.file("a.png", FormatPng));
        seed(("written" + std::to_string(way)).c_str(), bytes);
    }
    for (std::uint8_t kind = 0; kind < 50; ++kind) {  // each depth, colour type and interlace
        const std::uint8_t depth = kind / 10, colourType = kind / 2 % 5, interlace = kind % 2;
        Bytes bytes = {2, 9, 6, depth, colourType, interlace};
        if (colourType == 2) append(bytes, Bytes{5, 6, 10, 20, 30, 40, 50, 60});  // palette
        append(bytes, Bytes{4, 9, 0, 0, 0x27, 0x10, 0, 0, 0x27, 0x10, 1});        // pitch
        append(bytes, builtText(1, 2, "Detector 7"));
        append(bytes, Bytes{0, kind, 7, 0, 1, 200, 3, 90, 17, 6});  // image data
        append(bytes,
               builtText(kind % 3 + 1, 0, "[Image_X]\nMaxPix=4000\n[Image]\nSource=other\n"));
        seed(("built" + std::to_string(kind)).c_str(), bytes);
    }
}

/// One step of the metadata: set, section, key, then how the value is given.
void roundTripSeeds() {
    Bytes bytes = {6, 4};
    put(bytes, 100000, 4);
    put(bytes, 40000, 4);
    const std::string_view body = "kV=110\r\n[Odd]\n;x\nlast";
    put(bytes, static_cast<std::uint32_t>(body.size()), 2);
    append(bytes, body);
    bytes.push_back(5);
    append(bytes, Bytes{0, 0, 0, 64, 1, 11, 10, 0, 9, 5, 3});    // creation time
    append(bytes, Bytes{0, 1, 10, 0, 0x60, 0xEA, 0, 0});         // maximum
    append(bytes, Bytes{0, 0, 1, 255, ' ', 'a', '\n', '=', 0});  // source
    append(bytes, Bytes{0, 255, 'S', 0, 255, 'k', 0, 255, 0});   // names of its own
    append(bytes, Bytes{250, 'i', 'n', 'v', 'e', 'r', 't', 0});  // history
    append(bytes, std::string_view("pixels"));
    seed("every_section", bytes);
    seed("one_pixel", {0, 0, 0x40, 0x9C, 0, 0, 0x40, 0x9C, 0, 0, 0, 0, 0, 7});
}

void ini2Seeds() {
    Bytes bytes;
    const Sample sample(1, 1);
    append(bytes, sample.metaData());
    append(bytes, std::string_view("\xFEImage\xFESource\xFE new value \xFE[A]\nk=v\n;: c\nl=w"));
    seed("sample", bytes);
    seed("escapes", [] {
        Bytes text;
        append(text,
               "\xEF\xBB\xBF;%lumo:a%0Ab\n[S] ; c\n%lumo:%20k=%lumo:v%0A\nk=1\r\n[S]\nStep7=x\xFES"
               "\xFE k\xFEv\n\xFE[x%\n;%lumo:y%");
        return text;
    }());
}

void calibrationSeeds() {
    const Sample sample(6, 4);
    const std::string name = fileNamed("gains.cal");
    require(CreateCalibrationData(sample.image, 1, 1, 20, 300, name.c_str()) == 0,
            "calibration data can be made");
    const Bytes file = readFile(name);
    for (const std::uint8_t width : std::initializer_list<std::uint8_t>{4, 5, 9}) {
        Bytes bytes = {width, 3};
        append(bytes, file);
        seed(("width" + std::to_string(width)).c_str(), bytes);
    }
}

void commandSeeds() {
    for (const std::string_view text :
         {"type=unsharp_mask radius=0.5 value=2", "Type=MEAN_FILTER size=5",
          "size=3.9 type=median_filter", "type=histogramm_equal3 np=0x20 lp=010",
          "type=gauss_fd2 ftp=1 ah0=2", "type=sharpen"}) {
        Bytes bytes;
        append(bytes, text);
        seed(std::string(text.substr(text.find('=') + 1, 12)).c_str(), bytes);
    }
}

void stepSeeds() {
    int number = 0;
    for (const std::string_view text :
         {"window --lo 9600 --hi 50000 --mode sqrt", "crop --roi 3,4,12,10", "bin --x=3",
          "rotate --quarter 90", "rotate --angle -1.5", "rotate --straighten", "shear --angle +5",
          "mirror --horizontal --vertical", "equalize --clipped --low 9 --weight 20",
          "filter size=5 TYPE=median_filter # five", "filter type=gauss_fd2 ab1=3 fbp0=1e0",
          "filter type=histogramm_equal3 np=60 lf=1", "calibrate \"my \\x41.cal\" --partial",
          "calibrate 'a b' --crc 1a2b3c4d", "phantom --seed 7", "window --limits 1000,1000"}) {
        Bytes bytes;
        append(bytes, text);
        seed(std::to_string(number++).c_str(), bytes);
    }
}

/// A page of 4 x 2 pixels behind its data; each number of the table can be another.
Bytes tiffFile(std::uint32_t compression, std::uint32_t bits, const Bytes& data,
               std::string_view description) {
    Bytes bytes;
    append(bytes, std::string_view("II*\0", 4));
    const auto size = static_cast<std::uint32_t>(data.size()),
               length = static_cast<std::uint32_t>(description.size());
    put(bytes, 8 + size + length, 4);
    append(bytes, data);
    append(bytes, description);
    const struct {
        std::uint32_t tag, type, count, value;
    } entries[] = {{256, 3, 1, 4},           {257, 3, 1, 2}, {258, 3, 1, bits},
                   {259, 3, 1, compression}, {262, 3, 1, 1}, {270, 2, length, 8 + size},
                   {273, 4, 1, 8},           {277, 3, 1, 1}, {278, 3, 1, 2},
                   {279, 4, 1, size}};
    put(bytes, std::size(entries), 2);
    for (const auto& [tag, type, count, value] : entries) {
        put(bytes, tag, 2);
        put(bytes, type, 2);
        put(bytes, count, 4);
        put(bytes, value, 4);
    }
    put(bytes, 0, 4);
    return bytes;
}

void tiffSeeds() {
    static constexpr char own[] = "[Lumo]\n[Image]\nSource=a\n[PerformedSteps]\nStep0=invert\n";
    static constexpr char imageJ[] = "ImageJ=1.5\nunit=mm\n";
    const struct {
        const char* name;
        std::uint32_t compression, bits;
        Bytes data;
    } seeds[] = {{"plain", 1, 16, Bytes(16, 5)},
                 {"bytes", 1, 8, Bytes(8, 5)},
                 {"twelve", 1, 12, Bytes(12, 0x12)},
                 {"packbits", 32773, 16, {0xF1, 7}},
                 {"lzw", 5, 16, {0x80, 0x01, 0x60, 0x50, 0x28, 0x24, 0x02}},
                 {"deflate", 8, 16, {0x78, 0x9C, 0x63, 0x60, 0x20, 0x0D, 0, 0, 0x10, 0, 1}}};
    for (const auto& [name, compression, bits, data] : seeds) {
        Bytes bytes = {0, 0};
        const std::string_view text =
            bits == 8 ? std::string_view(imageJ, sizeof imageJ) : std::string_view(own, sizeof own);
        append(bytes, tiffFile(compression, bits, data, text));
        seed(name, bytes);
    }
}

void transferSeeds() {
    Bytes picture = {1};
    append(picture, "LUMOEX01");
    for (const std::uint32_t number : {2U, 1U, 100000U, 100000U}) put(picture, number, 4);
    put(picture, 16, 1);
    put(picture, 1, 4);
    put(picture, 1, 4);
    for (const std::string_view text : {"Image", "Source", "a", "a note"}) {
        put(picture, static_cast<std::uint32_t>(text.size()), 4);
        append(picture, text);
    }
    put(picture, 0x12345678, 4);
    seed("picture", picture);
    Bytes answer = {1};
    append(answer, std::string_view("LUMOAN01\0\1\0\0\0\3\0\0\0why", 20));
    seed("answer", answer);
}

void dumpSeeds() {
    Bytes dump = {1, 0, 'a', 0, 4, 3, 15, 0, 3, 0, 0, 1, 3, 1};
    append(dump, Bytes(2 + 24, 1));
    seed("dump", dump);
    Bytes sidecar = {0};
    append(sidecar, "[Dump]\nwidth=4\nheight=3\nbits=12\npitch=1,2\n[Image]\nSource=%lumo:a%0Ab\n");
    seed("sidecar", sidecar);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    const struct {
        const char* target;
        void (*make)();
    } makers[] = {{"calibration_fuzz", calibrationSeeds},
                  {"command_fuzz", commandSeeds},
                  {"dump_fuzz", dumpSeeds},
                  {"ini2_fuzz", ini2Seeds},
                  {"png_fuzz", pngSeeds},
                  {"raw_fuzz", rawSeeds},
                  {"round_trip_fuzz", roundTripSeeds},
                  {"steps_fuzz", stepSeeds},
                  {"tiff_read_fuzz", tiffSeeds},
                  {"transfer_fuzz", transferSeeds},
                  {"xyz_fuzz", xyzSeeds}};
    for (const auto& maker : makers) {
        target = std::filesystem::path(arguments[1]) / maker.target;
        maker.make();
    }
    return 0;
}
