// A helper that dies, hangs, lies or takes too much, as its option "frame" says. It has the frame
// of the real ones, and so their limits.
#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>

#include "interchange/helper_main.h"
#include "interchange/system.h"
#include "interchange/transfer.h"

namespace {

using namespace lumo::interchange;

constexpr std::uint32_t width = 300, height = 200;

std::string text(rlim_t limit) {
    return limit == RLIM_INFINITY ? "none" : std::to_string(limit);
}

std::string softLimit(__rlimit_resource resource) {
    rlimit limit{};
    getrlimit(resource, &limit);
    return text(limit.rlim_cur);
}

std::string openDescriptors() {
    std::string numbers;
    DIR* const folder = opendir("/proc/self/fd");
    while (const dirent* entry = readdir(folder))
        if (entry->d_name[0] != '.' && std::atoi(entry->d_name) != dirfd(folder))
            numbers += std::string(entry->d_name) + ' ';
    closedir(folder);
    return numbers;
}

Picture sound() {
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.pitchX = 50'000;
    picture.pitchY = 60'000;
    picture.bits = 14;
    picture.add("Import", "Format", "stand-in");
    picture.allocate();
    for (std::uint32_t i = 0; i < width * height; ++i)
        picture.raster[i] = static_cast<std::uint16_t>(i * 7);
    return picture;
}

Picture withLimits() {
    Picture picture = sound();
    const std::string first = softLimit(RLIMIT_CPU) + ' ' + softLimit(RLIMIT_AS);
    allowRaster(100'000'000);
    picture.note(first + "; " + softLimit(RLIMIT_CPU) + ' ' + softLimit(RLIMIT_AS));
    picture.note("core " + softLimit(RLIMIT_CORE) + " files " + softLimit(RLIMIT_FSIZE) +
                 " privileges " + std::to_string(prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0)));
    picture.note("open " + openDescriptors());
    return picture;
}

void say(const std::string& bytes) {
    writeAll(1, bytes.data(), bytes.size());
}

/// Wrong streams; the process ends as a good one does.
[[noreturn]] void lie(const std::string& kind) {
    std::string stream;
    const auto keep = [&](const void* from, std::size_t count) {
        stream.append(static_cast<const char*>(from), count);
    };
    const Picture picture = sound();
    sendPicture(keep, picture, picture.raster.get());
    if (kind == "short") stream.resize(stream.size() / 2);
    if (kind == "more") stream += 'x';
    if (kind == "large") stream.replace(8, 8, "\xFF\xFF\0\0\xFF\xFF\0\0", 8);
    if (kind == "other") stream = "P5 300 200 65535 ";
    if (kind == "nothing") stream.clear();
    say(stream);
    while (kind == "endless") say(std::string(1 << 16, 'x'));
    std::_Exit(kind == "status" ? helperRefused : helperDone);
}

void spin() {
    const rlimit soon{1, 2};  // instead of a minute
    setrlimit(RLIMIT_CPU, &soon);
    for (volatile bool on = true; on;) {
    }
}

Picture read(int, const Request& request) {
    const std::string kind = request.text("keep");
    if (kind == "limits") return withLimits();
    if (kind == "refuse") throw Refusal("no \x1B[31mpicture");
    if (kind == "crash") std::raise(SIGSEGV);
    if (kind == "abort") std::abort();
    if (kind == "memory")
        return std::string(std::size_t{1} << 30, 'x').size() > 1 ? sound() : sound();
    if (kind == "spin") spin();
    if (kind == "hang") pause();
    if (kind == "file") {
        const int file = open(request.text("pitch-from").c_str(), O_WRONLY | O_CREAT, 0600);
        if (file >= 0) writeAll(file, "x", 1);
    }
    if (kind == "close") {
        close(1);
        pause();
    }
    if (kind != "sound") lie(kind);
    return sound();
}

std::vector<std::string> write(const Picture& picture, int file, const Request& request) {
    const std::string kind = request.text("keep");
    if (kind == "refuse") throw Refusal("no room");
    if (kind == "crash") std::raise(SIGSEGV);
    if (kind == "lie") lie("whole");
    writeAll(file, picture.raster.get(), picture.rasterBytes());
    return {picture.entries.at(0).value, "open " + openDescriptors()};
}

}  // namespace

int main(int count, char** arguments) {
    static constexpr const char* options[] = {"keep", "pitch-from"};
    // Before it looks at anything: a writer that takes nothing.
    for (int i = 1; i < count; ++i) {
        if (std::strcmp(arguments[i], "keep=deaf") == 0) pause();
        if (std::strcmp(arguments[i], "keep=dead") == 0) return 0;
    }
    return runHelper({"stand_in", options, read, write}, count, arguments);
}
