// The step `calibrate`: a picture corrected by a gain table, whose file the history names with its
// checksum.
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "calibration/gain_table.h"
#include "image/view.h"
#include "platform/file.h"
#include "steps/correction.h"
#include "steps/history.h"
#include "steps/table.h"
#include "steps/words.h"

namespace lumo {
namespace {

constexpr StepOption options[] = {
    {.name = "TABLE",
     .type = LumoOptionFile,
     .flags = LumoOptionRequired | LumoOptionPositional,
     .value = "TABLE",
     .summary = "Calibration file"},
    {.name = "crc",
     .type = LumoOptionText,
     .value = "CRC",
     .summary = "CRC-32 of the file, eight hexadecimal digits; another table is refused"},
    {.name = "partial",
     .type = LumoOptionFlag,
     .summary = "Also a table of other sides: correct the pixels that it covers"},
};

void check(const StepArguments& arguments, LumoStepReport& report) {
    const std::string crc = arguments.text("crc");
    if (crc.empty() ||
        (crc.size() == 8 && crc.find_first_not_of("0123456789abcdef") == std::string::npos))
        return;
    refuse(report, LumoErrorParameter,
           "calibrate: --crc " + quotedWord(crc) + ": not eight hexadecimal digits");
}

[[noreturn]] void refuseFile(const StepArguments& arguments, LumoStepReport& report, int code,
                             const std::string& reason) {
    refuse(report, code, "calibrate: " + quotedWord(arguments.text("TABLE")) + ": " + reason);
}

/// Refuses what is no whole calibration file. A pipe would not be there for a second reading, and
/// opening it could wait for ever.
GainTableReader openTable(const StepArguments& arguments, LumoStepReport& report) {
    const std::string name = arguments.text("TABLE");
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(name, error);
    if (exists(status) && !is_regular_file(status))
        refuseFile(arguments, report, LumoErrorOpen, "a folder, a pipe or a device");
    if (!exists(status)) refuseFile(arguments, report, LumoErrorOpen, error.message());
    errno = 0;
    FilePtr file = openFile(name.c_str(), "rb");
    if (!file)
        refuseFile(arguments, report, LumoErrorOpen,
                   errno != 0 ? std::generic_category().message(errno)
                              : "a name of more than 1023 characters");
    GainTableReader reader(std::move(file));
    if (!reader.isTable())
        refuseFile(arguments, report, LumoErrorFile, "cut short, or no calibration file");
    return reader;
}

/// The checksum of the file, read to its end; refuses another than the text asks for.
std::string readToEnd(GainTableReader& reader, const StepArguments& arguments,
                      LumoStepReport& report) {
    const std::optional<std::uint32_t> sum = reader.checksum();
    if (!sum) refuseFile(arguments, report, LumoErrorFile, "cannot be read to its end");
    char text[9];
    std::snprintf(text, sizeof text, "%08x", static_cast<unsigned>(*sum));
    const std::string wanted = arguments.text("crc");
    if (!wanted.empty() && wanted != text)
        refuseFile(arguments, report, LumoErrorFile,
                   "another table than the one meant: its CRC-32 is " + std::string(text) +
                       ", not " + wanted);
    return text;
}

void checkFiles(const StepArguments& arguments, LumoStepReport& report) {
    GainTableReader reader = openTable(arguments, report);
    readToEnd(reader, arguments, report);
}

void requireSize(const StepWork& work, const CalibrationHeader& header) {
    const bool same = header.width == work.image.width && header.height == work.image.height;
    if (same || work.arguments.has("partial")) return;
    refuseFile(work.arguments, work.report, LumoErrorImage,
               "a table of " + std::to_string(header.width) + " x " +
                   std::to_string(header.height) + " pixels does not fit the picture of " +
                   work.size() + "; --partial corrects what it covers");
}

/// Names are compared without their folders: a history may have been written in another one.
bool sameTable(const StepArguments& a, const StepArguments& b) {
    const auto bare = [](const std::string& name) { return name.substr(name.rfind('/') + 1); };
    return (a.has("crc") && a.text("crc") == b.text("crc")) ||
           bare(a.text("TABLE")) == bare(b.text("TABLE"));
}

void noteIfRepeated(const StepWork& work, const StepArguments& recorded) {
    for (const RecordedStep& step : recordedSteps(work.image)) {
        const std::optional<StepArguments> earlier = stepOf(step.text);
        if (!earlier || &earlier->step() != &calibrateStep) continue;
        if (!sameTable(*earlier, recorded)) continue;
        return work.report.notes.push_back("already corrected with this calibration (" +
                                           quotedWord(earlier->text("TABLE")) + ')');
    }
}

void apply(const StepWork& work) {
    GainTableReader reader = openTable(work.arguments, work.report);
    requireSize(work, reader.header());
    const Target target = viewOf(work.target());
    const std::optional<CorrectionCounts> counts =
        reader.correct(asSource(viewOf(work.source())), target);
    if (!counts)
        refuseFile(work.arguments, work.report, LumoErrorFile, "cannot be read to its end");
    const std::string sum = readToEnd(reader, work.arguments, work.report);
    const StepArguments recorded = work.arguments.with("crc", sum);
    work.result.recorded = recorded.normalForm();
    noteIfRepeated(work, recorded);
    work.report.count("corrected", "pixels corrected", counts->corrected);
    work.report.count("beyondTable", "left as they were, beyond the table", counts->beyondTable);
    work.report.count("atLowestGain", "at the lowest gain", counts->atLowestGain);
    work.report.count("atHighestGain", "at the highest gain", counts->atHighestGain);
    work.report.count("clamped", "clamped at 65535", counts->clamped);
}

}  // namespace

constinit const Step calibrateStep = {
    .name = "calibrate",
    .summary = "Correct by a gain table",
    .effect = "Each pixel is multiplied by its gain, cut, at most 65535.",
    .examples = "calibrate gains.cal",
    .flags = LumoStepRepeatable | LumoStepLinear | LumoStepHarmless,
    .options = options,
    .check = check,
    .checkFiles = checkFiles,
    .apply = apply,
};

}  // namespace lumo
