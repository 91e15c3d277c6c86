// The program `lumo-tiff`: reads and writes TIFF files for the program `lumo`.
#include "interchange/tiff_files.h"

namespace {

constexpr const char* options[] = {"frame", "monochrome2", "pitch-from", "compression"};

}  // namespace

int main(int count, char** arguments) {
    using namespace lumo::interchange;
    return runHelper({"lumo-tiff", options, readTiff, writeTiff}, count, arguments);
}
