// A random record with random metadata through PNG and XYZ files: raster, pitch and entries come
// back but for what each format does not keep, and a second write gives the same bytes.
//
// Input: sides, pitches, the extended header, steps that change the metadata, pixels.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <map>

#include "frame/ini2.h"
#include "support.h"

namespace {

using namespace lumo::fuzz;

constexpr std::size_t longestValue = 1023;

/// The entries that were set; an entry is a section and a key.
using Entries = std::map<std::pair<std::string, std::string>, std::string>;

constexpr const char* sections[] = {"Image", "Image_X", "Image_XHEAD", "PerformedSteps"};
constexpr const char* keys[] = {"Creation Time", "Source",   "Software", "Author",     "bits",
                                "Offset_X",      "SlotMask", "Rotation", "Pixelsize",  "Scale",
                                "MaxPix",        "AvgPix",   "ModeUuid", "MaxPixValue"};

/// One of the known names or any text.
template <std::size_t count>
std::string name(Input& in, const char* const (&known)[count]) {
    const std::uint8_t choice = in.byte();
    return choice < 192 ? known[choice % count] : in.text();
}

std::string stamp(Input& in) {
    constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    char text[64];
    std::snprintf(text, sizeof text, "Fri, %02d %s %04d %02d:%02d:%02d GMT", in.byte() % 32,
                  in.oneOf(months), 1997 + in.word() % 8000, in.byte() % 24, in.byte() % 60,
                  in.byte() % 60);
    return text;
}

std::string value(Input& in) {
    const std::uint8_t way = in.byte();
    if (way < 64) return std::to_string(static_cast<std::int32_t>(in.longWord()));
    if (way < 96) return stamp(in);
    if (way < 112) return std::to_string(in.word());
    return in.text();
}

/// Steps that change the metadata; what they set is remembered.
void changeMetaData(const ImageOwner& owner, Entries& entries, Input& in) {
    for (int steps = in.byte() % 32; steps > 0; --steps) {
        const std::uint8_t way = in.byte();
        if (way >= 240) {
            require(LumoAddPerformedStep(owner.image, in.text().c_str()) == 0, "a step is added");
            // It may replace an entry of a key beyond four digits.
            std::erase_if(entries,
                          [](const auto& one) { return one.first.first == "PerformedSteps"; });
            continue;
        }
        const std::string section = name(in, sections), key = name(in, keys), text = value(in);
        const bool remove = way >= 224;
        require(LumoSetMetaEntry(owner.image, section.c_str(), key.c_str(),
                                 remove ? nullptr : text.c_str()) == 0,
                "any entry can be set or removed");
        entries[{section, key}] = remove ? "" : text.substr(0, longestValue);
    }
}

void requireEntries(const ImageOwner& owner, const Entries& entries, const char* what) {
    for (const auto& [entry, text] : entries)
        require(owner.entry(entry.first.c_str(), entry.second.c_str()) == text, what);
}

/// An image read from files with the given extended header, its raster the rest of the input.
void createImage(ImageOwner& owner, Entries& entries, Input& in) {
    const std::uint16_t width = static_cast<std::uint16_t>(1 + in.byte() % 40);
    const std::uint16_t height = static_cast<std::uint16_t>(1 + in.byte() % 40);
    const std::uint32_t pitchX = in.longWord(), pitchY = in.longWord();
    const Bytes body = in.bytes(in.word());
    Bytes info(101), pixels(4 + std::size_t{width} * height * 2);
    for (const std::size_t side : {4U, 8U}) setLittleEndian(info, side, 4, 1);
    for (const std::size_t pitch : {12U, 16U}) setLittleEndian(info, pitch, 4, 100000);
    setLittleEndian(info, 26, 2, 2008);
    info[28] = 12;
    setLittleEndian(info, 97, 4, static_cast<std::uint32_t>(body.size()));
    info.insert(info.end(), body.begin(), body.end());
    setLittleEndian(pixels, 0, 2, width);
    setLittleEndian(pixels, 2, 2, height);
    writeFile(fileNamed("made.xyz"), pixels);
    writeFile(fileNamed("made.txt"), info);
    require(LumoReadImage(&owner.image, fileNamed("made.xyz").c_str()) == 0, "a made file is read");
    require(owner.extHeader() == body, "the extended header comes byte for byte");
    owner->pixelsizeX = pitchX;
    owner->pixelsizeY = pitchY;
    changeMetaData(owner, entries, in);
    requireEntries(owner, entries, "an entry is as it was set");
    const Bytes pattern = in.rest();
    for (std::size_t i = 0; i < std::size_t{width} * height && !pattern.empty(); ++i)
        owner->data[i] = static_cast<std::uint16_t>(pattern[i % pattern.size()] * 257 + i);
}

void throughPng(const ImageOwner& owner, const Entries& entries) {
    const std::string file = fileNamed("a.png");
    const int code = LumoWriteImage(owner.image, file.c_str(), FormatAuto);
    const auto writable = [](std::uint32_t pitch) { return 0 < pitch && pitch <= 1000000000; };
    const bool possible = writable(owner->pixelsizeX) && writable(owner->pixelsizeY);
    require(code == (possible ? LumoOk : LumoErrorImage), "only a pitch can prevent a PNG file");
    if (!possible) return;
    const Bytes bytes = readFile(file);
    require(LumoWriteImage(owner.image, file.c_str(), FormatPng) == 0 && readFile(file) == bytes,
            "a PNG file is the same each time");

    ImageOwner again;
    require(LumoReadImage(&again.image, file.c_str()) == 0, "a PNG file is read");
    requireSound(again.image);
    requireSameRaster(owner, again, "PNG keeps the raster");
    require(again->pixelsizeX == asPngKeepsPitch(owner->pixelsizeX) &&
                again->pixelsizeY == asPngKeepsPitch(owner->pixelsizeY),
            "PNG keeps the pitch within a pixel per metre");
    requireEntries(again, entries, "PNG keeps the entries");
    require(again.extHeader() == owner.extHeader(), "PNG keeps the extended header");
    requireSameEntries(asPngKeeps(owner.metaData()), again.metaData(), "PNG keeps all metadata");
    // From here on nothing changes any more.
    require(LumoWriteImage(again.image, file.c_str(), FormatPng) == 0, "it is written again");
    const Bytes second = readFile(file);
    ImageOwner third;
    require(LumoReadImage(&third.image, file.c_str()) == 0, "it is read again");
    require(third.metaData() == again.metaData(), "the metadata has settled");
    require(LumoWriteImage(third.image, file.c_str(), FormatPng) == 0 && readFile(file) == second,
            "so has the file");
}

/// Whether the stamp has fields that the header holds and readers accept.
bool isKept(const std::string& text) {
    int day = 0, year = 0, hour = 0, minute = 0, second = 0;
    char month[4] = "", canonical[64];
    const int count = std::sscanf(text.c_str(), "%*3c, %d %3s %d %d:%d:%d GMT", &day, month, &year,
                                  &hour, &minute, &second);
    std::snprintf(canonical, sizeof canonical, ", %02d %s %04d %02d:%02d:%02d GMT", day, month,
                  year, hour, minute, second);
    constexpr std::string_view months = "Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec";
    return count == 6 && text.size() == 29 && text.substr(3) == canonical && 0 <= day &&
           day <= 31 && 1997 <= year && 0 <= hour && hour <= 23 && 0 <= minute && minute <= 59 &&
           0 <= second && second <= 59 && months.find(month) % 4 == 0;
}

/// The whole number that an entry begins with.
long number(const ImageOwner& owner, const char* key, long fallback) {
    ini2 store(owner->metaData, owner->metaSize);
    long result = 0;
    store.get("Image_X", key, &result, fallback);
    return result;
}

void throughXyz(const ImageOwner& owner) {
    const std::string file = fileNamed("a.xyz"), infoFile = fileNamed("a.txt");
    const std::string created = owner.entry("Image", "Creation Time");
    require(LumoWriteImage(owner.image, file.c_str(), FormatAuto) == 0, "any XYZ file is written");
    const Bytes bytes = readFile(file), info = readFile(infoFile);
    const bool timeIsKept = isKept(created);
    require(LumoWriteImage(owner.image, file.c_str(), FormatXyz) == 0 && readFile(file) == bytes,
            "a pixel file is the same each time");
    if (timeIsKept) require(readFile(infoFile) == info, "so is an information file");

    ImageOwner again;
    const int code = LumoReadImage(&again.image, file.c_str());
    require(code == (isAcceptable(info) ? LumoOk : LumoErrorInfoInvalid), "codes are as predicted");
    requireSameRaster(owner, again, "XYZ keeps the raster");
    if (code != LumoOk) return;
    require(again->pixelsizeX == owner->pixelsizeX && again->pixelsizeY == owner->pixelsizeY,
            "XYZ keeps the pitch");
    require(again.extHeader() == owner.extHeader(), "XYZ keeps the extended header");
    if (timeIsKept)
        require(again.entry("Image", "Creation Time") == "XXX" + created.substr(3),
                "XYZ keeps the time but for the day's name");
    const std::string source = owner.entry("Image", "Source").substr(0, 32);
    const std::string newSource = again.entry("Image", "Source");
    require(newSource == source || (source.empty() && newSource == "Unknown"),
            "XYZ keeps 32 characters of the source");
    const struct {
        const char* key;
        unsigned long mask;
        long fallback;
    } fields[] = {{"bits", 255, 16},         {"SlotMask", 255, 0},       {"Rotation", 255, 0},
                  {"MaxPix", 65535, 0},      {"AvgPix", 65535, 0},       {"ModeUuid", 255, 0},
                  {"MaxPixValue", 65535, 0}, {"Offset_X", 0xFFFFFFFF, 0}};
    for (const auto& field : fields) {
        const auto low = static_cast<unsigned long>(number(owner, field.key, field.fallback));
        require(again.entry("Image_X", field.key) == std::to_string(low & field.mask),
                "XYZ keeps the low bits of the numbers");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    ImageOwner owner;
    Entries entries;
    createImage(owner, entries, in);
    throughPng(owner, entries);
    throughXyz(owner);
    return 0;
}
