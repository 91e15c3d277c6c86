// The verb `info`: geometry, pitch, pixel statistics and metadata, as a table or as JSON.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/files/inputs.h"
#include "cli/json.h"
#include "cli/library.h"
#include "cli/metadata.h"
#include "cli/raster.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

constexpr double nanometresPerMillimetre = 1e6;

/// All that is told of one image.
struct Facts {
    std::string file;
    std::string format;
    std::uint32_t width, height, pitchX, pitchY;
    std::uint16_t avgPix, maxPix, equivLow, equivHigh;
    RasterSummary raster;
    std::vector<MetaEntry> metadata;
    std::string extendedHeader;
};

Facts gather(const std::string& file) {
    const auto [image, format] = readFile(file);
    Facts facts{};
    facts.file = file;
    facts.format = format;
    check(LumoGetGeometry(image.get(), &facts.width, &facts.height, &facts.pitchX, &facts.pitchY),
          file);
    check(LumoGetDoseEquiv(image.get(), &facts.avgPix, &facts.maxPix, &facts.equivLow,
                           &facts.equivHigh),
          file);
    facts.raster = summarize(*image);
    facts.metadata = readMetadata(image.get());
    facts.extendedHeader = extendedHeader(image.get());
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

void printTable(const Facts& facts) {
    char line[512];
    std::snprintf(line, sizeof line,
                  "  format   %s\n"
                  "  size     %u x %u pixels\n"
                  "  pitch    %u x %u nm (%.6g x %.6g mm)\n"
                  "  pixels   minimum %u, maximum %u, mean %.3f, CRC-32 %s\n"
                  "  recorded maximum %u, average %u; dose equivalent %u to %u\n",
                  facts.format.c_str(), facts.width, facts.height, facts.pitchX, facts.pitchY,
                  facts.pitchX / nanometresPerMillimetre, facts.pitchY / nanometresPerMillimetre,
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

void writeJson(JsonWriter& json, const Facts& facts) {
    json.beginObject();
    json.entry("file", facts.file);
    json.entry("format", facts.format);
    json.entry("width", facts.width);
    json.entry("height", facts.height);
    json.entry("pixelsizeX", facts.pitchX);  // nanometres
    json.entry("pixelsizeY", facts.pitchY);
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
    if (!facts.extendedHeader.empty()) {
        json.key("extendedHeader");
        json.beginObject();
        json.entry("size", static_cast<std::int64_t>(facts.extendedHeader.size()));
        json.entry("text", facts.extendedHeader);
        json.end();
    }
    json.end();
}

struct Options {
    std::vector<std::string> files;
    bool asJson = false;
};

Status run(const Options& options) {
    JsonWriter json(std::cout);
    if (options.asJson) json.beginArray();
    const Status status = forEach(options.files, [&](const std::string& file) {
        const Facts facts = gather(file);
        if (options.asJson)
            writeJson(json, facts);
        else
            printTable(facts);
    });
    if (options.asJson) json.end();
    return status;
}

}  // namespace

Work setUpInfo(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addInputOption(verb, options->files);
    verb.add_flag("--json", options->asJson, "An array with one object a file");
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
