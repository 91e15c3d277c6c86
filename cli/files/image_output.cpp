// The names of formats, and the files that each writes.
#include "cli/files/image_output.h"

#include "cli/files/losses.h"
#include "cli/files/pitch.h"
#include "cli/messages.h"

namespace lumo::cli {

namespace {

/// Names for --format, and extensions that choose one when the option is missing.
constexpr struct {
    const char* name;
    FileFormat format;
    bool isName, isExtension;
} formats[] = {{"png", FileFormat::png, true, true},    {"xyz", FileFormat::xyz, true, true},
               {"xyz8", FileFormat::xyz8, true, false}, {"raw", FileFormat::raw, true, true},
               {"txt", FileFormat::txt, true, true},    {"tiff", FileFormat::tiff, true, true},
               {"tif", FileFormat::tiff, false, true},  {"dicom", FileFormat::dicom, true, true},
               {"dcm", FileFormat::dicom, false, true}, {"dump", FileFormat::dump, true, false}};

constexpr const char* formatNames = "png, xyz, xyz8, raw, txt, tiff, dicom or dump";

bool isForeign(FileFormat format) {
    return format == FileFormat::tiff || format == FileFormat::dicom || format == FileFormat::dump;
}

/// The format that the name's extension chooses; null for none.
const FileFormat* formatByExtension(const std::string& name) {
    for (const auto& row : formats)
        if (row.isExtension && hasExtension(name, row.name)) return &row.format;
    return nullptr;
}

/// The name of the file beside a dump.
std::string sidecarOf(const std::string& name) {
    const std::string extension = extensionOf(name);
    return name.substr(0, name.size() - extension.size()) + (extension.empty() ? ".ini" : "ini");
}

bool isStandardOutput(const OutputOptions& options) {
    return options.file == standardStream;
}

FileFormat chooseFormat(const OutputOptions& options) {
    const std::string& chosen = options.formatName;
    if (isStandardOutput(options)) {
        if (chosen.empty() || chosen == "png") return FileFormat::png;
        if (chosen == "tiff") return FileFormat::tiff;
        if (chosen == "dicom") return FileFormat::dicom;
        throw usageError("--format " + chosen +
                         ": the image is two files and cannot go to standard output");
    }
    for (const auto& row : formats)
        if (row.isName && chosen == row.name) return row.format;
    if (const FileFormat* const format = formatByExtension(options.file)) return *format;
    throw usageError(options.file + ": no format has this extension; choose one with --format (" +
                     formatNames + ')');
}

/// The library finds an information file by its extension "txt" in place of the image's three
/// letters, and takes a name that ends in "txt" for that file itself.
void checkName(const OutputOptions& options, FileFormat format, const std::string& extension) {
    if (format == FileFormat::dump && extension == "ini")
        throw usageError(options.file + ": the dump needs another extension than .ini");
    if (format == FileFormat::png || isForeign(format)) return;
    const bool isInfoName = extension == "txt";
    if (format == FileFormat::txt && !isInfoName)
        throw usageError(options.file + ": the name of an information file ends in .txt");
    if (format != FileFormat::txt && isInfoName)
        throw usageError(options.file + ": the pixel file needs another extension than .txt");
    if (extension.size() != 3)
        throw usageError(options.file +
                         ": an extension of three letters is needed to name the information file");
}

}  // namespace

std::string extensionFor(const std::string& formatName) {
    if (formatName == "dicom") return "dcm";
    if (formatName == "dump") return "bin";
    return formatName.substr(0, 3);  // xyz8 differs inside only
}

std::vector<std::string> partsOf(const std::string& file) {
    const std::string extension = extensionOf(file);
    const FileFormat* const format = formatByExtension(file);
    const bool alone = format != nullptr && (*format == FileFormat::png || isForeign(*format));
    if (hasExtension(file, "bin")) return {file, sidecarOf(file)};
    if (alone || extension.size() != 3 || extension == "txt") return {file};
    return {file, withLastThree(file, "txt")};
}

void addForceOption(CLI::App& verb, bool& force) {
    verb.add_flag("--force", force, "Replace existing files");
}

void addOutputOptions(CLI::App& verb, OutputOptions& options) {
    verb.add_option("OUT", options.file, "Image file to write; its extension chooses the format")
        ->required();
    std::vector<std::string> names;
    for (const auto& format : formats)
        if (format.isName) names.emplace_back(format.name);
    verb.add_option("--format", options.formatName,
                    "Format, whatever the extension (xyz8: 8 bits a pixel; txt: the information "
                    "file of an XYZ image alone; dump: words without a header, and an INI file)")
        ->check(CLI::IsMember(names));
    addForceOption(verb, options.force);
}

void addForeignOptions(CLI::App& verb, OutputOptions& options) {
    ExportOptions& foreign = options.foreign;
    verb.add_option("--compression", foreign.compression,
                    "TIFF: none (default), lzw, deflate or packbits; DICOM: none (default), rle, "
                    "jpeg-lossless or jpeg-ls");
    for (const char* name : {"sop", "intensity"})
        verb.add_option_function<std::string>(
            std::string("--") + name,
            [&foreign, name](const std::string& value) {
                foreign.dicom.push_back(std::string(name) + '=' + value);
            },
            name == std::string_view("sop")
                ? "DICOM: the object's class: sc, cr, dx or dx-processing"
                : "DICOM: lin+, lin-, log+ or log-");
    verb.add_option("--like", foreign.original,
                    "DICOM: everything but the picture is taken from this file");
}

ImageOutput::ImageOutput(const OutputOptions& options)
    : file_(options.file),
      path_(options.file),
      force_(options.force),
      format_(chooseFormat(options)),
      foreign_(options.foreign) {
    checkName(options, format_, extensionOf(path_.name));
    requirePlace(path_.folder, names(), force_);
}

std::vector<std::string> ImageOutput::names() const {
    if (format_ == FileFormat::dump) return {sidecarOf(path_.name), path_.name};
    if (format_ == FileFormat::png || format_ == FileFormat::txt || isForeign(format_))
        return {path_.name};
    return {withLastThree(path_.name, "txt"), path_.name};
}

void ImageOutput::save(lmImage* image) {
    if (format_ == FileFormat::png)
        savePng(image);
    else if (isForeign(format_))
        saveForeign(image);
    else
        saveXyz(image);
}

void ImageOutput::savePng(lmImage* image) {
    StagedOutput staged(path_.folder, names(), {}, force_);
    write(image, staged, path_.name, FormatPng);
    reportPngLosses(image, file_);
    staged.publish();
}

void ImageOutput::saveForeign(lmImage* image) {
    StagedOutput staged(path_.folder, names(), {}, force_);
    const std::string path = staged.pathOf(path_.name);
    const std::vector<std::string> notes =
        format_ == FileFormat::dump
            ? exportDump(image, path, staged.pathOf(sidecarOf(path_.name)), file_)
            : exportByHelper(format_ == FileFormat::tiff ? tiffHelper : dicomHelper, image, path,
                             shownName(file_), foreign_);
    for (const std::string& note : notes) printNote(file_, note, note);
    staged.publish();
}

void ImageOutput::write(lmImage* image, const StagedOutput& staged, const std::string& name,
                        ImageFormat format) {
    const int code = LumoWriteImage(image, staged.pathOf(name).c_str(), format);
    if (code < 0) throw staged.writingError(code, name);
}

void ImageOutput::saveXyz(lmImage* image) {
    const bool alone = format_ == FileFormat::txt;
    // Alone, an information file cannot be read back: pixels that are dropped go with it.
    const std::string pixels = alone ? withLastThree(path_.name, "xyz") : path_.name;
    std::vector<std::string> scratch;
    if (alone) scratch.push_back(pixels);
    StagedOutput staged(path_.folder, names(), scratch, force_);
    {
        const PitchInExtendedHeader marked(image, file_);
        if (alone) write(image, staged, pixels, FormatXyz);
        write(image, staged, path_.name, static_cast<ImageFormat>(format_));
    }
    if (format_ == FileFormat::xyz8)
        printNote(file_, "lossy", "8-bit XYZ is lossy, it keeps 256 steps of grey");
    reportXyzLosses(image, staged.pathOf(pixels), file_);
    staged.publish();
}

}  // namespace lumo::cli
