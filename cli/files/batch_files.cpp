// A walk through folders that meets each file once and never its own results.
#include "cli/files/batch_files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <system_error>

#include "cli/files/formats.h"
#include "cli/files/image_output.h"
#include "cli/files/output.h"

namespace lumo::cli {
namespace {

namespace fs = std::filesystem;

/// The lines of a file, or of standard input.
std::vector<std::string> linesOf(const std::string& file) {
    std::ifstream opened;
    if (file != standardStream) opened.open(file);
    std::istream& in = file == standardStream ? std::cin : opened;
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        if (line.ends_with('\r')) line.pop_back();
        if (!line.empty()) lines.push_back(line);
    }
    if (!in.eof()) throw CommandError("--files-from " + file + ": cannot be read");
    return lines;
}

/// Whether the name stays below where it begins.
bool staysBelow(const fs::path& name) {
    return name.is_relative() && std::ranges::find(name, fs::path("..")) == name.end();
}

/// A folder's own name, also of "." and "a/..".
fs::path nameOf(const fs::path& folder) {
    const fs::path whole = identity(folder);
    return whole.has_filename() ? whole.filename() : whole.parent_path().filename();
}

class Search {
public:
    Search(const std::string& out, const std::string& extension)
        : out_(identity(out)), extension_(extension) {}

    /// Takes what lies in the folder; results go to `target`.
    void look(const fs::path& folder, const fs::path& target) {
        std::vector<fs::directory_entry> entries;
        std::error_code error;
        for (fs::directory_iterator i(folder, error); !error && i != fs::directory_iterator();
             i.increment(error))
            entries.push_back(*i);
        if (error) found_.failures.push_back(folder.string() + ": " + error.message());
        std::ranges::sort(entries);
        for (const fs::directory_entry& entry : entries) take(entry, target);
    }

    /// Takes a file whatever it is called.
    void takeNamed(const fs::path& name, const fs::path& out) {
        add(name, out / (staysBelow(name) ? name.lexically_normal() : name.filename()));
    }

    /// Drops what would be written over a source or over another result.
    BatchFiles finish() {
        std::set<fs::path> sources;
        for (const BatchFile& file : found_.files)
            for (const std::string& name : partsOf(file.input)) sources.insert(identity(name));
        std::map<fs::path, std::string> writers;
        std::erase_if(found_.files, [&](const BatchFile& file) {
            for (const std::string& name : partsOf(file.output)) {
                const fs::path place = identity(name);
                if (sources.contains(place))
                    return drop(file, name + " is itself one of the files");
                const auto [other, isFirst] = writers.emplace(place, file.input);
                if (!isFirst && other->second != file.input)
                    return drop(file, name + " is already the result of " + other->second);
            }
            return false;
        });
        return std::move(found_);
    }

private:
    void take(const fs::directory_entry& entry, const fs::path& target) {
        std::error_code error;
        const fs::path name = entry.path().filename();
        if (entry.is_directory(error)) {
            if (StagingFolder::isOne(name.string())) return;
            if (entry.is_symlink(error) || identity(entry.path()) == out_) return;
            return look(entry.path(), target / name);
        }
        if (!isImageName(name.string())) return;
        if (!entry.is_regular_file(error)) {
            if (!error && entry.exists(error)) return;  // a pipe or a device
            found_.failures.push_back(entry.path().string() + ": a link that leads nowhere");
            return;
        }
        add(entry.path(), target / name);
    }

    void add(const fs::path& input, fs::path output) {
        if (!extension_.empty()) output.replace_extension(extension_);
        found_.files.push_back({input.string(), output.string()});
    }

    bool drop(const BatchFile& file, const std::string& reason) {
        found_.failures.push_back(file.input + ": " + reason);
        return true;
    }

    fs::path out_;
    std::string extension_;
    BatchFiles found_;
};

}  // namespace

BatchFiles findBatchFiles(const std::vector<std::string>& folders, const std::string& list,
                          const std::string& out, const std::string& extension) {
    Search search(out, extension);
    if (!list.empty())
        for (const std::string& name : linesOf(list)) search.takeNamed(name, out);
    std::set<fs::path> seen;
    for (const std::string& folder : folders) {
        if (!seen.insert(identity(folder)).second) continue;
        if (identity(folder) == identity(out))
            throw usageError("--out " + out + ": is one of the folders to read");
        search.look(folder, folders.size() > 1 ? fs::path(out) / nameOf(folder) : fs::path(out));
    }
    return search.finish();
}

}  // namespace lumo::cli
