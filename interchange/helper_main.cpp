// The frame of every helper program.
#include "interchange/helper_main.h"

#include <algorithm>
#include <charconv>
#include <new>
#include <string_view>
#include <system_error>

#include "interchange/system.h"
#include "interchange/transfer.h"

namespace lumo::interchange {

namespace {

constexpr int standardInput = 0, standardOutput = 1;

void send(const void* from, std::size_t count) {
    writeAll(standardOutput, from, count);
}

std::size_t get(void* to, std::size_t count) {
    return readAll(standardInput, to, count);
}

/// The picture that the program sends, with room for it within the limits.
Picture receivePicture() {
    Picture picture;
    auto received = receive(get, [&](const Description& description) {
        allowRaster(description.rasterBytes());
        picture.raster = newRaster(description.pixelCount());
        return picture.raster.get();
    });
    Description* const description = std::get_if<Description>(&received);
    if (description == nullptr) throw TransferError("an answer, not a picture");
    static_cast<Description&>(picture) = std::move(*description);
    return picture;
}

HelperStatus refuse(const std::string& reason) {
    sendAnswer(send, {false, {reason}});
    return helperRefused;
}

HelperStatus work(const Helper& helper, bool writing, const Request& request) {
    try {
        if (writing) {
            Picture picture = receivePicture();
            // With those on what was cut on the way here.
            std::vector<std::string> notes = std::move(picture.notes);
            for (std::string& note : helper.write(picture, outputDescriptor, request))
                notes.push_back(std::move(note));
            sendAnswer(send, {true, std::move(notes)});
        } else {
            const Picture picture = helper.read(standardInput, request);
            sendPicture(send, picture, picture.raster.get());
        }
        return helperDone;
    } catch (const Refusal& refusal) {
        return refuse(refusal.what());
    } catch (const std::system_error& error) {
        return refuse(error.code().message());
    }
}

}  // namespace

Request::Request(std::span<char* const> arguments, std::span<const char* const> names) {
    for (const std::string_view argument : arguments) {
        const std::size_t equals = argument.find('=');
        const std::string_view name = argument.substr(0, equals);
        if (equals == std::string_view::npos || std::ranges::find(names, name) == names.end())
            throw std::invalid_argument(std::string(argument));
        values_[std::string(name)] = argument.substr(equals + 1);
    }
}

std::string Request::text(const std::string& name) const {
    const auto found = values_.find(name);
    return found == values_.end() ? "" : found->second;
}

std::uint32_t Request::number(const std::string& name) const {
    const auto found = values_.find(name);
    if (found == values_.end()) return 0;
    const std::string& text = found->second;
    std::uint32_t value = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || rest != text.data() + text.size())
        throw std::invalid_argument(name + '=' + text);
    return value;
}

int runHelper(const Helper& helper, int count, char** arguments) {
    try {
        const std::span all(arguments, static_cast<std::size_t>(std::max(count, 0)));
        const std::string_view verb = all.size() > 1 ? all[1] : "";
        const bool writing = verb == "write";
        limitProcess(writing ? Access::write : Access::read);
        if (!writing && verb != "read") return helperMisused;
        return work(helper, writing, Request(all.subspan(2), helper.options));
    } catch (const std::bad_alloc&) {
        return helperNoMemory;
    } catch (const std::exception&) {
        return helperMisused;
    }
}

}  // namespace lumo::interchange
