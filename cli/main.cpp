// The program `lumo`: finds the verb, and is the one place where failures become exit statuses.
#include <algorithm>
#include <exception>
#include <new>

#include "cli/library.h"
#include "cli/messages.h"
#include "cli/nearest.h"
#include "cli/system/interrupts.h"
#include "cli/system/standard_streams.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

constexpr const char* shortHelp =
    "lumo VERB IN OUT [options]: image processing for 16-bit greyscale radiographs. For example\n"
    "  lumo info chest.png\n"
    "  lumo window chest.png out.png --limits 1000,1000\n"
    "lumo help lists the verbs, lumo help VERB says what one can do.\n";

std::string examplesOf(const Verb& verb) {
    std::string text = "Examples:\n  lumo ";
    for (const char* letter = verb.examples; *letter != '\0'; ++letter) {
        text += *letter;
        if (*letter == '\n') text += "  lumo ";
    }
    return text;
}

std::string didYouMean(const std::string& mistyped, const std::vector<std::string>& names) {
    const std::string name = nearest(mistyped, names);
    return name.empty() ? "" : "did you mean " + name + '?';
}

void requireVerb(const std::string& name) {
    std::vector<std::string> names;
    for (const Verb& verb : verbs()) names.emplace_back(verb.name);
    if (name.starts_with('-') || std::find(names.begin(), names.end(), name) != names.end()) return;
    const std::string suggestion = didYouMean(name, names);
    throw usageError("lumo: there is no verb " + name + "; " +
                     (suggestion.empty() ? "lumo help lists them" : suggestion));
}

/// The options' own long names, with their dashes.
std::vector<std::string> optionsOf(const CLI::App& verb) {
    std::vector<std::string> names;
    for (const CLI::Option* option : verb.get_options())
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    return names;
}

/// "--optoin" of "--optoin=value".
std::string optionNameIn(const std::string& argument) {
    return argument.substr(0, argument.find('='));
}

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
    // First of all, even if something is missing too: a misspelt option explains that.
    const std::vector<std::string> unexpected = verb->remaining();
    std::string text = unexpected.empty() ? error.what() : "not expected:";
    for (const std::string& argument : unexpected) text += ' ' + argument;
    printMessage(name + ": " + text);
    for (const std::string& argument : unexpected) {
        const std::string suggestion = didYouMean(optionNameIn(argument), optionsOf(*verb));
        if (argument.starts_with("--") && !suggestion.empty())
            printMessage(name + ": " + suggestion);
    }
    printMessage("Try: " + name + " --help");
    return wrongCommandLine;
}

/// No verb, file or option is an empty text; a script's variable without a value is.
void refuseEmpty(const std::vector<std::string>& arguments) {
    for (std::size_t i = 0; i < arguments.size(); ++i)
        if (arguments[i].empty())
            throw usageError("lumo: argument " + std::to_string(i + 1) + " is empty");
}

/// "help VERB" as "VERB --help".
void turnHelpAround(std::vector<std::string>& arguments) {
    if (arguments.front() != "help") return;
    arguments.erase(arguments.begin());
    arguments.emplace_back("--help");
}

Status run(std::vector<std::string> arguments) {
    refuseEmpty(arguments);
    if (arguments.empty()) {
        writeToErrors(shortHelp);
        return wrongCommandLine;
    }
    turnHelpAround(arguments);
    requireVerb(arguments.front());
    CLI::App program("Image processing for 16-bit greyscale radiographs.", "lumo");
    program.set_version_flag("--version", [] { return std::string("lumo ") + LumoGetVersion(); });
    program.require_subcommand(1);
    program.footer(
        "lumo help VERB: what a verb can do, with examples.\n"
        "Exit status: 0 done, 1 something failed, 2 wrong command line.");
    Status status = done;
    for (const Verb& verb : verbs()) {
        CLI::App& command = *program.add_subcommand(verb.name, verb.summary);
        command.footer(examplesOf(verb));
        command.callback([&status, work = verb.setUp(command)] { status = work(); });
    }
    try {
        // The parser takes them from the end.
        std::reverse(arguments.begin(), arguments.end());
        program.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        return explain(program, error);
    }
    return status;
}

Status runReported(int count, char** arguments) {
    try {
        return run({arguments + 1, arguments + count});
    } catch (const CommandError& error) {
        printMessage(error.what());
        return error.status;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        printMessage(std::string("lumo: ") + error.what());
        return failed;
    }
}

/// Memory may also be short for the report of a failure.
Status runGuarded(int count, char** arguments) noexcept {
    try {
        return runReported(count, arguments);
    } catch (const std::bad_alloc&) {
        writeToErrors("lumo: -8 out of memory\n");
        return failed;
    }
}

}  // namespace
}  // namespace lumo::cli

int main(int count, char** arguments) {
    using namespace lumo::cli;
    survivePassedLimits();
    const Status status = runGuarded(count, arguments);
    if (finishOutput()) return status;
    writeToErrors("standard output: cannot be written\n");
    return status == done ? failed : status;
}
