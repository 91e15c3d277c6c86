// Runs a fuzz target over given files and folders, without a fuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

int replayed = 0;

void replay(const fs::path& path) {
    if (fs::is_directory(path)) {
        for (const fs::directory_entry& entry : fs::directory_iterator(path)) replay(entry.path());
        return;
    }
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);  // so that the last name is that of the input which ended the process
    const lumo::fuzz::Bytes bytes = lumo::fuzz::readFile(path.string());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    ++replayed;
}

}  // namespace

int main(int count, char** arguments) {
    for (int i = 1; i < count; ++i)
        if (fs::exists(arguments[i])) replay(arguments[i]);
    std::printf("%d inputs\n", replayed);
    return replayed > 0 ? 0 : 1;
}
