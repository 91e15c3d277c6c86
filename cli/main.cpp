// The program `lumo`: the table of verbs, and the one place where failures become exit statuses.
#include <exception>
#include <new>

#include "cli/command.h"
#include "cli/library.h"
#include "cli/messages.h"
#include "cli/system/standard_streams.h"

namespace lumo::cli {

Work setUpCalibrate(CLI::App&), setUpConvert(CLI::App&), setUpFilter(CLI::App&),
    setUpMirror(CLI::App&), setUpRotate(CLI::App&), setUpShear(CLI::App&), setUpHistory(CLI::App&),
    setUpInfo(CLI::App&), setUpPhantom(CLI::App&), setUpPreview(CLI::App&), setUpSheet(CLI::App&);
Work setUpStats(CLI::App&), setUpDose(CLI::App&), setUpHistogram(CLI::App&),
    setUpProfile(CLI::App&);
Work setUpWindow(CLI::App&), setUpEqualize(CLI::App&), setUpInvert(CLI::App&), setUpCrop(CLI::App&),
    setUpBin(CLI::App&), setUpDeflash(CLI::App&);
Work setUpQuality(CLI::App&), setUpAverage(CLI::App&), setUpBadPixels(CLI::App&);

namespace {

/// In the order of --help.
constexpr Verb verbs[] = {
    {"info", "Show what image files hold", setUpInfo},
    {"convert", "Write an image in another format, with changed metadata", setUpConvert},
    {"filter", "Run filter commands on an image", setUpFilter},
    {"history", "List the processing steps that an image went through", setUpHistory},
    {"rotate", "Turn an image by quarters, by any angle, or straight", setUpRotate},
    {"mirror", "Exchange left and right or top and bottom", setUpMirror},
    {"shear", "Turn approximately, in whole-pixel shears", setUpShear},
    {"calibrate", "Make a gain table, or correct an image by one", setUpCalibrate},
    {"preview", "Write an 8-bit picture to look at", setUpPreview},
    {"sheet", "Write images side by side into one picture", setUpSheet},
    {"phantom", "Make a synthetic radiograph", setUpPhantom},
    {"stats", "Measure the grey values of images and regions", setUpStats},
    {"histogram", "Count grey values, as numbers or as a picture", setUpHistogram},
    {"profile", "Means of a region's columns or rows, as numbers or as a picture", setUpProfile},
    {"dose", "Tell the dose indicator of images", setUpDose},
    {"quality", "Measure noise, contrast and sharpness", setUpQuality},
    {"average", "The mean of frames", setUpAverage},
    {"badpixels", "Find, list and mend bad pixels", setUpBadPixels},
    {"window", "Map a window of grey values through a curve", setUpWindow},
    {"equalize", "Equalise the histogram", setUpEqualize},
    {"invert", "Exchange black and white", setUpInvert},
    {"crop", "Keep a region", setUpCrop},
    {"bin", "Average blocks of pixels", setUpBin},
    {"deflash", "Remove single pixels much brighter than the one above", setUpDeflash},
};

Status explain(const CLI::App& program, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {  // --help, --version
        program.exit(error);
        return done;
    }
    const CLI::App* verb = &program;
    std::string name = "lumo";
    while (verb->remaining().empty() && !verb->get_subcommands().empty()) {
        verb = verb->get_subcommands().front();
        name += ' ' + verb->get_name();
    }
    // Told first, even if something is missing too: a misspelt option explains that.
    const std::vector<std::string> unexpected = verb->remaining();
    std::string text = unexpected.empty() ? error.what() : "not expected:";
    for (const std::string& argument : unexpected) text += ' ' + argument;
    if (verb == &program && !unexpected.empty() && !unexpected.front().starts_with('-'))
        text = "there is no verb " + unexpected.front();
    printMessage(name + ": " + text);
    printMessage("Try: " + name + " --help");
    return wrongCommandLine;
}

/// No verb, file or option is an empty text; a script's variable without a value is.
void refuseEmpty(int count, char** arguments) {
    for (int i = 1; i < count; ++i)
        if (*arguments[i] == '\0')
            throw usageError("lumo: argument " + std::to_string(i) + " is empty");
}

Status run(int count, char** arguments) {
    refuseEmpty(count, arguments);
    CLI::App program("Image processing for 16-bit greyscale radiographs.", "lumo");
    program.set_version_flag("--version", [] { return std::string("lumo ") + LumoGetVersion(); });
    program.require_subcommand(0, 1);  // none is told below, in words of our own
    program.footer("Exit status: 0 done, 1 something failed, 2 wrong command line.");
    Status status = done;
    for (const Verb& verb : verbs) {
        CLI::App& command = *program.add_subcommand(verb.name, verb.summary);
        command.callback([&status, work = verb.setUp(command)] { status = work(); });
    }
    try {
        program.parse(count, arguments);
    } catch (const CLI::ParseError& error) {
        return explain(program, error);
    }
    if (program.get_subcommands().empty())
        throw usageError("lumo: a verb is missing; try lumo --help");
    return status;
}

Status runGuarded(int count, char** arguments) {
    try {
        return run(count, arguments);
    } catch (const CommandError& error) {
        printMessage(error.what());
        return error.status;
    } catch (const std::bad_alloc&) {
        printMessage(libraryError(LumoErrorMemory, "lumo").what());
    } catch (const std::exception& error) {
        printMessage(std::string("lumo: ") + error.what());
    }
    return failed;
}

}  // namespace
}  // namespace lumo::cli

int main(int count, char** arguments) {
    const lumo::cli::Status status = lumo::cli::runGuarded(count, arguments);
    if (lumo::cli::finishOutput()) return status;
    lumo::cli::printMessage("standard output: cannot be written");
    return status == lumo::cli::done ? lumo::cli::failed : status;
}
