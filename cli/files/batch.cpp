// The files of a batch go to worker processes; what these hand back is put in order here.
#include "cli/files/batch.h"

#include <chrono>
#include <cmath>
#include <exception>
#include <filesystem>
#include <iostream>
#include <new>
#include <sstream>
#include <system_error>

#include "cli/files/batch_files.h"
#include "cli/files/outcome.h"
#include "cli/files/records.h"
#include "cli/messages.h"
#include "cli/system/publishing.h"
#include "cli/system/staging_folder.h"
#include "cli/system/workers.h"

namespace lumo::cli {
namespace {

void makeFolderOf(const std::string& file) {
    std::error_code error;
    std::filesystem::create_directories(SplitPath(file).folder, error);
    if (error) throw CommandError(file + ": its folder cannot be made (" + error.message() + ')');
}

bool exists(const std::string& file) {
    for (const std::string& part : partsOf(file))
        if (occupantOf(part) != Occupant::none) return true;
    return false;
}

/// A bar, and how long it will take, once that can be guessed.
class Progress {
public:
    Progress(std::size_t all, bool quiet) : all_(all), quiet_(quiet) {}

    void show(std::size_t finished) const {
        if (quiet_) return;
        constexpr std::size_t length = 30;
        const std::size_t filled = length * finished / all_;
        showProgress('[' + std::string(filled, '#') + std::string(length - filled, ' ') + "] " +
                     std::to_string(finished) + " of " + std::to_string(all_) + left(finished));
    }

private:
    [[nodiscard]] std::string left(std::size_t finished) const {
        const std::chrono::duration<double> passed = Clock::now() - start_;
        if (finished == 0 || finished == all_ || passed.count() < 2) return "";
        const double seconds =
            passed.count() / static_cast<double>(finished) * static_cast<double>(all_ - finished);
        if (seconds < 90) return ", " + std::to_string(std::lround(seconds)) + " s left";
        return ", " + std::to_string(std::lround(seconds / 60)) + " min left";
    }

    using Clock = std::chrono::steady_clock;
    std::size_t all_;
    bool quiet_;
    Clock::time_point start_ = Clock::now();
};

/// The notes of many files: each kind once, with the first file that has it.
class Notes {
public:
    void add(const Message& note) {
        for (auto& [first, count] : kinds_)
            if (first.kind == note.kind) {
                ++count;
                return;
            }
        kinds_.push_back({note, 1});
    }
    void print() const {
        for (const auto& [first, count] : kinds_)
            printNote(first.file, first.kind,
                      count == 1 ? first.text
                                 : first.text + " (and " + std::to_string(count - 1) + " more)");
    }

private:
    std::vector<std::pair<Message, std::size_t>> kinds_;
};

/// One failure as one line that names the file.
std::string failureOf(const std::string& file, const std::string& text) {
    return text.starts_with(file) ? text : file + ": " + text;
}

class Batch {
public:
    Batch(const BatchOptions& batch, const ChangeOptions& options, const FileWork& work,
          Records* records)
        : batch_(batch), options_(options), work_(work), records_(records) {
        auto [files, failures] = findBatchFiles(batch.folders, batch.list, batch.out,
                                                extensionFor(options.output.formatName));
        files_ = std::move(files);
        for (const std::string& failure : failures) failures_.push_back(failure);
        if (files_.empty() && failures.empty()) failures_.emplace_back("no image file to work on");
        failed_ = failures_.size();
        if (!batch.skipExisting) return;
        skipped_ = std::erase_if(files_, [](const BatchFile& file) { return exists(file.output); });
    }

    Status run() {
        if (batch_.dryRun) return listFiles();
        for (const BatchFile& file : files_) removeLeftovers(SplitPath(file.output).folder);
        const Progress progress(std::max<std::size_t>(files_.size(), 1), batch_.quiet);
        progress.show(0);
        std::cout.flush();
        std::size_t finished = 0;
        runSideBySide(
            files_.size(), batch_.jobs > 0 ? batch_.jobs : processors(),
            [&](std::size_t item) { return encode(workOn(files_[item])); },
            [&](std::size_t item, const Ended& ended) {
                take(files_[item], ended);
                progress.show(++finished);
            });
        endProgress();
        return summarise();
    }

private:
    [[nodiscard]] ChangeOptions optionsFor(const BatchFile& file) const {
        ChangeOptions each = options_;
        each.input = file.input;
        each.output.file = file.output;
        return each;
    }

    Status listFiles() const {
        for (const BatchFile& file : files_) {
            const bool inTheWay = !options_.output.force && exists(file.output);
            std::cout << printable(file.input) << " -> " << printable(file.output)
                      << (inTheWay ? " (exists already)" : "") << '\n';
        }
        for (const std::string& failure : failures_) printMessage(failure);
        return failures_.empty() ? done : failed;
    }

    /// In a process of its own.
    Outcome workOn(const BatchFile& file) const {
        Outcome outcome;
        const KeptMessages messages;
        std::ostringstream printed;
        std::streambuf* const former = std::cout.rdbuf(printed.rdbuf());
        if (records_ != nullptr) records_->keepParts();
        const auto fail = [&](const std::string& text, int code) {
            outcome.succeeded = false;
            outcome.error = text;
            outcome.code = code;
        };
        try {
            makeFolderOf(file.output);
            work_(optionsFor(file));
            if (!std::cout) throw std::bad_alloc();
        } catch (const CommandError& error) {
            fail(error.what(), error.code);
        } catch (const std::bad_alloc&) {
            fail(libraryError(LumoErrorMemory, file.input).what(), LumoErrorMemory);
        } catch (const std::exception& error) {
            fail(error.what(), 0);
        }
        std::cout.rdbuf(former);
        outcome.printed = printed.str();
        if (records_ != nullptr) outcome.parts = records_->parts();
        outcome.messages = messages.all();
        return outcome;
    }

    void take(const BatchFile& file, const Ended& ended) {
        const std::optional<Outcome> outcome = decode(ended.result);
        if (!outcome) {
            removeLeftovers(SplitPath(file.output).folder, true);
            const std::string reason = ended.signal != 0 ? signalName(ended.signal) : "no memory";
            return fail(file,
                        CommandError(file.input + ": its worker ended early (" + reason + ')'));
        }
        for (const Message& message : outcome->messages)
            if (message.kind.empty())
                printMessage(message.text);
            else
                notes_.add(message);
        if (!outcome->printed.empty()) clearProgress();
        std::cout << outcome->printed << std::flush;
        for (const std::string& part : outcome->parts) records_->addPart(part);
        if (outcome->succeeded)
            ++done_;
        else
            fail(file, CommandError(failureOf(file.input, outcome->error), failed, outcome->code));
    }

    void fail(const BatchFile& file, const CommandError& error) {
        failures_.emplace_back(error.what());
        ++failed_;
        if (records_ != nullptr) records_->addFailure(file.input, error);
    }

    Status summarise() const {
        if (!batch_.quiet) notes_.print();
        for (const std::string& failure : failures_) printMessage(failure);
        std::string line = std::to_string(done_) + " done, " + std::to_string(failed_) + " failed";
        if (skipped_ > 0) line += ", " + std::to_string(skipped_) + " skipped";
        if (!batch_.quiet) printMessage(line);
        return failures_.empty() ? done : failed;
    }

    const BatchOptions& batch_;
    const ChangeOptions& options_;
    const FileWork& work_;
    Records* records_;
    std::vector<BatchFile> files_;
    std::vector<std::string> failures_;
    Notes notes_;
    std::size_t done_ = 0, failed_ = 0, skipped_ = 0;
};

Status runOnOne(const BatchOptions& batch, const ChangeOptions& options, const FileWork& work,
                Records* records) {
    if (batch.skipExisting && exists(options.output.file)) return done;
    if (batch.dryRun) {
        std::cout << printable(options.input) << " -> " << printable(options.output.file) << '\n';
        return done;
    }
    try {
        work(options);
        return done;
    } catch (const CommandError& error) {
        if (error.status == wrongCommandLine || records == nullptr) throw;
        printMessage(error.what());
        records->addFailure(options.input, error);
        return error.status;
    }
}

}  // namespace

void addBatchOptions(CLI::App& verb, ChangeOptions& single, BatchOptions& batch) {
    addChangeOptions(verb, single);
    for (const char* name : {"IN", "OUT"}) verb.get_option(name)->required(false);
    CLI::Option* folders = verb.add_option(
        "--batch", batch.folders,
        "Instead of IN and OUT: all .png, .xyz and .raw files of these folders and below");
    CLI::Option* list = verb.add_option(
        "--files-from", batch.list,
        "Instead of IN and OUT: the files that this file names, one a line (-: standard input)");
    CLI::Option* out = verb.add_option(
        "--out", batch.out, "Folder for the results of a batch, with the same subfolders");
    folders->needs(out);
    list->needs(out);
    verb.add_option("-j,--jobs", batch.jobs,
                    "Files of a batch to work on at once; else as many as there are processors")
        ->check(CLI::Range(1, 256));
    verb.add_flag("--dry-run", batch.dryRun, "Only list what would be read and written");
    verb.add_flag("--quiet", batch.quiet, "No progress, notes and sums of a batch, only failures");
    verb.add_flag("--skip-existing", batch.skipExisting, "Leave out files whose result exists");
}

void requireFiles(const BatchOptions& batch, const ChangeOptions& single, const char* verb) {
    if (batch.out.empty() == batch.chosen())
        throw usageError(std::string(verb) + ": --out goes with --batch or --files-from");
    if (batch.chosen() || !single.output.file.empty()) return;
    throw usageError(std::string(verb) + ": give IN and OUT, or --batch and --out");
}

Status runOnFiles(const BatchOptions& batch, const ChangeOptions& options, const FileWork& work,
                  Records* records) {
    if (!batch.chosen()) return runOnOne(batch, options, work, records);
    return Batch(batch, options, work, records).run();
}

}  // namespace lumo::cli
