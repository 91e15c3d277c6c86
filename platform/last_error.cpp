// The last error of each thread, and a sentence for every result code.
#include <algorithm>
#include <iterator>

#include "lumo_quality.h"

namespace {

thread_local int lastError = 0;

struct Message {
    int code;
    const char* text;
};

constexpr Message messages[] = {
    {LumoOk, "success"},
    {LumoSizeMismatch, "source and destination differ in size or have no raster"},
    {LumoErrorOpen, "the file cannot be opened or created"},
    {LumoErrorParameter, "a parameter is missing or out of range"},
    {LumoErrorMemory, "out of memory, or nothing to work on"},
    {LumoErrorFile, "the file cannot be removed, read or positioned"},
    {LumoErrorSlot, "the result slot is occupied or missing"},
    {LumoErrorWrite, "the file cannot be created or completely written"},
    {LumoErrorRange, "an angle or a compression level outside the allowed values"},
    {LumoErrorQuality, "the image does not hold what is to be measured"},
    {LumoErrorImage, "no image, no raster, or pixel data that does not fit"},
    {LumoErrorAccess, "a pixel outside the raster, or no section or key name"},
    {LumoErrorInfoMissing, "the information file cannot be opened"},
    {LumoErrorInfoInvalid, "the information file is too short or holds values out of range"},
};

}  // namespace

extern "C" {

void lmtSetLastError(int code) {
    lastError = code;
}

int lmtGetLastError(void) {
    return lastError;
}

const char* lmtErrorMessage(int code) {
    const auto* found =
        std::find_if(std::begin(messages), std::end(messages),
                     [code](const Message& message) { return message.code == code; });
    return found != std::end(messages) ? found->text : "unknown result code";
}

}  // extern "C"
