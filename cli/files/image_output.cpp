// The names of formats, and the files that each writes.
#include "cli/files/image_output.h"

#include "cli/files/losses.h"
#include "cli/files/pitch.h"
#include "cli/messages.h"

namespace lumo::cli {

namespace {

/// Names for --format; those that are extensions too choose it when the option is missing.
constexpr struct {
    const char* name;
    ImageFormat format;
    bool isExtension;
} formats[] = {{"png", FormatPng, true},
               {"xyz", FormatXyz, true},
               {"xyz8", FormatXyz8, false},
               {"raw", FormatRaw, true},
               {"txt", FormatTxt, true}};

constexpr const char* formatNames = "png, xyz, xyz8, raw or txt";

bool isStandardOutput(const OutputOptions& options) {
    return options.file == standardStream;
}

ImageFormat chooseFormat(const OutputOptions& options) {
    if (isStandardOutput(options)) {
        if (options.formatName.empty() || options.formatName == "png") return FormatPng;
        throw usageError("--format " + options.formatName +
                         ": an XYZ image is two files and cannot go to standard output");
    }
    for (const auto& [name, format, isExtension] : formats) {
        const bool chosen = options.formatName.empty()
                                ? isExtension && hasExtension(options.file, name)
                                : options.formatName == name;
        if (chosen) return format;
    }
    throw usageError(options.file + ": no format has this extension; choose one with --format (" +
                     formatNames + ')');
}

/// The library finds an information file by its extension "txt" in place of the image's three
/// letters, and takes a name that ends in "txt" for that file itself.
void checkName(const OutputOptions& options, ImageFormat format, const std::string& extension) {
    if (format == FormatPng) return;
    const bool isInfoName = extension == "txt";
    if (format == FormatTxt && !isInfoName)
        throw usageError(options.file + ": the name of an information file ends in .txt");
    if (format != FormatTxt && isInfoName)
        throw usageError(options.file + ": the pixel file needs another extension than .txt");
    if (extension.size() != 3)
        throw usageError(options.file +
                         ": an extension of three letters is needed to name the information file");
}

}  // namespace

std::string extensionFor(const std::string& formatName) {
    return formatName.substr(0, 3);  // xyz8 differs inside only
}

std::vector<std::string> partsOf(const std::string& file) {
    const std::string extension = extensionOf(file);
    if (hasExtension(file, "png") || extension.size() != 3 || extension == "txt") return {file};
    return {file, withLastThree(file, "txt")};
}

void addForceOption(CLI::App& verb, bool& force) {
    verb.add_flag("--force", force, "Replace existing files");
}

void addOutputOptions(CLI::App& verb, OutputOptions& options) {
    verb.add_option("OUT", options.file, "Image file to write; its extension chooses the format")
        ->required();
    std::vector<std::string> names;
    for (const auto& format : formats) names.emplace_back(format.name);
    verb.add_option("--format", options.formatName,
                    "Format, whatever the extension (xyz8: 8 bits a pixel; txt: the information "
                    "file of an XYZ image alone)")
        ->check(CLI::IsMember(names));
    addForceOption(verb, options.force);
}

ImageOutput::ImageOutput(const OutputOptions& options)
    : file_(options.file),
      path_(options.file),
      force_(options.force),
      format_(chooseFormat(options)) {
    checkName(options, format_, extensionOf(path_.name));
    requirePlace(path_.folder, names(), force_);
}

std::vector<std::string> ImageOutput::names() const {
    if (format_ == FormatPng || format_ == FormatTxt) return {path_.name};
    return {withLastThree(path_.name, "txt"), path_.name};
}

void ImageOutput::save(lmImage* image) {
    if (format_ == FormatPng)
        savePng(image);
    else
        saveXyz(image);
}

void ImageOutput::savePng(lmImage* image) {
    StagedOutput staged(path_.folder, names(), {}, force_);
    write(image, staged, path_.name, FormatPng);
    reportPngLosses(image, file_);
    staged.publish();
}

void ImageOutput::write(lmImage* image, const StagedOutput& staged, const std::string& name,
                        ImageFormat format) {
    const int code = LumoWriteImage(image, staged.pathOf(name).c_str(), format);
    if (code < 0) throw staged.writingError(code, name);
}

void ImageOutput::saveXyz(lmImage* image) {
    const bool alone = format_ == FormatTxt;
    // Alone, an information file cannot be read back: pixels that are dropped go with it.
    const std::string pixels = alone ? withLastThree(path_.name, "xyz") : path_.name;
    std::vector<std::string> scratch;
    if (alone) scratch.push_back(pixels);
    StagedOutput staged(path_.folder, names(), scratch, force_);
    {
        const PitchInExtendedHeader marked(image, file_);
        if (alone) write(image, staged, pixels, FormatXyz);
        write(image, staged, path_.name, format_);
    }
    if (format_ == FormatXyz8)
        printNote(file_, "lossy", "8-bit XYZ is lossy, it keeps 256 steps of grey");
    reportXyzLosses(image, staged.pathOf(pixels), file_);
    staged.publish();
}

}  // namespace lumo::cli
