// Options for files of other formats, as verbs declare them.
#include "cli/files/import_options.h"

namespace lumo::cli {

namespace {

/// A dump's options with values; what they mean is checked with the sidecar's.
constexpr struct {
    const char *name, *help;
} dumpOptions[] = {{"width", "Pixels in a row of the dump"},
                   {"height", "Rows of a frame"},
                   {"bits", "Bits of a value, 1 to 16; up to 8 in bytes, more in words of 16"},
                   {"high-bit", "Highest of them in the word; else bits - 1"},
                   {"endian", "Order of a word's bytes: little or big"},
                   {"offset", "Bytes before the first row"},
                   {"stride", "Bytes from row to row; else width x bytes of a word"}};

}  // namespace

void addImportOptions(CLI::App& verb, ImportOptions& options) {
    verb.add_option("--from", options.from,
                    "What the file is, whatever it looks like; dump: words without a header")
        ->check(CLI::IsMember({"auto", "dicom", "tiff", "dump"}));
    verb.add_option("--frame", options.frame, "Frame or page of several, from 1")
        ->check(CLI::PositiveNumber);
    verb.add_option("--pitch-from", options.pitchFrom,
                    "DICOM: pitch at the detector (default) or at the object")
        ->check(CLI::IsMember({"detector", "object"}));
    verb.add_flag("--monochrome2", options.monochrome2,
                  "Turn values where small ones are meant bright");
    verb.add_option("--keep", options.keep,
                    "DICOM: keep identifying elements too: device,dates,uids,people or all");
    for (const auto& [name, help] : dumpOptions)
        verb.add_option(std::string("--") + name, options.dump[name], std::string("Dump: ") + help);
    verb.add_flag_callback(
        "--signed", [&options] { options.dump["signed"] = "yes"; }, "Dump: values have a sign");
    verb.add_option("--sidecar", options.sidecar, "Dump: a file that describes it");
}

}  // namespace lumo::cli
