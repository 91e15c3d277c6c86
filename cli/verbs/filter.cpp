// The verb `filter`: runs filter commands on an image, one after another, one step of history each.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/arguments.h"
#include "cli/files/batch.h"
#include "cli/history.h"
#include "cli/messages.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct Options : ChangeOptions {
    BatchOptions batch;
    std::string script;
    std::vector<std::string> commands;
};

/// A command, and where it stands for messages: "script.imo:3", or the command itself.
struct Command {
    std::string text, place;
};

struct StoreRelease {
    void operator()(IniReturn* store) const { Destroy_IniReturn(&store); }
};

/// A bare name is looked for in the workstation's script folder.
std::string scriptPath(const std::string& name) {
    if (name.find('/') != std::string::npos) return name;
    char path[1024] = "";
    CompleteImoPath(path, name.c_str());
    std::string file = path;
    // The library puts its separator before the name; here files have another.
    if (file.size() > name.size()) file[file.size() - name.size() - 1] = '/';
    return file;
}

/// The commands of a text file, one a line; '#' begins a comment.
std::vector<Command> readScript(const std::string& name) {
    const std::string path = scriptPath(name);
    std::ifstream file(path);
    std::vector<Command> commands;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        line.resize(std::min(line.find('#'), line.size()));
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
        commands.push_back({line, path + ":" + std::to_string(number)});
    }
    if (!file.eof()) throw CommandError(path + ": cannot be read");
    return commands;
}

/// The history's line for a command: what history --script gives back. Characters that would end or
/// cut a script's line become others that no key and no number can hold either.
std::string stepOf(std::string text) {
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < ' ') c = ' ';
        if (c == '#') c = ';';
    }
    return filterStepPrefix + text;
}

void runCommand(lmImage* image, const Command& command, const std::string& file, bool amongOthers) {
    const Image raster = rasterOf(*image);
    IniReturn* slot = nullptr;
    char* text = nullptr;
    std::uint32_t size = 0;
    lmtSetLastError(LumoOk);
    const int code = SC_Filter_ImageEx(raster, raster, static_cast<std::int32_t>(image->pixelsizeX),
                                       static_cast<std::int32_t>(image->pixelsizeY),
                                       command.text.c_str(), &slot, &text, &size);
    const std::unique_ptr<IniReturn, StoreRelease> store(slot);
    check(code, command.place);
    // An operation that refuses its parameters leaves its code behind.
    check(lmtGetLastError(), command.place);
    if (size > 0) clearProgress();
    if (size > 0 && amongOthers) std::cout << "; " << printable(file) << '\n';
    if (size > 0) std::cout << std::string(text, size);
    addStep(image, stepOf(command.text), file);
}

std::vector<Command> gatherCommands(const Options& options) {
    std::vector<Command> commands;
    if (!options.script.empty()) commands = readScript(options.script);
    // What stands where IN and OUT would stand are commands when a batch brings its own files.
    std::vector<std::string> texts;
    if (options.batch.chosen()) texts = {options.input, options.output.file};
    texts.insert(texts.end(), options.commands.begin(), options.commands.end());
    for (const std::string& text : texts)
        if (!text.empty()) commands.push_back({text, text});
    if (commands.empty())
        throw usageError("lumo filter: no command; give one behind the files, or --script FILE");
    return commands;
}

Status run(const Options& options) {
    const std::vector<Command> commands = gatherCommands(options);
    requireFiles(options.batch, options, "lumo filter");
    return runOnFiles(options.batch, options, [&](const ChangeOptions& each) {
        changeImage(each, [&](ImageHandle& image) {
            for (const Command& command : commands)
                runCommand(image.get(), command, each.input, options.batch.chosen());
        });
    });
}

}  // namespace

Work setUpFilter(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addBatchOptions(verb, *options, options->batch);
    verb.add_option("COMMAND", options->commands,
                    "Filter commands, such as \"type=unsharp_mask radius=0.5 value=2\"");
    verb.add_option("--script", options->script,
                    "File of filter commands to run first, one a line; '#' begins a comment; a "
                    "bare name is looked for in the script folder");
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
