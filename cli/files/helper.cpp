// Pictures read and written by the helper programs.
#include "cli/files/helper.h"

#include <system_error>
#include <utility>
#include <variant>

#include "interchange/system.h"
#include "interchange/transfer.h"

#ifndef LUMO_HELPER_FOLDER
#define LUMO_HELPER_FOLDER "../libexec/lumo"
#endif

namespace lumo::cli {

namespace {

using interchange::Answer;
using interchange::Description;
using Received = std::variant<Description, Answer>;

constexpr int outputInHelper = 3, originalInHelper = 4;

enum class Task { read, write };

/// What a message says of a task.
struct Words {
    const char *verb, *verbs, *role, *suspicion;
};
constexpr Words words[] = {{"read", "reads", "reader", "; the file is damaged or hostile"},
                           {"write", "writes", "writer", ""}};

/// Ends what is sent to a helper that does not take it. Its ending will say why.
struct NotTaken {};

/// A run of a helper for one file.
class Run {
public:
    Run(Task task, const HelperProgram& helper, std::string file)
        : words_(words[task == Task::read ? 0 : 1]), helper_(helper), file_(std::move(file)) {}

    [[nodiscard]] std::string find(const HelperPlace& place) const {
        for (const std::string& folder : place.folders)
            if (isProgram(folder + helper_.name)) return folder + helper_.name;
        throw error(std::string("a ") + helper_.format + " file; this installation " +
                    words_.verbs + " none (" + helper_.name + " is not installed)");
    }

    [[nodiscard]] std::vector<std::string> arguments(
        const std::vector<std::string>& options) const {
        std::vector<std::string> all = {words_.verb};
        for (const std::string& option : options) all.push_back(option);
        return all;
    }

    /// What the helper sends, once it has ended as it should. A refusal is thrown.
    Received receive(Child& child, const interchange::Allocate& allocate) const {
        Received received;
        bool sound = true;
        try {
            received = interchange::receive(
                [&](void* to, std::size_t count) { return child.read(to, count); }, allocate);
        } catch (const interchange::TransferError&) {
            sound = false;
        }
        const bool stopping = !child.finished();  // it says something else, and perhaps much more
        if (stopping) child.kill();
        const Ending ending = child.wait();
        if (!stopping) requireAlive(ending);
        const Answer* const answer = std::get_if<Answer>(&received);
        const bool refused = answer != nullptr && !answer->done;
        const int expected = refused ? interchange::helperRefused : interchange::helperDone;
        if (!sound || ending.status != expected) throw unexpected();
        if (refused) throw error(answer->notes.front());
        return received;
    }

    [[nodiscard]] CommandError unexpected() const {
        return error(std::string("its ") + words_.role + " sent something unexpected");
    }
    [[nodiscard]] CommandError error(const std::string& text) const {
        return CommandError(file_ + ": " + text);
    }

private:
    void requireAlive(const Ending& ending) const {
        std::string how;
        if (ending.overTime)
            how = "over its time";
        else if (ending.signal != 0)
            how = "signal " + std::to_string(ending.signal);
        else if (ending.status == interchange::helperNoMemory)
            how = "out of memory";
        else
            return;
        throw error(std::string("its ") + words_.role + " was stopped (" + how + ')' +
                    words_.suspicion);
    }

    const Words& words_;
    const HelperProgram& helper_;
    std::string file_;
};

void send(Child& child, const lmImage& image, const Description& description) {
    try {
        interchange::sendPicture(
            [&](const void* from, std::size_t count) {
                if (!child.send(from, count)) throw NotTaken();
            },
            description, image.data);
    } catch (const NotTaken&) {
    }
    child.endInput();
}

}  // namespace

std::vector<std::string> HelperPlace::helperFolders() {
    const std::string folder = programFolder();
    return {folder + LUMO_HELPER_FOLDER + '/', folder};
}

Incoming readByHelper(const HelperProgram& helper, const std::string& file, const Descriptor& input,
                      const std::vector<std::string>& options, const HelperPlace& place) {
    const Run run(Task::read, helper, file);
    Incoming incoming;
    try {
        Child child(run.find(place), run.arguments(options), {{input.number(), 0}},
                    place.longestSilence);
        auto received = run.receive(child, [&](const Description& description) {
            incoming.image = createImage(static_cast<int>(description.width),
                                         static_cast<int>(description.height), file);
            interchange::preferLargePages(incoming.image->data, description.rasterBytes());
            return incoming.image->data;
        });
        auto* const description = std::get_if<Description>(&received);
        if (description == nullptr) throw run.unexpected();
        incoming.description = std::move(*description);
    } catch (const std::system_error& error) {
        throw run.error(error.what());
    }
    incoming.image->pixelsizeX = incoming.description.pitchX;
    incoming.image->pixelsizeY = incoming.description.pitchY;
    return incoming;
}

std::vector<std::string> writeByHelper(const HelperProgram& helper, const std::string& file,
                                       const lmImage& image, const Description& description,
                                       const Descriptor& output,
                                       const std::vector<std::string>& options,
                                       const Descriptor* original, const HelperPlace& place) {
    const Run run(Task::write, helper, file);
    try {
        std::vector<Handover> handovers = {{output.number(), outputInHelper}};
        if (original != nullptr) handovers.push_back({original->number(), originalInHelper});
        Child child(run.find(place), run.arguments(options), handovers, place.longestSilence);
        send(child, image, description);
        auto received = run.receive(child, [&](const Description&) -> std::uint16_t* {
            throw run.unexpected();  // a picture, from a writer
        });
        return std::move(std::get<Answer>(received).notes);
    } catch (const interchange::TransferError& error) {
        throw run.error(error.what());
    } catch (const std::system_error& error) {
        throw run.error(error.what());
    }
}

}  // namespace lumo::cli
