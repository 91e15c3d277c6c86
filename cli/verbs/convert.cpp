// The verb `convert`: reads an image, changes metadata, writes it in a format of choice.
#include <memory>
#include <vector>

#include "cli/files/image_output.h"
#include "cli/files/import_options.h"
#include "cli/files/inputs.h"
#include "cli/files/pitch.h"
#include "cli/library.h"
#include "cli/metadata.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct Options {
    std::string input;
    ImportOptions import;
    OutputOptions output;
    int level = -1;  // of compression; below 0: the library's own
    std::vector<std::string> settings, dropped;
    std::string pitch;
};

/// "section/key=value"; a section has no '/', a key no '='.
MetaEntry parseSetting(const std::string& text) {
    const std::size_t slash = text.find('/');
    const std::size_t equals = slash == std::string::npos ? slash : text.find('=', slash);
    if (slash == 0 || equals == std::string::npos || equals == slash + 1)
        throw usageError("--set " + text + ": not of the form section/key=value");
    return {text.substr(0, slash), text.substr(slash + 1, equals - slash - 1),
            text.substr(equals + 1)};
}

/// Takes a whole section out of the metadata.
void dropSection(lmImage* image, const std::string& section, const std::string& file) {
    for (const MetaEntry& entry : readMetadata(image, file))
        if (entry.section == section)
            check(LumoSetMetaEntry(image, section.c_str(), entry.key.c_str(), nullptr), file);
}

Status run(const Options& options) {
    const std::string& file = options.output.file;
    std::vector<MetaEntry> settings;
    for (const std::string& text : options.settings) settings.push_back(parseSetting(text));
    const std::optional<Pitch> pitch = parsePitch(options.pitch);
    checkImportOptions(options.import);
    ImageOutput output(options.output);

    ImportOptions import = options.import;
    import.pitchGiven = pitch.has_value();
    const ImageHandle image = readImage(options.input, import);
    for (const std::string& section : options.dropped) dropSection(image.get(), section, file);
    for (const auto& [section, key, value] : settings)
        check(LumoSetMetaEntry(image.get(), section.c_str(), key.c_str(), value.c_str()), file);
    if (pitch) setPitch(image.get(), *pitch, file);
    if (options.level >= 0) check(LumoSetWriteCompressionLevel(options.level), file);
    output.save(image.get());
    return done;
}

}  // namespace

Work setUpConvert(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addInputOption(verb, options->input);
    addOutputOptions(verb, options->output);
    addForeignOptions(verb, options->output);
    addImportOptions(verb, options->import);
    verb.add_option("--level", options->level, "Compression of PNG: 0 none, 9 strongest; else 6")
        ->check(CLI::Range(0, 9));
    verb.add_option("--set", options->settings, "Set a metadata entry: section/key=value")
        ->allow_extra_args(false);
    verb.add_option("--drop-section", options->dropped, "Leave a section of the metadata out")
        ->allow_extra_args(false);
    addPitchOption(verb, options->pitch);
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
