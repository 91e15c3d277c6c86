// Image files written under a name that the user chose: which format, which files, what gets lost.
#pragma once

#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/files/export.h"
#include "cli/files/names.h"
#include "cli/files/output.h"
#include "cli/library.h"

namespace lumo::cli {

/// The options of every verb that writes an image file.
struct OutputOptions {
    std::string file, formatName;
    bool force = false;
    ExportOptions foreign;  ///< for files of other formats
};

/// Declares OUT, --format and --force.
void addOutputOptions(CLI::App& verb, OutputOptions& options);
/// Declares the options of formats of others: --compression, and those of DICOM.
void addForeignOptions(CLI::App& verb, OutputOptions& options);
/// Declares --force alone.
void addForceOption(CLI::App& verb, bool& force);

/// The extension that goes with a format of --format; empty for none.
[[nodiscard]] std::string extensionFor(const std::string& formatName);

/// The files that an image of this name consists of: beside PNG an information file belongs to it.
[[nodiscard]] std::vector<std::string> partsOf(const std::string& file);

/// Our own formats by their numbers, and those of others.
enum class FileFormat {
    png = FormatPng,
    xyz = FormatXyz,
    xyz8 = FormatXyz8,
    raw = FormatRaw,
    txt = FormatTxt,
    tiff = 100,
    dicom,
    dump
};

/// An image file to come.
class ImageOutput {
public:
    /// Throws a usage error where the library would write something else than the name and the
    /// format promise, and a CommandError if the place is taken or cannot be written to.
    explicit ImageOutput(const OutputOptions& options);

    /// The names that the files will have, without their folder; the user's own is the last.
    [[nodiscard]] std::vector<std::string> names() const;
    [[nodiscard]] const std::string& folder() const { return path_.folder; }

    /// Writes the image and reports what the format does not hold of it.
    void save(lmImage* image);

private:
    void write(lmImage* image, const StagedOutput& staged, const std::string& name,
               ImageFormat format);
    void saveXyz(lmImage* image);
    void savePng(lmImage* image);
    void saveForeign(lmImage* image);

    std::string file_;
    SplitPath path_;
    bool force_;
    FileFormat format_;
    ExportOptions foreign_;
};

}  // namespace lumo::cli
