// The verb `info`: geometry, pitch, pixel statistics and metadata, as a table or as JSON.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/files/inputs.h"
#include "cli/files/pitch.h"
#include "cli/library.h"
#include "cli/metadata.h"
#include "cli/raster.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

constexpr double nanometresPerMillimetre = 1e6;

/// All that is said of one image.
struct Facts {
    std::string file;
    std::string format;
    std::uint32_t width, height;
    Pitch pitch;
    bool pitchAssumed;
    std::uint16_t avgPix, maxPix, equivLow, equivHigh;
    RasterSummary raster;
    std::vector<MetaEntry> metadata;
    std::string extendedHeader;
};

Facts gather(const std::string& file) {
    ImportOptions options;
    options.firstFrame = true;
    const auto [image, format] = readFile(file, options);
    Facts facts{};
    facts.file = file;
    facts.format = format;
    const std::string frames = metaValue(image.get(), "Import", "Frames", file);
    if (!frames.empty())
        facts.format +=
            ", frame " + metaValue(image.get(), "Import", "Frame", file) + " of " + frames;
    check(LumoGetGeometry(image.get(), &facts.width, &facts.height, &facts.pitch.x, &facts.pitch.y),
          file);
    check(LumoGetDoseEquiv(image.get(), &facts.avgPix, &facts.maxPix, &facts.equivLow,
                           &facts.equivHigh),
          file);
    facts.pitchAssumed = isPitchAssumed(image.get(), file);
    facts.raster = summarize(*image);
    facts.metadata = readMetadata(image.get(), file);
    facts.extendedHeader = extendedHeader(image.get(), file);
    return facts;
}

std::string crcText(const Facts& facts) {
    char text[16];
    std::snprintf(text, sizeof text, "%08x", facts.raster.crc32);
    return text;
}

/// A value for the table: in one line, cut where it would fill the screen.
std::string shown(const std::string& value) {
    constexpr std::size_t most = 200;
    std::string text = printable(value.substr(0, most));
    if (value.size() > most) text += "... (" + std::to_string(value.size()) + " bytes)";
    return text;
}

void printMetadata(const std::vector<MetaEntry>& metadata) {
    std::size_t sectionWidth = 0, keyWidth = 0;
    for (const MetaEntry& entry : metadata) {
        sectionWidth = std::max(sectionWidth, shown(entry.section).size());
        keyWidth = std::max(keyWidth, shown(entry.key).size());
    }
    if (!metadata.empty()) std::cout << "  metadata\n";
    for (const MetaEntry& entry : metadata) {
        std::string section = shown(entry.section), key = shown(entry.key);
        section.resize(sectionWidth, ' ');
        key.resize(keyWidth, ' ');
        std::cout << "    " << section << "  " << key << "  " << shown(entry.value) << '\n';
    }
}

void printExtendedHeader(const std::string& body) {
    if (body.empty()) return;
    std::cout << "  extended header, " << body.size() << " bytes\n";
    constexpr int mostLines = 20;
    std::size_t begin = 0;
    for (int line = 0; line < mostLines && begin < body.size(); ++line) {
        const std::size_t end = std::min(body.find('\n', begin), body.size());
        std::cout << "    " << shown(body.substr(begin, end - begin)) << '\n';
        begin = end + 1;
    }
    if (begin < body.size()) std::cout << "    ...\n";
}

std::string pitchLine(const Facts& facts) {
    std::string line = pitchText(facts.pitch, facts.pitchAssumed);
    if (facts.pitchAssumed) return line;
    char text[64];
    std::snprintf(text, sizeof text, " (%.6g x %.6g mm)", facts.pitch.x / nanometresPerMillimetre,
                  facts.pitch.y / nanometresPerMillimetre);
    return line + text;
}

void printTable(const Facts& facts) {
    char line[512];
    std::snprintf(line, sizeof line,
                  "  format   %s\n"
                  "  size     %u x %u pixels\n"
                  "  pitch    %s\n"
                  "  pixels   minimum %u, maximum %u, mean %.3f, CRC-32 %s\n"
                  "  recorded maximum %u, average %u; dose equivalent %u to %u\n",
                  facts.format.c_str(), facts.width, facts.height, pitchLine(facts).c_str(),
                  facts.raster.minimum, facts.raster.maximum, facts.raster.mean,
                  crcText(facts).c_str(), facts.maxPix, facts.avgPix, facts.equivLow,
                  facts.equivHigh);
    std::cout << printable(facts.file) << '\n' << line;
    printMetadata(facts.metadata);
    printExtendedHeader(facts.extendedHeader);
}

void writeMetadata(JsonWriter& json, const std::vector<MetaEntry>& metadata) {
    json.key("metadata");
    json.beginObject();
    for (std::size_t i = 0; i < metadata.size(); ++i) {
        const bool newSection = i == 0 || metadata[i].section != metadata[i - 1].section;
        if (newSection && i > 0) json.end();
        if (newSection) {
            json.key(metadata[i].section);
            json.beginObject();
        }
        json.entry(metadata[i].key, metadata[i].value);
    }
    if (!metadata.empty()) json.end();
    json.end();
}

void writeExtendedHeader(JsonWriter& json, const std::string& body) {
    json.key("extendedHeader");
    if (body.empty()) return json.null();
    json.beginObject();
    json.entry("size", static_cast<std::int64_t>(body.size()));
    json.entry("text", body);
    json.end();
}

void writeJson(JsonWriter& json, const Facts& facts) {
    json.entry("format", facts.format);
    json.entry("width", facts.width);
    json.entry("height", facts.height);
    json.entry("pixelsizeX", facts.pitch.x);  // nanometres
    json.entry("pixelsizeY", facts.pitch.y);
    json.entry("pitch", pitchText(facts.pitch, facts.pitchAssumed));
    json.entry("maxPix", facts.maxPix);
    json.entry("avgPix", facts.avgPix);
    json.entry("equivLow", facts.equivLow);
    json.entry("equivHigh", facts.equivHigh);
    json.key("pixels");
    json.beginObject();
    json.entry("minimum", facts.raster.minimum);
    json.entry("maximum", facts.raster.maximum);
    json.entry("mean", facts.raster.mean, 3);
    json.entry("crc32", crcText(facts));
    json.end();
    writeMetadata(json, facts.metadata);
    writeExtendedHeader(json, facts.extendedHeader);
}

struct Options {
    std::vector<std::string> files;
    bool asJson = false;
};

Status run(const Options& options) {
    Records records(options.asJson);
    return forEachFile(options.files, records, [&](const std::string& file) {
        const Facts facts = gather(file);
        if (options.asJson)
            records.add(file, [&](JsonWriter& json) { writeJson(json, facts); });
        else
            printTable(facts);
    });
}

}  // namespace

Work setUpInfo(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addInputOption(verb, options->files);
    addJsonOption(verb, options->asJson);
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
