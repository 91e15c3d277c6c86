// Loads, calls and unloads the shared library as a host does: start lines, nothing left behind.
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "lumo_legacy.h"

namespace {

namespace fs = std::filesystem;
using Create = int (*)(void**, unsigned short, unsigned short);
using Destroy = int (*)(void**);

int failures = 0;

void expect(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "failed: %s\n", what);
    ++failures;
}

std::size_t countEntries(const char* folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
}

bool isLoaded(const std::string& library) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        if (line.find(fs::path(library).filename()) != std::string::npos) return true;
    return false;
}

std::vector<std::string> linesOf(const fs::path& file) {
    std::ifstream stream(file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

void* loadAndCall(const char* library) {
    void* handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) std::fprintf(stderr, "%s\n", dlerror());
    if (handle == nullptr) std::exit(1);
    const auto create = reinterpret_cast<Create>(dlsym(handle, "LumoCreateImage"));
    const auto destroy = reinterpret_cast<Destroy>(dlsym(handle, "LumoDestroyImage"));
    void* image = nullptr;
    expect(create(&image, 3, 2) == 0 && destroy(&image) == 0, "calls work");
    return handle;
}

/// Every round logs a start line of its own and leaves neither mapping nor file open.
void testRounds(const char* library, const fs::path& log) {
    constexpr int rounds = 100;
    dlclose(loadAndCall(library));
    const std::size_t open = countEntries("/proc/self/fd");
    const std::size_t threads = countEntries("/proc/self/task");
    for (int i = 1; i < rounds; ++i) dlclose(loadAndCall(library));
    expect(!isLoaded(library), "the library is unloaded");
    expect(countEntries("/proc/self/fd") == open, "no file stays open");
    expect(countEntries("/proc/self/task") == threads, "no thread stays");
    int starts = 0;
    for (const std::string& line : linesOf(log))
        if (line.find(" 5 lumo Start 2.2.1.176 from 'R2.2.1'") == 23) ++starts;
    expect(starts == rounds, "one start line a load");
}

void loadAndTransform(const char* library) {
    void* handle = loadAndCall(library);
    const auto filter =
        reinterpret_cast<decltype(&SC_Filter_Image)>(dlsym(handle, "SC_Filter_Image"));
    std::vector<std::uint16_t> pixels(128 * 128);
    for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<std::uint16_t>(i * i);
    const Image image = {128, 128, pixels.data()};
    expect(filter(image, image, 100000, 100000, "type=gauss_fd2 al1=0.5") == 0, "the filter runs");
    dlclose(handle);
}

/// The transform's threads outlive the library, but no load adds to them.
void testTransformRounds(const char* library) {
    loadAndTransform(library);
    const std::size_t threads = countEntries("/proc/self/task");
    for (int i = 1; i < 100; ++i) loadAndTransform(library);
    expect(countEntries("/proc/self/task") == threads, "no transform thread is added");
    expect(!isLoaded(library), "the library is unloaded after transforms");
}

/// Children forked while threads log do not hang, and no line of anybody is torn.
void testForks(const char* library, const fs::path& log) {
    void* handle = loadAndCall(library);
    const auto create = reinterpret_cast<Create>(dlsym(handle, "LumoCreateImage"));
    const auto destroy = reinterpret_cast<Destroy>(dlsym(handle, "LumoDestroyImage"));
    const auto work = [=] {
        for (int i = 0; i < 300; ++i) {
            void* image = nullptr;
            create(&image, 1, 1);
            destroy(&image);
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) threads.emplace_back(work);
    std::atomic<bool> enough{false};
    threads.emplace_back(
        [&] {  // the host's own clock, which holds the C library's lock most of the time
            for (std::tm fields{}; !enough;) {
                const std::time_t now = std::time(nullptr);
                localtime_r(&now, &fields);
            }
        });
    for (int i = 0; i < 50; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            work();
            _exit(0);
        }
        int status = 1;
        waitpid(child, &status, 0);
        expect(status == 0, "a forked child works");
    }
    enough = true;
    for (std::thread& thread : threads) thread.join();
    dlclose(handle);
    for (const std::string& line : linesOf(log)) {
        const bool whole = line.size() > 26 && line[4] == '-' && line[19] == '.' &&
                           line[25] == ' ' &&
                           (line.compare(26, 4, "Lumo") == 0 || line.compare(26, 4, "lumo") == 0);
        if (!whole) std::fprintf(stderr, "torn: %s\n", line.c_str());
        expect(whole, "log lines are whole");
    }
}

/// A fork runs what a library registered for it: nothing once that is unloaded.
void testForkAfterUnloading(const char* library) {
    dlclose(loadAndCall(library));
    const pid_t child = fork();
    if (child == 0) _exit(0);
    int status = 1;
    waitpid(child, &status, 0);
    expect(status == 0, "a fork after the library is unloaded");
}

void testLogFolders(const char* library, const fs::path& folder) {
    setenv("ORVEL_LOG_DIR", (folder / "missing").c_str(), 1);
    dlclose(loadAndCall(library));
    expect(!fs::exists(folder / "missing"), "a missing log folder is no failure and not made");
    fs::create_directory(folder / "vanishing");
    setenv("ORVEL_LOG_DIR", (folder / "vanishing").c_str(), 1);
    void* handle = loadAndCall(library);
    fs::remove_all(folder / "vanishing");
    dlclose(loadAndCall(library));
    dlclose(handle);
    setenv("ORVEL_LOG_DIR", folder.c_str(), 1);
    fs::remove(folder / "orvellog.log");
    setenv("ORVEL_LOG_LEVEL", "5", 1);
    dlclose(loadAndCall(library));
    expect(linesOf(folder / "orvellog.log").size() == 1, "level 5 logs the start line alone");
    fs::rename(folder / "orvellog.log", folder / "elsewhere");
    fs::create_symlink(folder / "elsewhere", folder / "orvellog.log");
    dlclose(loadAndCall(library));
    expect(linesOf(folder / "elsewhere").size() == 1, "a link of the log's name is not followed");
    fs::rename(folder / "elsewhere", folder / "orvellog.log");
    setenv("ORVEL_LOG_LEVEL", "-1", 1);
    dlclose(loadAndCall(library));
    expect(linesOf(folder / "orvellog.log").size() == 1, "level -1 logs nothing");
    unsetenv("ORVEL_LOG_LEVEL");
    unsetenv("ORVEL_LOG_DIR");
    fs::current_path(folder);
    dlclose(loadAndCall(library));
    expect(linesOf("orvellog.log").size() > 3, "without settings the log is in the current folder");
}

}  // namespace

int main(int, char** arguments) {
    const std::string path = fs::absolute(arguments[1]).string();
    const char* library = path.c_str();
    std::string name = (fs::temp_directory_path() / "lumo-load-XXXXXX").string();
    const fs::path folder = mkdtemp(name.data());
    setenv("ORVEL_LOG_DIR", folder.c_str(), 1);
    testRounds(library, folder / "orvellog.log");
    testForks(library, folder / "orvellog.log");
    testTransformRounds(library);
    testForkAfterUnloading(library);
    testLogFolders(library, folder);
    fs::current_path("/");
    fs::remove_all(folder);
    return failures == 0 ? 0 : 1;
}
