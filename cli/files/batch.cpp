// Work on all image files of whole folders, for the verbs that offer --batch.
#include "cli/files/batch.h"

#include <filesystem>
#include <new>
#include <system_error>

#include "cli/files/batch_files.h"
#include "cli/files/records.h"
#include "cli/messages.h"

namespace lumo::cli {
namespace {

std::string progressBar(std::size_t finished, std::size_t all) {
    constexpr std::size_t length = 30;
    const std::size_t filled = length * finished / all;
    return '[' + std::string(filled, '#') + std::string(length - filled, ' ') + "] " +
           std::to_string(finished) + " of " + std::to_string(all);
}

void makeFolderOf(const std::string& file) {
    std::error_code error;
    std::filesystem::create_directories(SplitPath(file).folder, error);
    if (error) throw CommandError(file + ": its folder cannot be made (" + error.message() + ')');
}

/// One failure as one line that names the file.
std::string failureOf(const std::string& file, const std::string& text) {
    return text.starts_with(file) ? text : file + ": " + text;
}

}  // namespace

void addBatchOptions(CLI::App& verb, ChangeOptions& single, BatchOptions& batch) {
    addChangeOptions(verb, single);
    for (const char* name : {"IN", "OUT"}) verb.get_option(name)->required(false);
    CLI::Option* folders = verb.add_option(
        "--batch", batch.folders,
        "Instead of IN and OUT: all .png, .xyz and .raw files of these folders and below");
    CLI::Option* out = verb.add_option(
        "--out", batch.out, "Folder for the results of --batch, with the same subfolders");
    folders->needs(out);
    out->needs(folders);
}

void requireFiles(const BatchOptions& batch, const ChangeOptions& single, const char* verb) {
    if (batch.chosen() || !single.output.file.empty()) return;
    throw usageError(std::string(verb) + ": give IN and OUT, or --batch and --out");
}

Status runOnFiles(const BatchOptions& batch, const ChangeOptions& options,
                  const std::function<void(const ChangeOptions&)>& work, Records* records) {
    if (!batch.chosen()) {
        work(options);
        return done;
    }
    auto [files, failures] =
        findBatchFiles(batch.folders, batch.out, extensionFor(options.output.formatName));
    if (files.empty() && failures.empty()) failures.push_back("no image file in the folders");
    for (std::size_t i = 0; i < files.size(); ++i) {
        showProgress(progressBar(i, files.size()));
        ChangeOptions each = options;
        each.input = files[i].input;
        each.output.file = files[i].output;
        try {
            makeFolderOf(each.output.file);
            work(each);
        } catch (const CommandError& error) {
            failures.push_back(failureOf(each.input, error.what()));
            if (records != nullptr) records->addFailure(each.input, error);
        } catch (const std::bad_alloc&) {
            failures.push_back(libraryError(LumoErrorMemory, each.input).what());
        }
    }
    if (!files.empty()) showProgress(progressBar(files.size(), files.size()));
    endProgress();
    for (const std::string& failure : failures) printMessage(failure);
    return failures.empty() ? done : failed;
}

}  // namespace lumo::cli
